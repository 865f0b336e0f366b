#!/bin/sh
# A cancel on the remote host ends the local job, with the reason; a restart resumes it.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
far qx_vod_ctl cancel "$(far_id)"
wait_for_state cancelled
text_begins "Transcode was cancelled remotely. " || fail "the text does not say who cancelled"
step "near text: $(show state)"

let_go transcode
qx_vod_ctl restart "$id"
expect_vod
expect_one_upload
expect_jobs_over_there 1
