#!/bin/sh
# The remote queue is full: the local job is refused, and accepted when there is room.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
queue_size=512

far sh -c 'mkdir -p /mnt/media && : >/mnt/media/other.ts'
# shellcheck disable=SC2016  # expanded over there
far sh -c 'yes /mnt/media/other.ts | head -n "$1" | xargs qx_vod_ctl add --hold >/run/others' \
  sh "$queue_size"
add_job "$media/clip.ts"
wait_for_state cancelled
text_is 'Remote server: Error HTTP status 400, Bad Request "TOO MANY ITEMS"' ||
  fail "the text does not tell of the far queue"

other=$(head -n 1 "$FAR/run/others")
far qx_vod_ctl cancel "$other"
far qx_vod_ctl remove "$other"
qx_vod_ctl restart "$id"
expect_vod
expect_one_upload
