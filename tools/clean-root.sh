#!/bin/bash
# Runs a command in a minimal Debian 12 with a copy of the working tree, uncommitted changes included:
# shows what tools/setup.sh forgets to install, which a machine that people work on hides.
# Usage: tools/clean-root.sh [OPTION...] COMMAND...
#   --downloads   share downloaded packages between calls; each is installed again all the same
#   --external    give external/ along, so that tools/setup.sh need not fetch it
#   --keep        leave the root in place, and say where it is
# For example: tools/clean-root.sh tools/test.sh docs
#
# Only root can do this, as it takes a mount namespace: whatever is mounted or left running goes with the
# namespace, and nothing outside is changed. The network and the settings for packages and npm are this
# machine's. The pristine system is kept as external/clean-root/debian-12.tar; delete it to make it anew.
# The status is the command's, or 125 where no such root can be had.
set -eu
cd "$(dirname "$0")/.."

store=$PWD/external/clean-root
pristine=$store/debian-12.tar
downloads=$store/downloads
tree=root/orvantis  # in the root
root=
namespace=

say() { printf '%s\n' "$*" >&2; }
usage() { sed -n '2,/^set/{/^set/d; s/^# \{0,1\}//; p}' tools/clean-root.sh; }
die() { say "clean-root.sh: $*"; exit 1; }
cannot() { say "clean-root.sh: $*"; exit 125; }

