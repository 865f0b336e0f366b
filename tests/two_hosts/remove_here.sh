#!/bin/sh
# A job removed on the local host continues on the remote one, which gets no request.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
add_job "$media/clip.ts"
wait_for_far_transcode
entry=$(far_id)
# Refused during a poll.
until_true "the removal" qx_vod_ctl remove "$id"
id=
let_go transcode
until_true "the end of the far job" far qx_vod_ctl wait "$entry"
! is_asked_to remove || fail "the far side was asked to remove it"
! is_asked_to cancel || fail "the far side was asked to cancel it"
