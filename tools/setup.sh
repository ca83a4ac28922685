#!/bin/sh
# Makes a Debian 12 machine ready to build, test and demonstrate: installs the packages that are missing,
# and fetches the runtime, the networks and the photographs to external/. It tells first what that takes.
# When nothing is missing it takes a moment only, so the other scripts call it first.
# Usage: tools/setup.sh [OPTION...]
#   --peers        also install what the benchmarks compare with
#   --fuzzers      also install what tools/fuzz.sh builds with
#   --windows      also install what compiles for Windows and runs that, and build the libraries for it
#   --reserve MB   begin only if this much disk is left for what is to be built
set -eu
cd "$(dirname "$0")/.."
# shellcheck source=tools/progress.sh
. tools/progress.sh

# compiler, build system and translations
build="g++ cmake ninja-build ccache gettext git pkg-config"
# what our libraries and programs stand on: command lines, HTTP, quick deflate, JPEG, PNG, TIFF, WebP, hashes, JSON, TLS, ZIP
libraries="libcli11-dev libcurl4-openssl-dev libisal-dev libjpeg62-turbo-dev libpng-dev libtiff-dev libwebp-dev"
libraries="$libraries libssl-dev libxxhash-dev libzip-dev nlohmann-json3-dev"
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
# clang with libFuzzer, only with --fuzzers
fuzzers=
# a compiler for Windows, Wine and what its TLS is made of, the one library that Debian has for Windows, and what others are built with and from;
# only with --windows
windows=
command -v npm > /dev/null || fetching="$fetching nodejs npm"

apt_archives=/var/cache/apt/archives-for-orvantis
reserve=0
fetched="runtime models photos"
while [ $# -gt 0 ]; do
    case $1 in
        --peers) peers="libopencv-dev libbabl-dev libturbojpeg0-dev libvips-dev" ;;
        --fuzzers) fuzzers="clang-14 libclang-rt-14-dev" ;;
        --windows)
            windows="g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine wine64 libgnutls30 dpkg-dev make nasm perl patch xz-utils"
            fetched="$fetched windows" ;;
        --reserve) reserve=${2:?"--reserve takes a number"} && shift ;;
        *) die "usage: tools/setup.sh [--peers] [--fuzzers] [--windows] [--reserve MB]" ;;
    esac
    shift
done

# missing_packages NAME...: those of the named packages that are not installed.
missing_packages() {
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2> /dev/null | sed -n 's/^installed //p')
    for package; do
        echo "$installed" | grep -qxF "$package" || printf '%s ' "$package"
    done
}

# become_root: decides how commands are run as root.
become_root() {
    sudo=
    [ "$(id -u)" != 0 ] || return 0
    if ! command -v sudo > /dev/null; then
        why="there is no sudo"
    else
        say "Packages are to be installed, which needs root: asking sudo."
        sudo -v && sudo=sudo && return
        why="sudo refuses"
    fi
    die "installing packages needs root, and $why: run this as root, or have root run
$(wrap "apt-get install --no-install-recommends $missing" | sed 's/$/\\/; $s/\\$//')"
}

# as_root COMMAND...: sudo drops the proxy, which apt needs.
as_root() {
    $sudo env LC_ALL=C DEBIAN_FRONTEND=noninteractive ${http_proxy:+"http_proxy=$http_proxy"} \
        ${https_proxy:+"https_proxy=$https_proxy"} "$@" > "$apt_log" 2>&1 < /dev/null
}

wrap() { echo "$*" | fold -s -w 100; }

# apt_get ARGUMENT...: fetches archives to a folder of its own, which goes when all is installed, unless this
# machine has a setting of whether to keep them.
apt_get() {
    [ -n "$apt_keeps" ] || set -- -o Dir::Cache::archives="$apt_archives" "$@"
    as_root apt-get -q -o APT::Status-Fd=1 -o DPkg::Lock::Timeout=600 "$@"
}

