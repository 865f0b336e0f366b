# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Rates of pictures, constant and not.

at_rate() {
  rate=$1
  film "${h264[@]}" "${aac[@]}" "$2"
}

source_rate_23976_mp4() { at_rate 24000/1001 "$1"; }
source_rate_24_mkv() { at_rate 24 "$1"; }
source_rate_2997_mp4() { at_rate 30000/1001 "$1"; }
source_rate_30_mov() { at_rate 30 "$1"; }
source_rate_50_ts() {
  rate=50
  film "${h264[@]}" "${aac[@]}" "${broadcast[@]}" "$1"
}
source_rate_5994_ts() {
  rate=60000/1001
  film "${h264[@]}" "${aac[@]}" "${broadcast[@]}" "$1"
}
source_rate_60_mp4() { at_rate 60 "$1"; }
source_rate_100_mp4() { at_rate 100 "$1"; }
source_rate_15_flv() { at_rate 15 "$1"; }
# A telephone's: 30 wanted, 22 reached when it is dark. The pictures at the flash stay.
dropped() {
  printf '%s' "select='1-between(mod(n,11),3,4)-eq(mod(n,11),8)+$beat'"
}
source_variable_mp4() {
  rate=30
  after=${1:+$(dropped)}
  film -vsync vfr "${h264[@]}" "${aac[@]}" -video_track_timescale 30000 "$1"
}
source_variable_mkv() {
  rate=30
  after=${1:+$(dropped)}
  film -vsync vfr "${h264[@]}" "${aac[@]}" "$1"
}
