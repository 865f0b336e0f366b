#!/bin/sh
# A node is cut off from the controller but lives: its task goes on for the transcode, and ends by itself when the
# tool has gone.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=60

n2_is_down() {
  sinfo --noheader --nodes=n2 --format %T | grep -q '^down'
}

no_task_on_n2() {
  [ -z "$(tasks_of n2)" ]
}

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "a task on n2" has_task n2
daemon n2 STOP
step "n2 is cut off"
until_true "the end of what its task makes" no_task_on_n2
expect_result "$vods/film.mp4"
no_errors
daemon n2 CONT
until_true "n2 among the others" has_idle_nodes 3

start_transcode "$media/film.ts" "$vods/other.mp4"
until_true "the first segments" has_segments 2
# The tasks have nothing to do but to wait for their engines.
stop_engines
daemon n2 STOP
until_true "n2 given up" n2_is_down
kill -TERM "$tool"
wait "$tool" || :
step "cancelled, and no signal reaches the task of n2"
until_true "its end" no_task_on_n2
daemon n2 CONT
