#!/bin/sh
# Makes a Debian 12 machine ready to build, test and demonstrate: installs the packages that are missing,
# and fetches the runtime, the networks and the photographs to external/. When nothing is missing it
# takes a moment only, so the other scripts call it first. Usage: tools/setup.sh [--peers]
set -eu
cd "$(dirname "$0")/.."

# compiler and build system
build="g++ cmake ninja-build ccache git pkg-config"
# what our libraries and programs stand on: command lines, HTTP, JPEG, PNG, hashes, JSON, TLS, ZIP
libraries="libcli11-dev libcurl4-openssl-dev libjpeg62-turbo-dev libpng-dev libssl-dev libxxhash-dev libzip-dev nlohmann-json3-dev"
# pixels: SIMD, colour profiles and transforms, devices
libraries="$libraries libhwy-dev liblcms2-dev libopencolorio-dev opencl-headers"
# tests and benchmarks, with a device for kernels that is there on every machine, and a server of HTTP/2
tests="curl nghttp2-server libgtest-dev libgmock-dev libbenchmark-dev ocl-icd-libopencl1 pocl-opencl-icd"
# layout and faults of code and scripts; documentation
checks="clang-format-14 clang-tidy-14 shellcheck doxygen"
# fetching and packing the networks, one of which Python converts; npm is often there from elsewhere
fetching="ca-certificates zip unzip python3 python3-numpy python3-onnx"
# what the pixel benchmarks compare with; large, so only with --peers
peers=
command -v npm > /dev/null || fetching="$fetching nodejs npm"

say() { printf '%s\n' "$*" >&2; }
die() { say "setup.sh: $*"; exit 1; }

case $* in
    "") ;;
    --peers) peers="libopencv-dev libbabl-dev libturbojpeg0-dev" ;;
    *) die "usage: tools/setup.sh [--peers]" ;;
esac

# missing_packages NAME...: those of the named packages that are not installed.
missing_packages() {
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2> /dev/null | sed -n 's/^installed //p')
    for package; do
        echo "$installed" | grep -qxF "$package" || printf '%s ' "$package"
    done
}

# show_progress COUNT: of apt's output, shows how much of the work on COUNT packages is done. Each is
# fetched, unpacked and set up.
show_progress() {
    awk -v steps=$((3 * $1)) '
        /^(Get:|Unpacking |Setting up )/ {
            share = int(10 * ++done / steps)
            if (share > shown) { shown = share; printf "  %d %%\n", 10 * share > "/dev/stderr" }
        }
        /^E: / { print > "/dev/stderr" }'
}

# install_packages NAME...
install_packages() {
    as_root=
    if [ "$(id -u)" != 0 ]; then
        command -v sudo > /dev/null ||
            die "installing needs root: run as root, or have root run: apt-get install --no-install-recommends $*"
        as_root=sudo
    fi
    say "reading the package lists"
    $as_root apt-get -qq update || die "apt-get cannot read the package lists"
    plan=$(LC_ALL=C apt-get --assume-no --no-install-recommends install "$@" || true)
    count=$(echo "$plan" | sed -n 's/.* \([0-9]*\) newly installed.*/\1/p')
    say "installing $* and what they need: ${count:-some} packages"
    echo "$plan" | grep -E '^(Need to get|After this operation)' >&2 || true
    done=$(mktemp)
    { $as_root env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -y --no-install-recommends install "$@" 2>&1 &&
        echo yes > "$done"; } | show_progress "${count:-100}"
    [ -s "$done" ] || die "apt-get cannot install these packages; is this Debian 12?"
    rm "$done"
}

command -v dpkg-query > /dev/null || die "this script knows Debian only; its first lines list what is needed"
# The lists are split into words on purpose.
# shellcheck disable=SC2086
missing=$(missing_packages $build $libraries $tests $checks $fetching $peers)
# shellcheck disable=SC2086
[ -z "$missing" ] || install_packages $missing

[ -e external/photos ] || say "fetching the runtime, the networks and the photographs to external/: 290 MB on the disk"
tools/fetch-runtime.sh
tools/fetch-models.sh
tools/fetch-photos.sh
