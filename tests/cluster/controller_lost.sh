#!/bin/sh
# The controller is lost: what runs goes on, the rest is made here.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=10

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
lose slurmctld
step "the controller is lost"
expect_result "$vods/film.mp4"
grep -q 'continues on this machine, since the cluster failed: nothing happened for 10 s$' /run/errors.log ||
  fail "no such line on standard error: $(cat /run/errors.log)"
[ "$(wc -l </run/errors.log)" -eq 1 ] || fail "more than one line: $(cat /run/errors.log)"
