#!/bin/sh
# Fetches ONNX Runtime to external/onnxruntime: linux/ and win/ hold the library, include/ its C and C++ headers,
# licences/ its licence and those of what is linked into it.
# Usage: tools/fetch-runtime.sh [--plan]
set -eu
# shellcheck source=tools/fetching.sh
. "$(dirname "$0")/fetching.sh"

runtime=onnxruntime-node@1.24.3
[ "$(uname -m)" = x86_64 ] || die "this script knows the runtime for x86_64 machines only, not for $(uname -m)"

npm_file onnxruntime/linux/libonnxruntime.so.1 92ba8e44d31b80a34f5e805076a044122c3be1fffe0d88ed790de7267b0b2682 \
    "$runtime" bin/napi-v6/linux/x64/libonnxruntime.so.1
npm_file onnxruntime/win/onnxruntime.dll 4bc168111012971ae1ffef36c1f29c06b026d17e9063bd17f6390359fbe32a84 \
    "$runtime" bin/napi-v6/win32/x64/onnxruntime.dll

# The headers come from Debian sid: Debian 12 has no package of them. Unpacked rather than installed, as
# sid's package would ask for sid's C library. When sid moves on, the newer headers still describe the
# version 23 of the C API that we ask for, and apt has checked their signature: hence a note, no failure.
headers=libonnxruntime-dev
headers_version=1.23.2
headers_sha256=4630a94adb36dc056feb124e51c6e952e2cab5188bc093a25bee8a7e1ac5196d
if stands onnxruntime/include "$headers $headers_version"; then
    :
elif [ -n "$planning" ]; then
    plan "$headers"
else
    debian_package sid "$headers"
    echo "$headers_sha256  $partial/$headers.deb" | sha256sum --check --status ||
        say "note: $headers is now $(dpkg-deb -f "$partial/$headers.deb" Version), newer than the version tried"
    cp "$partial/$headers/usr/share/doc/$headers/copyright" "$partial/$headers/usr/include/onnxruntime/"
    place "$partial/$headers/usr/include/onnxruntime" onnxruntime/include "$headers $headers_version"
fi

# The npm package has no licence texts. Debian's Python package of the runtime does; those of the version before
# name what is linked into it all the same.
licensed=python3-onnxruntime
if stands onnxruntime/licences "$licensed $headers_version"; then
    :
elif [ -n "$planning" ]; then
    plan "$licensed"
else
    debian_package sid "$licensed"
    mkdir "$partial/licences"
    for file in LICENSE ThirdPartyNotices.txt; do
        cp "$partial/$licensed/usr/lib/python3/dist-packages/onnxruntime/$file" "$partial/licences/" ||
            die "$licensed has no $file"
    done
    place "$partial/licences" onnxruntime/licences "$licensed $headers_version"
fi
