#!/bin/sh
# The controller is killed right after it has taken the tasks, and once more on the way, and comes back each time.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=30

is_submitted() {
  grep -q 'cluster: submitted ' "$log"
}

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the submission" is_submitted
lose slurmctld
again slurmctld
step "killed right after the submission, and back"
until_true "the first segments" has_segments 2
lose slurmctld
until_more_segments 1
again slurmctld
step "killed on the way, and back"
expect_result "$vods/film.mp4"
# It may have forgotten tasks that run, and then refuse the nodes that have them.
[ "$(wc -l </run/errors.log)" -le 1 ] || fail "more than one line: $(cat /run/errors.log)"