# make_pristine: lays down the system from the archive that apt uses here.
make_pristine() {
    [ ! -f "$pristine" ] || return 0
    command -v debootstrap > /dev/null || install_debootstrap
    local archive proxy='' new=$store/new include=
    # shellcheck disable=SC2016  # apt expands these
    archive=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        awk '$2 == "bookworm" && $3 == "main" { print $1; exit }')
    [ -n "$archive" ] || cannot "apt knows no archive of Debian 12 on this machine"
    eval "$(apt-config shell proxy Acquire::http::Proxy)"
    case $archive in https:*) include=--include=ca-certificates ;; esac
    say "making $pristine"
    rm -rf --one-file-system "$new"
    http_proxy=${proxy:-${http_proxy-}} unshare --mount \
        debootstrap --variant=minbase ${include:+"$include"} bookworm "$new" "$archive" > "$store/debootstrap.log" 2>&1 ||
        die "debootstrap failed: see $store/debootstrap.log"
    rm -f "$new"/var/cache/apt/archives/*.deb
    tar -C "$new" --numeric-owner -cf "$pristine.partial" .
    mv "$pristine.partial" "$pristine"
    rm -rf --one-file-system "$new"
}

install_debootstrap() {
    say "installing: debootstrap"
    { apt-get -qq update && DEBIAN_FRONTEND=noninteractive apt-get -qq -y install debootstrap; } > /dev/null ||
        cannot "apt-get cannot install debootstrap"
}

# copy_settings: where packages and npm packages come from on this machine, and whom it trusts.
copy_settings() {
    local item
    for item in /etc/resolv.conf /etc/hosts /etc/apt/sources.list /etc/apt/sources.list.d /etc/apt/auth.conf \
        /etc/apt/auth.conf.d /etc/apt/keyrings /etc/apt/trusted.gpg /etc/apt/trusted.gpg.d \
        /usr/local/share/ca-certificates /etc/ssl/certs/ca-certificates.crt "${NODE_EXTRA_CA_CERTS-}"; do
        [ -n "$item" ] || continue
        rm -rf "${root:?}$item"
        [ -e "$item" ] || continue
        mkdir -p "$root$(dirname "$item")"
        cp -rL "$item" "$root$item"
    done
    # How apt fetches, but none of the hooks of programs that are not in the root.
    apt-config dump | grep '^Acquire::' | grep -v '^Acquire::IndexTargets' > "$root/etc/apt/apt.conf.d/99fetching"
    [ -z "$share" ] || echo 'APT::Keep-Downloaded-Packages "true";' >> "$root/etc/apt/apt.conf.d/99fetching"
    for item in "$(npm config get globalconfig 2> /dev/null || true)" "${npm_config_userconfig-$HOME/.npmrc}"; do
        [ ! -f "$item" ] || cat "$item"
    done > "$root/root/.npmrc"
}

# copy_tree: the working tree as a repository of its own, without what git ignores.
copy_tree() {
    mkdir -p "$root/$tree"
    git ls-files -z --cached --others --exclude-standard --deduplicate |
        while IFS= read -r -d '' file; do
            [ ! -e "$file" ] && [ ! -L "$file" ] || printf '%s\0' "$file"  # it may be deleted, but still in the index
        done | tar -cf - --null --no-recursion --verbatim-files-from -T - | tar -C "$root/$tree" --no-same-owner -xf -
    git -C "$root/$tree" init -q
    git -C "$root/$tree" add --all --force
    if [ -n "$external" ]; then
        mkdir "$root/$tree/external"
        tar -C external --exclude=./clean-root -cf - . | tar -C "$root/$tree/external" --no-same-owner -xf -
    fi
}

# What runs first in the namespaces: $1 is the root, $2 the folder in it, $3 a folder of downloads or nothing.
# It stays until the command ends; then whatever the command has left running ends too.
# shellcheck disable=SC2016
inside='
root=$1 tree=$2 downloads=$3
shift 3
exec 2>&4 4>&-
mount -t proc proc "$root/proc"
mount -t sysfs -o ro sysfs "$root/sys"
mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$root/dev/pts"
mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
if [ -n "$downloads" ]; then
    mount --bind "$downloads/apt" "$root/var/cache/apt/archives"
    mount --bind "$downloads/npm" "$root/root/.npm"
fi
# Two sh: chroot takes a folder and no more, and the first process must not be the command.
chroot "$root" sh -c "cd /$tree && exec \"\$@\"" sh "$@"
exit $?'

# run_inside COMMAND...: returns the command's status. In the background, so that a signal ends this script
# at once; what the command reads and how it takes Ctrl-C stay as they were. Unshare itself is silent, as it
# complains when its child is ended.
run_inside() {
    local variable passed=() status=0
    while IFS='=' read -r -d '' variable _; do
        case ${variable,,} in
            http_proxy | https_proxy | ftp_proxy | all_proxy | no_proxy | npm_config_* | node_extra_ca_certs | term)
                passed+=("$variable=${!variable}") ;;
        esac
    done < <(env -0)
    [ -z "$share" ] || passed+=(npm_config_cache=/root/.npm)
    setpriv --pdeathsig KILL env --default-signal=INT,QUIT -i "${passed[@]}" HOME=/root LANG=C.UTF-8 \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        unshare --mount --pid --fork --kill-child sh -euc "$inside" sh "$root" "$tree" "${share:+$downloads}" "$@" <&3 3<&- 8>&- 4>&2 2> /dev/null &
    namespace=$!
    wait "$namespace" || status=$?
    namespace=
    return "$status"
}

# end_namespace: ends the first process of the namespace and with it all others, and waits for them.
end_namespace() {
    [ -n "$namespace" ] || return 0
    local first
    first=$(cat "/proc/$namespace/task/$namespace/children" 2> /dev/null || true)
    # shellcheck disable=SC2086  # one number and a space, or nothing if it has not begun
    kill -KILL ${first:-"$namespace"} 2> /dev/null || true
    wait "$namespace" 2> /dev/null || true
}

finish() {
    end_namespace
    [ -n "$root" ] || return 0
    if [ -n "$keep" ]; then
        say "the root is in $root"
    else
        rm -rf --one-file-system "$root" "$root.lock"
    fi
}

# remove_abandoned: roots of calls that were killed. Those in use hold their lock, those kept have none.
remove_abandoned() {
    local lock
    for lock in "$store"/root.*.lock; do
        [ -f "$lock" ] || continue
        flock --nonblock "$lock" rm -rf --one-file-system "${lock%.lock}" "$lock" || true
    done
}

external='' keep='' share=''
while [ $# -gt 0 ]; do
    case $1 in
        --downloads) share=yes ;;
        --external) external=yes ;;
        --keep) keep=yes ;;
        -h | --help) usage; exit ;;
        -*) usage >&2; exit 2 ;;
        *) break ;;
    esac
    shift
done
[ $# -gt 0 ] || { usage >&2; exit 2; }
[ "$(id -u)" = 0 ] || cannot "only root can do this"
unshare --mount --pid --fork true 2> /dev/null || cannot "this machine does not allow namespaces"

trap finish EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM
mkdir -p "$store" "$downloads/apt" "$downloads/npm"
exec 3<&0 9> "$store/.lock"
flock 9
make_pristine
remove_abandoned
root=$(mktemp -d "$store/root.XXXXXX")
exec 8> "$root.lock"
flock 8
exec 9>&-
[ -z "$keep" ] || rm "$root.lock"

tar -C "$root" --numeric-owner -xpf "$pristine"
mkdir -p "$root/root/.npm"
copy_settings
copy_tree
run_inside "$@"
