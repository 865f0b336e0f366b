#!/bin/sh
# The cable is cut while the remote host transcodes: only the local job's text shows it, and the job
# continues by itself.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
cut_cable
until_true "the text of a cut cable" text_begins "Remote item: status temporarily unavailable"
step "near text: $(show state)"
always_true 3 "the near job is monitored" remote_is monitor
mend_cable
until_true "the far text" text_begins "Remote: "
let_go transcode
expect_vod
expect_one_upload
expect_jobs_over_there 1
