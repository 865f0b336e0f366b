#!/bin/sh
# The local service is stopped and started during upload and download: each continues where it
# stopped.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
clip=$media/long.ts

has_arrived() { # BYTES: so much of the upload is over there
  [ "$(cat "$FAR"/mnt/main/tv/upload/* | wc -c)" -gt "$1" ]
}

expect_no_byte_twice() { # DIRECTION SIZE
  bytes=$(transferred_bytes "$1")
  step "$1: $bytes bytes for a file of $2"
  # Bytes in transit at the stop do not count as arrived.
  [ "$bytes" -le "$(($2 + $2 / 4))" ] || fail "$1 was done again: $(cat "$transfers")"
}

hold transcode
pad_clip "$clip" 3000
limit_ftp 400000
add_job "$clip"
wait_for_remote upload
until_true "the middle of the upload" has_arrived 1500000
stop_service near
step "stopped in the upload"
start_service near
wait_for_far_transcode
cmp "$clip" "$FAR"/mnt/main/tv/upload/* || fail "what arrived is not what was sent"
expect_no_byte_twice UPLOAD "$(size_of "$clip")"

limit_ftp 40000
let_go transcode
wait_for_remote download
until_true "the middle of the download" has_come_back 100000
stop_service near
step "stopped in the download"
start_service near
expect_vod
expect_no_byte_twice DOWNLOAD "$(size_of "$(show 'output file')")"
expect_one_upload
expect_jobs_over_there 1
