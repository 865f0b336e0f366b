#!/bin/sh
# The local service is stopped and started while it adds, monitors and passes on a command.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

# A request that was not answered is dropped; another case covers one that is carried out.
restart_near() {
  stop_service near
  end_process "$FAR/run/gateway.pid" TERM
  step "stopped while it wants to $1"
  let_go "$1"
  start_service near
}

hold transcode
hold add
add_job "$media/clip.ts"
until_true "the request to add" has_held add
remote_is add || fail "the remote state is not 'add'"
restart_near add
wait_for_far_transcode
expect_jobs_over_there 1
entry=$(far_id)

hold list
until_true "a request for the state" has_held list
restart_near list
wait_for_far_transcode

hold pause
qx_vod_ctl pause "$id"
until_true "the request to pause" has_held pause
remote_is command || fail "the remote state is not 'command'"
restart_near pause
until_true "the pause over there" far_paused_is yes
qx_vod_ctl resume "$id"
until_true "the end of the pause over there" far_paused_is no
until_true "its turn over there" far_waiting_is no

let_go transcode
expect_vod
[ "$(far_id)" = "$entry" ] || fail "it became another job over there"
expect_one_upload
expect_jobs_over_there 1
