#!/bin/sh
# The tool is killed when all segments are there, at the beginning of the join and later in it: the next one
# joins them.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

all_are_there() {
  [ -n "$(find "$vods" -path '*/.qx-segments-*/complete')" ]
}

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
# The join is short.
until all_are_there; do
  [ ! -e "$vods/film.mp4" ] || fail "the join has ended already"
  sleep 0.01
done
kill -KILL "$tool"
wait "$tool" || :
[ ! -e "$vods/film.mp4" ] || fail "there is a result already"
until_true "the end of the tasks" no_tasks
for delay in 0.1 0.2 0.3; do
  start_transcode "$media/film.ts" "$vods/film.mp4"
  sleep "$delay"
  kill -KILL "$tool" 2>/dev/null || :
  wait "$tool" || :
  step "killed $delay s after the start"
done
start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
[ "$(grep -c 'cluster: submitted ' "$log")" -eq 1 ] || fail "segments were made again"
