#!/bin/sh
# The source changes while nodes work: the transcode fails with that cause, and leaves nothing.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare spread.patience=10

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
head -c 188000 "$media/film.ts" >/run/more
cat /run/more >>"$media/film.ts"
step "the source has grown"
! wait "$tool" || fail "succeeded with a source that has changed"
tail -n 1 /run/errors.log | grep -q 'changed while it was read$' || fail "$(cat /run/errors.log)"
[ ! -e "$vods/film.mp4" ] || fail "there is a result"
until_true "the end of the tasks" no_tasks
nothing_left "$vods"
