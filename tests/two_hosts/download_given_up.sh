#!/bin/sh
# The remote file server drops every session in the middle of the download until the download tool
# gives up: the job says so, and its restart continues the partial file.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

# A session dropped during login would count as refused, so only one that is sending is dropped.
is_given_up() {
  here=$(size_of "$(show 'output file')")
  if [ "$here" -gt "$dropped_at" ]; then
    dropped_at=$here
    drop_ftp_sessions
  fi
  state_is cancelled
}

# A limit that an operator may set; by default the tool tries twenty times, over minutes.
printf 'tries = 3\nwaitretry = 1\n' >>/etc/wgetrc
hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
limit_ftp 15000
let_go transcode
wait_for_remote download
until_true "the middle of the download" has_come_back 40000
dropped_at=0
until_true "the end of the tool's patience" is_given_up
text_is "Remote item: download failed. Network error" || fail "the text does not tell of the network"
grep -q 'STDOUT WGET: Giving up' /run/service.log || fail "the tool did not come to the end of its tries"

limit_ftp 1000000
part=$(size_of "$(show 'output file')")
qx_vod_ctl restart "$id"
expect_vod
expect_rest_of_download "$part"
expect_one_upload
