#!/bin/sh
# The remote service is stopped and started in mid-transcode: the local job waits for it and
# continues.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
entry=$(far_id)
stop_service far
always_true 3 "the near job is monitored" remote_is monitor
step "near text without the far service: $(show state)"
let_go transcode
start_service far
expect_vod
[ "$(far_id)" = "$entry" ] || fail "it became another job over there"
expect_one_upload
expect_jobs_over_there 1
