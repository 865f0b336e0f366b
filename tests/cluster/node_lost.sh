#!/bin/sh
# A node is lost with all that runs on it, and the others make its part.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
kill -KILL "$(cat /run/cluster/n2.pid)"
step "n2 is lost"
expect_result "$vods/film.mp4"
no_errors
