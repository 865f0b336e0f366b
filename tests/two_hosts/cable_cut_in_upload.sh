#!/bin/sh
# The cable is cut during the upload, which continues when the cable is back.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
clip=$media/long.ts

has_arrived() {
  [ "$(cat "$FAR"/mnt/main/tv/upload/* | wc -c)" -gt "$1" ]
}

pad_clip "$clip" 2000
limit_ftp 400000
add_job "$clip"
wait_for_remote upload
until_true "the middle of the upload" has_arrived 800000
cut_cable
always_true 3 "the job is in its upload" remote_is upload
mend_cable
expect_vod
expect_one_upload
