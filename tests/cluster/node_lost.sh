#!/bin/sh
# A node is lost with all that runs on it, and the others make its part. The log says where the job runs.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
lose n2
step "n2 is lost"
until_true "where the job runs" grep -Eq 'cluster: [0-9]+ of 32 segments, [1-9] under way on n[1-3]' "$log"
expect_result "$vods/film.mp4"
no_errors
grep -q 'cluster: ended, all tasks are done$' "$log" || fail "the log does not say when the cluster was done"
