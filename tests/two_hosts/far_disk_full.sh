#!/bin/sh
# The remote disk is full: first for the upload, then for the VOD.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

small_disk() { # FOLDER on the far host
  far mount -t tmpfs -o size=64k small "$1"
}

far sh -c 'mkdir -p /mnt/main/tv/vod'
small_disk /mnt/main/tv/upload
far chown vod /mnt/main/tv/upload
add_job "$media/clip.ts"
wait_for_state cancelled
text_is "Unable to send file to remote" || fail "the text does not tell of the upload"
step "the near service's words: $(grep qxmi_remote_transcode /run/service.log | tail -n 1)"

far umount --lazy /mnt/main/tv/upload
small_disk /mnt/main/tv/vod
qx_vod_ctl restart "$id"
wait_for_state cancelled
text_begins "Transcode was cancelled remotely. " || fail "the text does not tell of the far end"
step "near text: $(show state)"

far umount --lazy /mnt/main/tv/vod
qx_vod_ctl restart "$id"
expect_vod
expect_one_upload
