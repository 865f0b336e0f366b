#!/bin/sh
# No cluster answers: the film is made here, and one line says so.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
lose slurmctld

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q 'not spread, since the cluster does not answer: ' /run/errors.log || fail "$(cat /run/errors.log)"
[ "$(wc -l </run/errors.log)" -eq 1 ] || fail "more than one line: $(cat /run/errors.log)"
