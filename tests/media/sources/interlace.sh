# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Interlaced pictures, and how the file says so.

source_mpeg2_top_first_ts() {
  interlaced_film top "${mpeg2[@]}" "${top_first[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_mpeg2_bottom_first_ts() {
  interlaced_film bottom "${mpeg2[@]}" "${bottom_first[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"
}
# The news in whole pictures, then a game in fields.
then_interlaced() {
  local target=$1
  shift
  film "${pieces[@]}" "${broadcast[@]}" "$scratch/first.ts"
  interlaced_film top "${pieces[@]}" "$@" "${broadcast[@]}" -output_ts_offset "$seconds" "$scratch/second.ts"
  cat "$scratch/first.ts" "$scratch/second.ts" >"$target"
}
source_mpeg2_later_interlaced_ts() {
  seconds=8
  pieces=("${mpeg2[@]}" "${mp2[@]}")
  then_interlaced "$1" "${top_first[@]}"
}
# Long enough that whoever looks at the beginning alone sees no field.
source_mpeg2_much_later_interlaced_ts() {
  seconds=20
  pieces=("${mpeg2[@]}" "${mp2[@]}")
  then_interlaced "$1" "${top_first[@]}"
}
source_h264_mbaff_ts() {
  interlaced_film top "${h264[@]}" -x264-params interlaced=1:tff=1 "${aac[@]}" "${broadcast[@]}" "$1"
}
# Coded as whole pictures, marked as fields in each picture's timing alone.
source_h264_frame_coded_ts() {
  interlaced_film top "${h264[@]}" -x264-params fake-interlaced=1:tff=1:pic-struct=1 "${aac[@]}" \
    "${broadcast[@]}" "$1"
}
source_h264_later_interlaced_ts() {
  seconds=8
  pieces=("${h264[@]}" "${aac[@]}")
  then_interlaced "$1" -x264-params interlaced=1:tff=1
}
source_h264_mbaff_mp4() {
  interlaced_film top "${h264[@]}" -x264-params interlaced=1:tff=1 "${aac[@]}" "$1"
}
source_h264_mbaff_1440_ts() {
  size=1440x1080 seconds=8 matrix=bt709
  interlaced_film top "${h264[@]}" -b:v 12M -x264-params interlaced=1:tff=1 -aspect 16:9 -c:a ac3 \
    "${broadcast[@]}" "$1"
}
source_dv_pal_dv() {
  size=720x576
  (rate=50 after="tinterlace=interleave_bottom" && scene) >"$scratch/graph"
  ff -f lavfi -i "$(cat "$scratch/graph")" -f lavfi -i "$(sound)" -t "$seconds" -pix_fmt yuv420p \
    -c:v dvvideo -flags +ildct -aspect 4:3 -c:a pcm_s16le -ar 48000 "$1"
}
source_dv_ntsc_avi() {
  size=720x480
  (rate=60000/1001 layout=yuv422p after="tinterlace=interleave_bottom" && scene) >"$scratch/graph"
  ff -f lavfi -i "$(cat "$scratch/graph")" -f lavfi -i "$(sound)" -t "$seconds" -pix_fmt yuv411p \
    -c:v dvvideo -flags +ildct -aspect 4:3 -c:a pcm_s16le -ar 48000 "$1"
}
source_prores_interlaced_mov() {
  interlaced_film top -pix_fmt yuv422p10le -c:v prores_ks -profile:v 0 "${top_first[@]}" \
    -c:a pcm_s16le "$1"
}
# Nothing but the container says it.
source_flagged_by_container_mov() {
  interlaced_film top -pix_fmt uyvy422 -c:v rawvideo -tag:v 2vuy -field_order tt -c:a pcm_s16le "$1"
}
source_flagged_by_container_mkv() {
  interlaced_film top -c:v ffv1 -field_order tt -c:a pcm_s16le "$1"
}
source_mpeg2_interlaced_mxf() {
  interlaced_film top "${mpeg2[@]}" "${top_first[@]}" -c:a pcm_s16le "$1"
}
# No declaration at all: the output of a converter that does not know about fields.
source_unmarked_avi() {
  size=320x480
  interlaced_film bottom -c:v mjpeg -q:v 3 -c:a pcm_s16le "$1"
}
source_unmarked_mp4() {
  size=320x480
  interlaced_film top "${h264[@]}" -b:v 4M "${aac[@]}" "$1"
}
