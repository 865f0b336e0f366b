#!/bin/sh
# Munge is down: the film is made here, with one line. It is down for a moment on the way: nothing is lost.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=60

lose munge
start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q 'not spread, since the cluster does not answer: ' /run/errors.log || fail "$(cat /run/errors.log)"
[ "$(wc -l </run/errors.log)" -eq 1 ] || fail "more than one line: $(cat /run/errors.log)"
again munge
until_true "the nodes" has_idle_nodes 3

start_transcode "$media/film.ts" "$vods/other.mp4"
until_true "the first segments" has_segments 2
lose munge
until_more_segments 1
again munge
step "back"
expect_result "$vods/other.mp4"
[ "$(wc -l </run/errors.log)" -le 1 ] || fail "more than one line: $(cat /run/errors.log)"
