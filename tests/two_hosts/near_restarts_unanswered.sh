#!/bin/sh
# The remote server accepts the job, but the local service ends before the reply arrives: the job
# continues, and the remote server has only one.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
hold answer-of-add
add_job "$media/clip.ts"
until_true "the job over there" test -e "$FAR/run/answered"
stop_service near
let_go answer-of-add
start_service near
wait_for_remote monitor
let_go transcode
expect_vod
expect_one_upload
expect_jobs_over_there 1
