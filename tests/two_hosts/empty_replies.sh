#!/bin/sh
# The remote web server ends while it handles a request, so that the reply is empty: to an add, to a
# poll, to a command.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

# Requests are delayed, and dropped with the server.
end_web_during() { # REQUEST
  until_true "the request to $1" has_held "$1"
  end_process "$FAR/run/lighttpd.pid" KILL
  end_process "$FAR/run/gateway.pid" TERM
}

mend_web() { # REQUEST
  let_go "$1"
  start_web
}

hold transcode
hold add
add_job "$media/clip.ts"
end_web_during add
wait_for_state cancelled
text_is "Unable to add file to remote. Error code 52" || fail "the text does not tell of the add"
mend_web add
qx_vod_ctl restart "$id"
wait_for_far_transcode
expect_one_upload
expect_jobs_over_there 1

hold list
end_web_during list
# The text after the poll that was dropped; later polls find no server.
until_true "the text of a missing answer" text_begins "Remote item: status temporarily unavailable"
always_true 2 "the near job is monitored" remote_is monitor
mend_web list
until_true "the far text" text_begins "Remote: "

entry=$(far_id)
hold pause
qx_vod_ctl pause "$id"
end_web_during pause
wait_for_state cancelled
text_is "Remote item: command failed" || fail "the text does not tell of the command"
[ -z "$(far_id)" ] || fail "the near job still knows the far one"
[ "$(far_show 'transcode state' "$entry")" = transcoding ] || fail "the far job does not go on"
mend_web pause

# The restart sends it again; the pause is still wanted.
qx_vod_ctl restart "$id"
wait_for_remote monitor
until_true "the pause over there" far_paused_is yes
[ "$(far_id)" != "$entry" ] || fail "the far job is the old one"
qx_vod_ctl resume "$id"
let_go transcode
expect_vod
expect_jobs_over_there 2
