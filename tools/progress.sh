# What the scripts that take long tell people; they source it. At a terminal one line is written anew each
# second; in a file there is a line for each tenth that is done, and at least one in a quarter of a minute.
# shellcheck shell=sh

say() { printf '%s\n' "$*" >&2; }
die() { say "$(basename "$0"): $*"; exit 1; }

watcher=

# watching NAME STATE COMMAND...: runs COMMAND and tells how far it is, and returns its status. The command
# STATE prints that as "PERCENT TEXT", "- TEXT" where there is no saying, or nothing.
watching() {
    tell_progress "$1" "$2" 9>&- &
    watcher=$!
    shift 2
    outcome=0
    "$@" || outcome=$?
    stop_watching
    return $outcome
}

# stop_watching: what sources this calls it at its end too, which may come in the midst of a step.
stop_watching() {
    [ -n "$watcher" ] || return 0
    kill "$watcher" 2> /dev/null || true
    wait "$watcher" 2> /dev/null || true
    watcher=
    ! at_terminal || printf '\r\033[K' >&2
}

at_terminal() { [ -t 2 ] && [ "${TERM:-dumb}" != dumb ]; }

tell_progress() {
    began=$(date +%s) told=$(date +%s) tenth=0
    while sleep 1 && kill -0 $$ 2> /dev/null; do  # the script may be gone without having stopped this
        now=$(date +%s) state=$($2 || true)
        percent=${state%% *} text=${state#* }
        case $percent in
            "") line="$1: $((now - began)) s" percent=$((10 * tenth)) ;;
            -) line="$1: $text, $((now - began)) s" percent=$((10 * tenth)) ;;
            *) line="$1: $percent %, $text" ;;
        esac
        if at_terminal; then
            columns=$(stty size <&2 2> /dev/null | cut -d ' ' -f 2)
            printf '\r\033[K  %.*s' $((${columns:-80} - 3)) "$line" >&2
        elif [ $((percent / 10)) != $tenth ] || [ $((now - told)) -ge 14 ]; then
            say "  $line"
            tenth=$((percent / 10)) told=$now
        fi
    done
}

# no_state: for a step of which only the time is known.
no_state() { :; }

# folder_state: of the folder $filling, which had $filled_before bytes and is to get $filling_bytes.
filling='' filled_before=0 filling_bytes=1
folder_state() {
    bytes=$(($(size_of "$filling") - filled_before))
    if [ "$bytes" -lt 50000 ] && [ "$bytes" -lt "$filling_bytes" ]; then
        echo "- hardly anything has come yet"
        return
    fi
    [ "$bytes" -le "$filling_bytes" ] || bytes=$filling_bytes
    echo "$((100 * bytes / filling_bytes)) $((bytes / 1000000)) of $(megabytes "$filling_bytes") MB"
}

# apt_state: of apt-get, which writes its output and its APT::Status-Fd to $apt_log.
apt_log=
apt_state() {
    [ -f "$apt_log" ] || return 0
    case $(tail -n 1 "$apt_log") in Waiting*) echo "- waiting for another apt or dpkg to end" && return ;; esac
    grep -aE '^(dl|pm)status:' "$apt_log" | tail -n 1 |
        sed -E 's/^dlstatus:[^:]*:([0-9]+)[^:]*:R(.*)/\1 r\2/
            s/^pmstatus:[^:]*(:[a-z]+[^:]*)?:([0-9]+)[^:]*:(.*)/\2 \3/'
}

# apt_complaints: what went wrong according to $apt_log.
apt_complaints() { grep -aE '^(E|W): ' "$apt_log" | sort -u | head -n 5 >&2 || true; }

# apt_failed MESSAGE: ends the script.
apt_failed() {
    apt_complaints
    proxy=$(apt-config dump --format '%v' Acquire::http::Proxy)
    proxy=${proxy:-${http_proxy-}}
    die "$1${proxy:+; the proxy for apt is $(echo "$proxy" | sed 's|//[^/]*@|//|')}"
}

size_of() { du -sb "$1" 2> /dev/null | cut -f 1; }

# megabytes BYTES: in millions of bytes, rounded up.
megabytes() { echo $((($1 + 999999) / 1000000)); }

# need_space: reads lines "MEGABYTES FOLDER"; unless each disk has room for all that is put on it, tells so
# and fails.
need_space() {
    while read -r needed folder; do
        df -B1000000 --output=avail,target "$folder" | sed "1d; s/^/$needed /"
    done | awk '
        { needed[$3] += $1; free[$3] = $2 }
        END {
            for (disk in needed)
                if (needed[disk] > free[disk]) {
                    printf "the disk at %s has %d MB free, and %d MB are needed\n", disk, free[disk], needed[disk]
                    full = 1
                }
            exit full
        }' >&2
}

# as_duration SECONDS: a rough duration in words.
as_duration() {
    if [ "$1" -lt 45 ]; then
        echo "less than a minute"
    elif [ "$1" -lt 90 ]; then
        echo "about a minute"
    else
        echo "about $((($1 + 30) / 60)) minutes"
    fi
}
