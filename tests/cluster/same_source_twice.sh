#!/bin/sh
# Two transcodes of one source with one profile at the same time: both are right, and each has its own segments.
# nodes: 6
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.nodes=3

start_transcode "$media/film.ts" "$vods/one.mp4"
until_true "the first segments" has_segments 1
qxmi_vod_transcode --profile 120 -f mp4 -o "$vods/other.mp4" --file "$media/film.ts" >/run/other.log 2>&1 &
other=$!
wait "$tool" || fail "the first one failed: $(cat /run/errors.log)"
wait "$other" || fail "the second one failed: $(tail -n 3 /run/other.log)"
no_errors
same_packets /run/alone.mp4 "$vods/one.mp4"
same_packets /run/alone.mp4 "$vods/other.mp4"
nothing_left "$vods"
