# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# One of each container and codec that people bring.

source_h264_mp4() { film "${h264[@]}" "${aac[@]}" "$1"; }
source_h264_fragmented_mp4() {
  film "${h264[@]}" "${aac[@]}" -movflags +frag_keyframe+empty_moov "$1"
}
source_hevc_mp4() { film -c:v libx265 -preset ultrafast -x265-params log-level=none "${aac[@]}" "$1"; }
source_h264_mkv() { film "${h264[@]}" "${aac[@]}" "$1"; }
source_h264_aac_avi() { film "${h264[@]}" -bf 0 "${aac[@]}" "$1"; }
source_mpeg4_mp3_avi() { film -c:v mpeg4 -b:v 2M -c:a libmp3lame "$1"; }
source_mjpeg_pcm_avi() { film -pix_fmt yuvj420p -vf scale=out_range=pc -c:v mjpeg -q:v 3 -c:a pcm_s16le "$1"; }
source_vp9_webm() { film -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 1M -c:a libopus "$1"; }
source_vp8_webm() { film -c:v libvpx -deadline realtime -cpu-used 8 -b:v 1M -c:a libvorbis "$1"; }
source_prores_mov() { film -pix_fmt yuv422p10le -c:v prores_ks -profile:v 0 -c:a pcm_s24le "$1"; }
# Its encoder declares BT.709 at every size.
source_dnxhr_mov() {
  matrix=bt709
  film -pix_fmt yuv422p -c:v dnxhd -profile:v dnxhr_lb -c:a pcm_s16le "$1"
}
source_dnxhd_mxf() {
  size=1280x720 matrix=bt709 seconds=8
  film -pix_fmt yuv422p -r 25 -c:v dnxhd -b:v 60M -c:a pcm_s16le "$1"
}
source_mpeg2_mxf() { film "${mpeg2[@]}" -c:a pcm_s16le "$1"; }
source_wmv_asf() { film -c:v wmv2 -b:v 2M -c:a wmav2 -b:a 128k "$1"; }
source_h264_flv() { film "${h264[@]}" "${aac[@]}" "$1"; }
source_flv1_flv() { film -c:v flv -b:v 2M -c:a libmp3lame -ar 44100 "$1"; }
source_program_mpg() { film "${mpeg2[@]}" "${mp2[@]}" -f vob "$1"; }
source_mpeg1_mpg() { film -c:v mpeg1video -b:v 3M "${mp2[@]}" -f mpeg "$1"; }
source_mpeg2_ts() { film "${mpeg2[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"; }
source_h264_ts() { film "${h264[@]}" "${aac[@]}" "${broadcast[@]}" "$1"; }
source_hevc_ts() {
  film -c:v libx265 -preset ultrafast -x265-params log-level=none -c:a ac3 "${broadcast[@]}" "$1"
}
source_h264_m2ts() { film "${h264[@]}" -c:a ac3 -f mpegts -mpegts_m2ts_mode 1 "$1"; }
source_theora_ogg() { film -c:v libtheora -q:v 7 -c:a libvorbis "$1"; }
source_silent_mp4() { film -map 0:v "${h264[@]}" "$1"; }
source_garbage_behind_mp4() {
  film "${h264[@]}" "${aac[@]}" "$1"
  head -c 300000 /dev/zero | tr '\0' '\125' >>"$1"
}
source_garbage_behind_ts() {
  film "${mpeg2[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"
  head -c 300000 /dev/zero | tr '\0' '\125' >>"$1"
}
source_edit_list_mp4() {
  film "${h264[@]}" -bf 2 "${aac[@]}" "${1%/*}/whole.mp4"
  # From the middle of a group of pictures: the edit list hides what precedes the cut.
  ff -ss 4.2 -i "${1%/*}/whole.mp4" -c copy "$1"
}
source_damaged_ts() {
  film "${mpeg2[@]}" "${mp2[@]}" "${broadcast[@]}" "${1%/*}/whole.ts"
  # Every 150th packet has its load overwritten, between the second and the last flash.
  awk 'BEGIN { for (n = 4000; n < 6000; n += 150) print n }' | while read -r packet; do
    head -c 150 /dev/zero | tr '\0' '\125' |
      dd of="${1%/*}/whole.ts" bs=1 seek=$((packet * 188 + 20)) conv=notrunc status=none
  done
  mv "${1%/*}/whole.ts" "$1"
}
source_cut_start_ts() {
  # An open group of pictures, cut where no key frame is.
  seconds=16 film "${mpeg2[@]}" -g 60 -sc_threshold 1000000000 "${mp2[@]}" "${broadcast[@]}" "${1%/*}/whole.ts"
  # Inside the first group of pictures: a group has some 1,300 packets.
  tail -c +$((700 * 188 + 1)) "${1%/*}/whole.ts" >"$1"
}
source_long_name_mp4() { film "${h264[@]}" "${aac[@]}" "$1"; }
source_tone_mp3() { ff -f lavfi -i "$(sound)" -c:a libmp3lame "$1"; }
source_tone_wav() { ff -f lavfi -i "$(sound)" "$1"; }
source_tone_flac() { ff -f lavfi -i "$(sound)" "$1"; }
source_tone_aac() { ff -f lavfi -i "$(sound)" "${aac[@]}" "$1"; }
source_tone_ogg() { ff -f lavfi -i "$(sound)" -c:a libvorbis "$1"; }
source_tone_m4a() { ff -f lavfi -i "$(sound)" "${aac[@]}" "$1"; }
source_cover_mp3() {
  ff -f lavfi -i "$(scene)" -frames:v 1 -pix_fmt yuvj420p "$scratch/cover.jpg"
  ff -i "$scratch/cover.jpg" -f lavfi -i "$(sound)" -map 0 -map 1 -c:v copy \
    -disposition:v attached_pic -c:a libmp3lame "$1"
}
