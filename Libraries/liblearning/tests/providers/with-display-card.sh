#!/bin/sh
# Runs a command on what looks like a machine with a display card and no driver for it, in a mount
# namespace of its own, and expects the log line that says what was done about it.
# Usage: with-display-card.sh COMMAND...   Exit code 77: namespaces are not allowed here.
set -eu

devices=$(mktemp -d)
trap 'rm -rf "$devices"' EXIT
card=$devices/drm/card0/device
mkdir -p "$card"
echo 0x10de > "$card/vendor"
echo 0x1eb8 > "$card/device"
echo 0x030000 > "$card/class"

unshare --user --map-root-user --mount true 2> "$devices/reason" ||
    { cat "$devices/reason"; exit 77; }
# shellcheck disable=SC2016  # the inner shell expands them
unshare --user --map-root-user --mount sh -c 'mount --bind "$0" /sys/class && exec "$@"' \
    "$devices" "$@" > "$devices/output" 2>&1 || { cat "$devices/output"; exit 1; }
grep "built-in WebGPU provider of the inference runtime is not used" "$devices/output" ||
    { echo "the runtime did not see the card, so nothing was shown"; cat "$devices/output"; exit 1; }
