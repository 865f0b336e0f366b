#!/bin/sh
# The nodes make the pictures of a recording whose sound goes from one channel to two; its tool makes the sound.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"

make_piece() { # CHANNELS FIRST-SECOND
  ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=size=160x120:rate=25 -f lavfi -i sine=frequency=700:sample_rate=48000 \
    -t 32 -c:v libx264 -preset ultrafast -g 50 -c:a aac -ac "$1" -output_ts_offset "$2" -f mpegts pipe:
}

mkdir -p "$(dirname "$log")" "$media"
{
  make_piece 1 0
  make_piece 2 32
} >"$media/film.ts"
settings checkpoint=no spread=none
transcode "$media/film.ts" /run/alone.mp4 || fail "$(cat /run/errors.log)"
settings "$@"

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
no_errors
grep -q '/s000000.m4a' "$log" || fail "its sound was made in segments: $(cat "$log")"
for node in n1 n2 n3; do
  grep -q 'Launching batch job' "/run/cluster/log/$node" || fail "$node had nothing to do"
done
