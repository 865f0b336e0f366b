#!/bin/sh
# The remote queue is full: the local job is refused, and accepted when there is room.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
queue_size=512

has_room() {
  [ "$(far qx_vod_ctl list --json | grep -o '"entry id"' | wc -l)" -lt "$queue_size" ]
}

# Held jobs are dropped after 15 s, so they are added last.
hold add
add_job "$media/clip.ts"
until_true "the request to add" has_held add
far sh -c 'mkdir -p /mnt/media && : >/mnt/media/other.ts'
# shellcheck disable=SC2016  # expanded over there
far sh -c 'yes /mnt/media/other.ts | head -n "$1" | xargs qx_vod_ctl add --hold >/dev/null' \
  sh "$queue_size"
let_go add
wait_for_state cancelled
text_is 'Remote server: Error HTTP status 400, Bad Request "TOO MANY ITEMS"' ||
  fail "the text does not tell of the far queue"

until_true "room in the far queue" has_room
qx_vod_ctl restart "$id"
expect_vod
expect_one_upload
