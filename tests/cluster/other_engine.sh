#!/bin/sh
# A node has another ffmpeg: it refuses, and the others make the film.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
cp "$(readlink -f /usr/bin/ffmpeg)" /run/ffmpeg
in_node n2 mount --bind /run/ffmpeg /usr/bin/ffmpeg

start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "the refusal" sh -c "ls $vods/.qx-segments-*/refuses-n2"
expect_result "$vods/film.mp4"
no_errors
