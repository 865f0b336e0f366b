#!/bin/sh
# The remote server refuses commands with status 500: pause and resume are retried until accepted, a
# cancel ends only the local job, a restart finds the remote job still cancelled.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

refuse() {
  rm -f "$FAR/run/requests"
  printf 'Status: 500 Internal Server Error\nContent-Type: text/plain\n\n\nout of order' \
    >"$FAR/run/answer"
}

accept() {
  rm "$FAR/run/answer"
}

is_tried_again() { # REQUEST
  [ "$(grep -cx "$1" "$FAR/run/requests")" -ge 3 ]
}

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode

step pause
refuse
qx_vod_ctl pause "$id"
until_true "the pause tried again" is_tried_again pause
state_is "remote transcode" || fail "a pause that is refused ended the job"
far_paused_is no || fail "the pause was refused, yet the far job pauses"
accept
until_true "the pause over there" far_paused_is yes

step resume
refuse
qx_vod_ctl resume "$id"
until_true "the resume tried again" is_tried_again resume
state_is "remote transcode" || fail "a resume that is refused ended the job"
accept
until_true "the end of the pause over there" far_paused_is no

step cancel
refuse
qx_vod_ctl cancel "$id"
wait_for_state cancelled
far_state_is transcoding || fail "the cancel was refused, yet the far job ended"
step "near text: $(show state)"
accept
qx_vod_ctl restart "$id"
wait_for_far_transcode

step restart
far qx_vod_ctl cancel "$(far_id)"
wait_for_state cancelled
refuse
qx_vod_ctl restart "$id"
until_true "the restart over there" is_asked_to restart
wait_for_remote monitor
step "near text: $(show state)"
accept
wait_for_state cancelled
text_begins "Transcode was cancelled remotely. " || fail "the text does not tell that it is cancelled"
qx_vod_ctl restart "$id"
let_go transcode
expect_vod
expect_one_upload
expect_jobs_over_there 1
