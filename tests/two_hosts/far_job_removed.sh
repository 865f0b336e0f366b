#!/bin/sh
# The remote job is removed by hand: the local job loses track of it, and its restart sends it
# again.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

hold transcode
hold list
add_job "$media/clip.ts"
wait_for_remote monitor
wait_for_far_state transcoding
entry=$(far_id)
far qx_vod_ctl cancel "$entry"
wait_for_far_state cancelled
far qx_vod_ctl remove "$entry"
let_go list
wait_for_state cancelled
text_is "Remote item: lost track of the item" || fail "the text does not tell of the loss"

let_go transcode
qx_vod_ctl restart "$id"
expect_vod
[ "$(far_id)" != "$entry" ] || fail "the far job is the old one"
