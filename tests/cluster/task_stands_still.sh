#!/bin/sh
# A task stands still: its range is submitted a second time, and the task ends with the job.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=300

start_transcode "$media/film.ts" "$vods/film.mp4"
stop_task n2
step "a task of n2 stands still"
expect_result "$vods/film.mp4"
no_errors
submissions=$(grep -c 'cluster: submitted ' "$log")
[ "$submissions" -ge 2 ] || fail "nothing was submitted a second time"
until_true "the end of the task that stood still" no_tasks
