#!/bin/sh
# The tool is killed and started again: it goes on with the tasks that still run.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
mkdir "$vods/.film.mp4.metadata"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
kill -KILL "$tool"
jobs=$(squeue --noheader --format %F | sort -u)
start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -qr "goes on with the tasks of job $jobs\$" "$vods/.film.mp4.metadata" || fail "the tasks were not taken over"
