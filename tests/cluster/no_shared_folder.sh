#!/bin/sh
# No node sees the folder: the film is made here.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=60
mkdir /run/empty
for node in n1 n2 n3; do in_node $node mount --bind /run/empty "$vods"; done

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q 'continues on this machine, since the cluster failed: [0-9]* tasks failed three times' /run/errors.log ||
  fail "no such line on standard error: $(cat /run/errors.log)"
