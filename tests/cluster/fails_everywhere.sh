#!/bin/sh
# An engine that fails on every node and here as well: the transcode fails, with the engine's cause, and leaves nothing.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
cp /usr/bin/false /run/ffmpeg
for node in n1 n2 n3; do in_node $node mount --bind /run/ffmpeg /usr/bin/ffmpeg; done
mount --bind /run/ffmpeg /usr/bin/ffmpeg

start_transcode "$media/film.ts" "$vods/film.mp4"
! wait "$tool" || fail "the transcode succeeded"
umount /usr/bin/ffmpeg
grep -q 'the cluster failed: [0-9]* tasks failed three times: n[1-3]: exit status 1$' /run/errors.log ||
  fail "no such line on standard error: $(cat /run/errors.log)"
[ "$(tail -n 1 /run/errors.log)" = "qxmi_vod_transcode: $media/film.ts: exit status 1" ] ||
  fail "another cause: $(cat /run/errors.log)"
[ ! -e "$vods/film.mp4" ] || fail "there is a result"
nothing_left "$vods"
