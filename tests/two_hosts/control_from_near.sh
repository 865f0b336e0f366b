#!/bin/sh
# Pause, resume, cancel and restart on the local host reach the job on the remote one.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

text_ends_with_paused() {
  case $(show state) in "Remote: "*" (paused)") ;; *) return 1 ;; esac
}

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode

step pause
qx_vod_ctl pause "$id"
until_true "the pause over there" far_paused_is yes
until_true "the pause in the near text" text_ends_with_paused

step resume
qx_vod_ctl resume "$id"
until_true "the end of the pause over there" far_paused_is no

step cancel
wait_for_remote monitor
qx_vod_ctl cancel "$id"
wait_for_text "Transcode cancelled, remote end cancelled"
wait_for_state cancelled
wait_for_far_state cancelled

step restart
qx_vod_ctl restart "$id"
wait_for_far_transcode
let_go transcode
expect_vod
expect_one_upload
expect_jobs_over_there 1
