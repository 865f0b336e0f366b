# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Sizes, shapes of pixels, rotation; and changes of them within a recording.

source_pal_4_3_ts() {
  size=720x576
  film "${mpeg2[@]}" -aspect 4:3 "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_pal_16_9_ts() {
  size=720x576
  film "${mpeg2[@]}" -aspect 16:9 "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_ntsc_16_9_mpg() {
  size=720x480 rate=30000/1001
  film "${mpeg2[@]}" -aspect 16:9 "${mp2[@]}" -f vob "$1"
}
source_4_3_then_16_9_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" -aspect 4:3 "${mp2[@]}"
  piece 8 "${mpeg2[@]}" -aspect 16:9 "${mp2[@]}"
  join "$1"
}
source_16_9_then_4_3_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" -aspect 16:9 "${mp2[@]}"
  piece 8 "${mpeg2[@]}" -aspect 4:3 "${mp2[@]}"
  join "$1"
}
source_size_change_ts() {
  seconds=8 size=640x360
  piece 0 "${h264[@]}" "${aac[@]}"
  size=320x240
  piece 8 "${h264[@]}" "${aac[@]}"
  join "$1"
}
source_sd_then_hd_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" -aspect 4:3 "${mp2[@]}"
  size=1280x720 matrix=bt709
  piece 8 -c:v mpeg2video -q:v 4 "${mp2[@]}"
  join "$1"
}
# The engine writes the tag as a counter-clockwise turn.
turned() {
  local degrees=$1 target=$2
  film "${h264[@]}" "${aac[@]}" "$scratch/level.mp4"
  ff -i "$scratch/level.mp4" -c copy -metadata:s:v "rotate=$degrees" "$target"
}
source_rotated_90_mp4() {
  size=240x320 after=transpose=cclock
  turned 270 "$1"
}
source_rotated_180_mp4() {
  after=hflip,vflip
  turned 180 "$1"
}
source_rotated_270_mov() {
  size=240x320 after=transpose=clock
  turned 90 "$1"
}
source_odd_size_mkv() {
  after=scale=321:241 layout=yuv444p
  film "${h264[@]}" "${aac[@]}" "$1"
}
source_two_by_two_mkv() {
  after=scale=2:2
  film -c:v ffv1 "${aac[@]}" "$1"
}
source_two_by_two_mp4() {
  after=scale=2:2
  film -c:v libx264 -preset ultrafast "${aac[@]}" "$1"
}
