#!/bin/sh
# The tool is killed during a pause and started again: the tasks go on, those that ran and those that waited.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
until_true "three tasks" three_run
kill -USR1 "$tool"
until_true "the pause of all engines" all_stopped
kill -KILL "$tool"
step "killed in the pause"
start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q 'goes on with the tasks of job ' "$log" || fail "the tasks were not taken over"
! grep -q 'since the cluster failed' /run/errors.log || fail "$(cat /run/errors.log)"