# plan_installation NAME...: finds out what the packages and what they need take: $count, $fetch_mb, $disk_mb.
plan_installation() {
    apt_keeps=$(apt-config dump --format '%v' APT::Keep-Downloaded-Packages)
    [ -n "$apt_keeps" ] || as_root mkdir -p "$apt_archives/partial" || die "$apt_archives cannot be made"
    if [ -n "$(dpkg --audit)" ]; then
        watching "finishing an installation that was interrupted" no_state as_root dpkg --configure -a ||
            apt_failed "dpkg --configure -a fails"
    fi
    watching "reading the package lists" apt_state apt_get update || true  # they may do all the same
    apt_complaints
    apt_get --assume-no --no-install-recommends install "$@" || true
    ! grep -aq '^E: Unable to locate' "$apt_log" ||
        apt_failed "apt-get does not know all packages; is this Debian 12 with a network?"
    ! grep -aq '^E: ' "$apt_log" || apt_failed "apt-get cannot install the packages"
    count=$(sed -nE 's/.* ([0-9]+) newly installed.*/\1/p' "$apt_log")
    count=${count:-0}
    fetch_mb=$(sed -nE 's#^Need to get ([0-9.,]+ .?B)(/| of archives).*#\1#p' "$apt_log" | in_megabytes)
    disk_mb=$(sed -nE 's/^After this operation, (.*B) of additional disk.*/\1/p' "$apt_log" | in_megabytes)
    removed=$(grep -a -A 9 '^The following packages will be REMOVED' "$apt_log" | sed -n '2,/^[^ ]/{/^ /p}')
}

# in_megabytes: turns the first line, such as "1,234 kB", into a number.
in_megabytes() {
    awk '{ gsub(",", ""); unit["kB"] = 0.001; unit["MB"] = 1; unit["GB"] = 1000; n = $1 * unit[$2]; exit }
         END { printf "%d\n", n + 0.999 }'
}

# install_packages NAME...: and what they need.
install_packages() {
    say "$(wrap "installing $* and what they need; Ctrl-C ends that when apt has done what it has begun")"
    watching "packages" apt_state apt_get -y --no-install-recommends install "$@" ||
        apt_failed "apt-get cannot install the packages; is the network within reach?"
    if [ -z "$apt_keeps" ]; then
        say "  removing the archives of the packages, which are needed no more: $(megabytes "$(size_of "$apt_archives")") MB"
        as_root rm -rf "$apt_archives" || say "  they stay, as sudo refuses: $apt_archives"
    fi
}

# plan_fetching: $external_fetch and $external_disk, in MB, and the most that one script fetches, which it removes
# when all is unpacked: $largest.
plan_fetching() {
    external_fetch=0 external_disk=0 largest=0
    for script in $fetched; do
        planned=$("tools/fetch-$script.sh" --plan)
        sums=$(echo "$planned" | awk '{ f += $1; d += $2 } END { printf "%d %d\n", f / 1e6 + 0.999, d / 1e6 + 0.999 }')
        external_fetch=$((external_fetch + ${sums% *})) external_disk=$((external_disk + ${sums#* }))
        [ "${sums% *}" -le "$largest" ] || largest=${sums% *}
    done
}

tell_plan() {
    say "The set-up will"
    if [ "$count" != 0 ]; then
        say "  install packages, $count in number: $fetch_mb MB to fetch, $disk_mb MB on the disk"
        [ -z "$removed" ] || say "  remove packages that conflict with them:$removed"
    fi
    [ $external_disk = 0 ] ||
        say "  fetch the runtime, networks and photographs to external/: $external_fetch MB to fetch, $external_disk MB on the disk"
    [ -z "$windows" ] || say "  build the libraries for Windows that are not in external/windows, which takes minutes"
    # Two busy cores take half a second for a package, and another for each 10 MB that are unpacked.
    seconds=$(((fetch_mb + external_fetch) / 10 + count / 2 + disk_mb / 20))
    most=$((fetch_mb > largest ? fetch_mb : largest))
    say "That takes $(as_duration $seconds) if 10 MB come in a second, and $most MB of the disk more for a while."
}

command -v dpkg-query > /dev/null || die "this script knows Debian only; its first lines list what is needed"
began=$(date +%s) count=0 fetch_mb=0 disk_mb=0 removed=
plan_fetching
# The lists are split into words on purpose.
# shellcheck disable=SC2086
missing=$(missing_packages $build $libraries $tests $checks $fetching $peers $fuzzers $windows)
if [ -n "$missing" ]; then
    become_root
    apt_log=$(mktemp)
    trap 'stop_watching; rm -f "$apt_log"' EXIT
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    # shellcheck disable=SC2086
    plan_installation $missing
fi
complete=
if [ -z "$missing" ] && [ $external_disk = 0 ]; then
    complete=yes
    say "The packages and external/ are complete: there is nothing to set up."
else
    tell_plan
fi
need_space << END || die "make room first"
$fetch_mb /var/cache
$disk_mb /usr
$((external_disk + largest)) external
$reserve .
END
[ -z "$complete" ] || exit 0
# shellcheck disable=SC2086
[ -z "$missing" ] || install_packages $missing
for script in $fetched; do
    "tools/fetch-$script.sh"
done
say "set up in $(($(date +%s) - began)) s"
