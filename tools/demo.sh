#!/bin/sh
# Shows what the library can do: sets the machine up, builds the programs, downloads the networks from a
# service on this machine, and runs each feature on real photographs. The pictures go to build/demo/pictures.
# Usage: tools/demo.sh
set -eu
cd "$(dirname "$0")/.."

learning=build/release/bin/learning
service=build/release/bin/learning-service
models=build/demo/models
photos=external/photos
pictures=build/demo/pictures

step=starting
service_id=
finish() {
    code=$?
    [ -z "$service_id" ] || kill "$service_id" 2> /dev/null || true
    [ $code = 0 ] || echo "The demo stopped at this step: $step" >&2
}
trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

begin() { step=$1; printf '\n=== %s\n' "$1"; }

# show COMMAND...: runs a command after showing it as the reader may type it.
show() {
    start=$(date +%s)
    echo "\$ $*"
    "$@"
    echo "  ($(($(date +%s) - start)) s)"
}

# start_service: serves the packages until the end of this script, at the address that it sets.
start_service() {
    log=build/demo/service.log
    export no_proxy="127.0.0.1,${no_proxy-}"  # no proxy finds its way back to this machine
    "$service" --packages external/packages --port 0 > "$log" 2>&1 &
    service_id=$!
    until address=$(grep -s -o -m 1 'http://127[^ ]*' "$log"); do
        kill -0 "$service_id" 2> /dev/null || { cat "$log" >&2; exit 1; }
        sleep 0.1
    done
}

# picture NAME COMMAND PHOTO OPTION...: has the program make a picture from a photograph.
picture() {
    out=$pictures/$1 command=$2 photo=$photos/$3
    shift 3
    show "$learning" --models "$models" "$command" "$photo" "$@" -o "$out"
    echo "  $photo -> $out"
}

echo "This installs the packages that are missing, fetches networks and photographs, builds two programs and makes"
echo "a dozen pictures. README.md tells what that costs on a fresh machine."

begin "Setting the machine up"
tools/setup.sh

begin "Building the libraries and programs, which takes some minutes the first time"
cmake --preset release > /dev/null
cmake --build --preset release --target installable

begin "Downloading the networks into $models"
rm -rf build/demo
mkdir -p "$pictures"
start_service
echo "They come from learning-service, which serves external/packages at $address as long as this demo runs."
show "$learning" --server "$address" --models "$models" download all
show "$learning" --models "$models" models

begin "Segmentation: one click on a thing selects it"
picture cat.png segment chelsea.png --at 225,150
picture astronaut.png segment astronaut.png --at 200,320
picture rocket-mask.png segment rocket.jpg --at 320,200 --show mask

begin "Segmentation: the same, shown as a tint"
picture cup-and-saucer.png segment coffee.png --at 280,215 --show overlay

begin "Depth: how near each part of a single photograph is"
picture motorcycle-depth.png depth motorcycle_left.png
picture coffee-depth.png depth coffee.png

begin "Colourisation: likely colours for black-and-white photographs"
echo "The network is a small one: skies, grass and animals come out plausible, other things in blotches,"
echo "such as the red water at Nagasaki."
picture camera-coloured.png colourise camera.png
picture dust-bowl-home-coloured.png colourise dust-bowl-home.jpg
picture march-pastoral-coloured.png colourise march-pastoral.jpg
picture nagasaki-boats-coloured.png colourise nagasaki-boats.jpg

begin "Super-resolution: twice the width and height"
echo "This is the slow one: about a second for each tile of 128 x 128 pixels, so give it a quarter of a minute or so."
picture cat-twice-as-large.png super-resolve chelsea.png

begin "The pictures"
printf '%s\n' "$pictures"/*
