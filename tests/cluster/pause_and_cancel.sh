#!/bin/sh
# A pause stops the engines of all nodes, a cancel ends them.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

# In hundredths of a second.
processor_time() {
  for engine in $(engines); do cut -d ' ' -f 14,15 "/proc/$engine/stat"; done 2>/dev/null |
    awk '{ sum += $1 + $2 } END { print sum + 0 }'
}

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
until_true "three tasks" three_run
kill -USR1 "$tool"
until_true "the pause of all engines" all_stopped
before=$(processor_time)
sleep 3
[ "$(processor_time)" -eq "$before" ] || fail "paused engines work"
all_stopped || fail "an engine goes on, or another has begun"
step "paused"

kill -USR2 "$tool"
until_more_segments 2
step "resumed"

kill -TERM "$tool"
begin=$(date +%s%N)
status=0
wait "$tool" || status=$?
took=$((($(date +%s%N) - begin) / 1000000))
[ "$status" -eq 143 ] || fail "ended with $status"
[ "$took" -lt 5000 ] || fail "ended after $took ms"
until_true "the end of the tasks" no_tasks
until_true "an empty queue" queue_is_empty
step "cancelled, after $took ms"

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q ': resumed at ' /run/errors.log || fail "not resumed: $(cat /run/errors.log)"
