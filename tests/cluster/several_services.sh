#!/bin/sh
# Two services with VODs of their own share a cluster: each has its tasks there, and both films are right.
# nodes: 6
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.nodes=3
mkdir -p "$vods/one/.film.mp4.metadata" "$vods/two/.film.mp4.metadata"
cp "$media/film.ts" "$media/other.ts"

start_transcode "$media/film.ts" "$vods/one/film.mp4"
qxmi_vod_transcode --profile 120 -f mp4 -o "$vods/two/film.mp4" --file "$media/other.ts" >/run/other.log 2>&1 &
other=$!
wait "$tool" || fail "the first one failed: $(cat /run/errors.log)"
wait "$other" || fail "the second one failed: $(tail -n 3 /run/other.log)"
no_errors
for service in one two; do
  same_packets /run/alone.mp4 "$vods/$service/film.mp4"
  grep -q 'cluster: ended, all tasks are done$' "$vods/$service/.film.mp4.metadata/vod.log" ||
    fail "the film of service $service was not made by the cluster"
done
nothing_left "$vods"
