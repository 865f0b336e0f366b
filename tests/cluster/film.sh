#!/bin/sh
# A film is made by three nodes, and is the same as one that was made on one machine.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
no_errors
for node in n1 n2 n3; do
  grep -q 'Launching batch job' "/run/cluster/log/$node" || fail "$node had nothing to do"
done
