#!/bin/sh
# The tool is killed and does not come back before its lease has run out: its tasks end by themselves, those that
# wait make nothing, and a later one goes on with what they have made.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
# Nothing more is made, and only the end of the lease ends these tasks.
stop_engines
kill -KILL "$tool"
made=$(segments)
until_true "the end of the tasks" no_tasks
until_true "an empty queue" queue_is_empty
[ "$(segments)" -le $((made + 3)) ] || fail "tasks went on without their tool"
step "all tasks have ended"

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q ': resumed at ' /run/errors.log || fail "not resumed: $(cat /run/errors.log)"
