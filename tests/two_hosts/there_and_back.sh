#!/bin/sh
# A clip goes to the remote host and comes back as a VOD.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

add_job "$media/clip.ts"
expect_vod
expect_one_upload
[ -z "$(ls "$FAR/mnt/main/tv/upload")" ] || fail "the source is still in the upload folder"
[ -s "$media/clip.ts" ] || fail "the source is gone on this side"
