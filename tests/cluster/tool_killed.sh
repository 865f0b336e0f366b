#!/bin/sh
# The tool is killed and started again: it goes on with the tasks that still run.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
kill -KILL "$tool"
jobs=$(squeue --noheader --format %F | sort -u)
start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q "goes on with the tasks of job $jobs\$" "$log" || fail "the tasks were not taken over"
