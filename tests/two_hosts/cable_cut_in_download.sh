#!/bin/sh
# The cable is cut and the remote file server ends during the download: the job says so, and its
# restart continues the partial file.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
limit_ftp 40000
let_go transcode
wait_for_remote download
until_true "the middle of the download" has_come_back 100000
cut_cable
stop_ftp
always_true 2 "the near job downloads" remote_is download
mend_cable
wait_for_state cancelled
text_begins "Remote item: download failed" || fail "the text does not tell of the download"
step "near text: $(show state)"

part=$(size_of "$(show 'output file')")
start_ftp
qx_vod_ctl restart "$id"
expect_vod
expect_rest_of_download "$part"
expect_one_upload
expect_jobs_over_there 1
