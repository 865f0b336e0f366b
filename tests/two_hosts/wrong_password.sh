#!/bin/sh
# The remote file server, then the remote web server, expects another password than the local host
# has.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

far sh -c 'echo vod:another | chpasswd'
add_job "$media/clip.ts"
wait_for_state cancelled
text_is "Unable to send file to remote" || fail "the text does not tell of the upload"
step "the near service's words: $(grep qxmi_remote_transcode /run/service.log | tail -n 1)"

# shellcheck disable=SC2016  # expanded over there
far sh -c 'echo vod:demo-password | chpasswd
  cp /etc/qx_vod_service/web.users /run/web.users
  echo "vod:$(openssl passwd -apr1 another)" >/etc/qx_vod_service/web.users'
qx_vod_ctl restart "$id"
wait_for_state cancelled
text_begins "Remote server: Error HTTP status 401, Unauthorized" || fail "no word of status 401"
step "near text: $(show state)"

far cp /run/web.users /etc/qx_vod_service/web.users
qx_vod_ctl restart "$id"
expect_vod
expect_one_upload
