#!/bin/sh
# The remote web server answers with an error, with a web page, or not at all.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

answer() {
  printf '%b' "$1" >"$FAR/run/answer"
}

refused_with() { # TEXT: what the job, or its restart, comes to
  if [ -n "$id" ]; then qx_vod_ctl restart "$id"; else add_job "$media/clip.ts"; fi
  wait_for_state cancelled
  text_begins "$1" || fail "the text is not '$1...'"
  step "near text: $(show state)"
}

answer 'Status: 500 Internal Server Error\nContent-Type: text/plain\n\n\nout of order'
refused_with 'Remote server: Error HTTP status 500, Internal Server Error "out of order"'
answer 'Content-Type: text/html; charset=utf-8\n\n<html>Welcome to the hotel</html>\n'
refused_with 'Remote server: Unexpected response, content type text/html'
answer ''
refused_with 'Remote server: Error HTTP status 500, Internal Server Error'
end_process "$FAR/run/lighttpd.pid" KILL
refused_with 'Unable to add file to remote. Unable to connect to web interface'
start_web
rm "$FAR/run/answer"

step "no answer to the question for the state"
hold transcode
qx_vod_ctl restart "$id"
wait_for_far_transcode
kill -STOP "$(cat "$FAR/run/lighttpd.pid")"
always_true 3 "the near job is monitored" remote_is monitor
kill -CONT "$(cat "$FAR/run/lighttpd.pid")"

step "faults in place of the state"
answer 'Status: 500 Internal Server Error\nContent-Type: text/plain\n\n\nout of order'
always_true 3 "the near job is monitored" remote_is monitor
rm "$FAR/run/answer"
let_go transcode
expect_vod
expect_one_upload
expect_jobs_over_there 1
