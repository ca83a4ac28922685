#!/bin/sh
# Shows what the library can do: sets the machine up, builds the programs, downloads the networks from a
# service on this machine, runs each feature on real photographs, and has the service make pictures over https.
# The pictures go to build/demo/pictures.
# Usage: tools/demo.sh
set -eu
cd "$(dirname "$0")/.."
if [ $# -gt 0 ]; then
    sed -n '2,/^# Usage/s/^# //p' tools/demo.sh >&2
    exit 2
fi
# shellcheck source=tools/progress.sh
. tools/progress.sh

learning=build/release/bin/learning
service=build/release/bin/learning-service
models=build/demo/models
photos=external/photos
pictures=build/demo/pictures
authority=build/demo/authority.pem

step=starting
log=build/release.log
# what the build takes: disk in MB, and seconds of one core for each step
build_mb=210
step_seconds=2
service_id=
finish() {
    code=$?
    stop_watching
    [ -z "$service_id" ] || kill "$service_id" 2> /dev/null || true
    [ $code = 0 ] || echo "The demo stopped at this step: $step" >&2
}
trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

begin() { step=$1; printf '\n=== %s\n' "$1"; }

# show COMMAND...: runs a command after showing it as the reader may type it. At a terminal the programs tell
# themselves how far they are.
show() {
    start=$(date +%s)
    echo "\$ $*"
    if at_terminal; then
        "$@"
    else
        watching "running" no_state "$@"
    fi
    echo "  ($(($(date +%s) - start)) s)"
}

# build: at a terminal Ninja tells how far it is.
build() {
    mkdir -p build
    watching "configuring" no_state logged cmake --preset release
    if [ -x "$service" ] && [ -x "$learning" ]; then
        echo "They have been built before: what has changed since is built again, which may be nothing."
    else
        steps=$(ninja -C build/release -t commands installable | wc -l)
        echo "$steps steps for $(nproc) cores: $(as_duration $((steps * step_seconds / $(nproc))))," \
            "or less with what ccache remembers"
    fi
    if at_terminal; then
        cmake --build --preset release --target installable
    else
        watching "building" ninja_state logged cmake --build --preset release --target installable
    fi
}

# logged COMMAND...: shows its output only if it fails.
logged() { "$@" > "$log" 2>&1 || { tail -n 60 "$log" >&2 && return 1; }; }

ninja_state() {
    tail -n 1 "$log" | sed -nE 's|^\[([0-9]+)/([0-9]+)\].*|\1 \2|p' |
        { read -r built all && echo "$((100 * built / all)) $built of $all steps"; }
}

# start_service: serves the packages until the end of this script, at the address that it sets, and makes pictures
# at the place that it sets. They are not done at once, as elsewhere, but soon.
start_service() {
    service_log=build/demo/service.log
    export no_proxy="127.0.0.1,${no_proxy-}"  # no proxy finds its way back to this machine
    "$service" --packages external/packages --port 0 --https-port 0 --certificate "$authority" --pending 1500 \
        --models "$models" > "$service_log" 2>&1 &
    service_id=$!
    until address=$(grep -s -o -m 1 'http://127[^ ]*' "$service_log"); do
        kill -0 "$service_id" 2> /dev/null || { cat "$service_log" >&2; exit 1; }
        sleep 0.1
    done
    place=$(grep -o -m 1 'https://localhost:[0-9]*' "$service_log")
    place=${place#https://}
}

# by_service NAME COMMAND ARGUMENT...: has the program have the service make a picture.
by_service() {
    out=$pictures/$1
    shift
    show "$learning" --certificate "$authority" "$@" --service "$place" -o "$out"
}

# picture NAME COMMAND PHOTO OPTION...: has the program make a picture from a photograph.
picture() {
    out=$pictures/$1 command=$2 photo=$photos/$3
    shift 3
    show "$learning" --models "$models" "$command" "$photo" "$@" -o "$out"
    echo "  $photo -> $out"
}

began=$(date +%s)
echo "This sets the machine up, which tells first what it fetches and how long that takes; builds two programs"
echo "($build_mb MB in build/release); serves the networks from this machine and downloads them to $models (122 MB);"
echo "and makes a dozen pictures, in a minute or two. Then it has the service make four more, which takes most of"
echo "a minute. What is there already is not fetched or built again."

begin "Setting the machine up"
reserve=170  # MB, for networks, pictures and what ccache remembers
[ -x "$service" ] || reserve=$((reserve + build_mb))
tools/setup.sh --reserve $reserve

begin "Building the libraries and programs"
build

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

begin "By the service: pictures from words, and photographs changed by words"
echo "learning-service, over https, stands for a service with large networks: it draws and changes pictures by rules."
echo "As with the real one, a job takes 10 seconds or more; Ctrl-C would leave it in the list of learning jobs."
XDG_STATE_HOME=$PWD/build/demo/state  # where that list is
export XDG_STATE_HOME
by_service boats.png generate "boats on a lake at sunset" --style pop-art
by_service snow.png edit $photos/coffee.png "make it snow"
by_service cat-alone.png remove-background $photos/chelsea.png
by_service clouds.png replace-object $photos/chelsea.png clouds --object $pictures/cat.png --prepare

begin "The pictures"
printf '%s\n' "$pictures"/*
echo "All of it took $(($(date +%s) - began)) s."
