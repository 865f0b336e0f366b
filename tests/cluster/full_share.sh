#!/bin/sh
# The disk of the VODs is full: nodes fail, this machine fails as well, says so and leaves nothing.
# share: 32M
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=20

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 1
head -c 32M /dev/zero >"$vods/other" 2>/dev/null || :
step "the disk is full"
! wait "$tool" || fail "succeeded on a full disk"
tail -n 1 /run/errors.log | grep -q 'No space left on device' || fail "$(cat /run/errors.log)"
until_true "the end of the tasks" no_tasks
nothing_left "$vods"
