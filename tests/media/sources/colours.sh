# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Files with and without declarations of their colours.

hd() { size=1280x720 matrix=bt709 seconds=4; }
lossless=(-c:v libx264 -preset ultrafast -crf 18)
named() {
  printf '%s\n' -colorspace "$1" -color_primaries "$2" -color_trc "$3" -color_range "${4:-tv}"
}

source_untagged_hd_mp4() {
  hd
  film "${lossless[@]}" "${aac[@]}" "$1"
}
source_untagged_hd_mpeg2_ts() {
  hd
  film -c:v mpeg2video -q:v 3 "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_untagged_sd_mp4() { film "${lossless[@]}" "${aac[@]}" "$1"; }
source_tagged_hd_mp4() {
  hd
  mapfile -t tags < <(named bt709 bt709 bt709)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_hd_as_601_mp4() {
  hd
  matrix=bt601
  mapfile -t tags < <(named smpte170m smpte170m smpte170m)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_sd_as_709_mp4() {
  matrix=bt709
  mapfile -t tags < <(named bt709 bt709 bt709)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_sd_as_470bg_mp4() {
  mapfile -t tags < <(named bt470bg bt470bg gamma28)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_full_range_mp4() {
  range=pc
  mapfile -t tags < <(named smpte170m smpte170m smpte170m pc)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_full_range_hd_mp4() {
  hd
  range=pc
  mapfile -t tags < <(named bt709 bt709 bt709 pc)
  film "${lossless[@]}" "${tags[@]}" "${aac[@]}" "$1"
}
source_depth_10_mkv() {
  layout=yuv422p10le
  film "${lossless[@]}" "${aac[@]}" "$1"
}
source_chroma_444_mkv() {
  layout=yuv444p
  film "${lossless[@]}" "${aac[@]}" "$1"
}
in_rgb() {
  ff -f lavfi -i "$(rgb_scene)" -f lavfi -i "$(sound)" -t "$seconds" "$@"
}
source_rgb_h264_mkv() { in_rgb -pix_fmt rgb24 -c:v libx264rgb -preset ultrafast -crf 12 -c:a aac "$1"; }
source_rgb_hd_mov() {
  hd
  in_rgb -pix_fmt rgb24 -c:v png -c:a pcm_s16le "$1"
}
source_rgb_animation_mov() { in_rgb -pix_fmt rgb24 -c:v qtrle -c:a pcm_s16le "$1"; }
source_rgb_raw_avi() { in_rgb -pix_fmt bgr24 -c:v rawvideo -c:a pcm_s16le "$1"; }

# The scene in another colour space; it comes in RGB of ordinary television.
wide() {
  local primaries=$1 transfer=$2 target=$3
  ff -f lavfi -i "$(rgb_scene),format=gbrpf32le,\
setparams=colorspace=gbr:color_primaries=bt709:color_trc=bt709:range=pc,zscale=t=linear:npl=203,\
zscale=p=$primaries:t=$transfer:m=2020_ncl:r=tv:npl=203,format=yuv420p10le" \
    -f lavfi -i "$(sound)" -t "$seconds" -c:v libx265 -preset ultrafast -crf 18 \
    -x265-params log-level=none -colorspace bt2020nc -color_primaries bt2020 -color_trc "$4" \
    -color_range tv "${aac[@]}" "$target"
}
source_wide_gamut_mkv() { wide 2020 2020_10 "$1" bt2020-10; }
source_hlg_mkv() { wide 2020 arib-std-b67 "$1" arib-std-b67; }
source_pq_mp4() { wide 2020 smpte2084 "$1" smpte2084; }
source_pq_hd_mp4() {
  hd
  wide 2020 smpte2084 "$1" smpte2084
}
