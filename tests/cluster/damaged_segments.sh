#!/bin/sh
# Segments that nodes have made are damaged and cut: they are made again, and the result is right.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
find "$vods" -path '*/.qx-segments-*/v*.mp4' ! -path '*/run*' >/run/made
damaged=$(sed -n 1p /run/made)
cut=$(sed -n 2p /run/made)
dd if=/dev/zero of="$damaged" bs=1 seek=$(($(stat -c %s "$damaged") / 2)) count=64 conv=notrunc 2>/dev/null
truncate -s -100 "$cut"
step "damaged $(basename "$damaged"), cut $(basename "$cut")"
expect_result "$vods/film.mp4"
no_errors
