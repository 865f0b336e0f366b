#!/bin/sh
# ffmpeg is upgraded everywhere between two tries: the second one starts over and uses nothing of the first.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
cp "$(readlink -f /usr/bin/ffmpeg)" /run/ffmpeg

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the first segments" has_segments 2
kill -TERM "$tool"
wait "$tool" || :
until_true "the end of the tasks" no_tasks
left=$(find "$vods" -name '.qx-segments-*')

mount --bind /run/ffmpeg /usr/bin/ffmpeg
for node in n1 n2 n3; do in_node $node mount --bind /run/ffmpeg /usr/bin/ffmpeg; done
step "upgraded"
start_transcode "$media/film.ts" "$vods/film.mp4"
wait "$tool" || fail "the transcode failed: $(cat /run/errors.log)"
no_errors
same_packets /run/alone.mp4 "$vods/film.mp4"
[ "$(find "$vods" -name '.qx-segments-*')" = "$left" ] || fail "not the segments of the other ffmpeg are left"
