# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Broadcasts whose clock jumps.

# Two recordings of 8 s, one after the other, whose clocks begin at those seconds.
spliced() {
  local target=$1 start
  shift
  seconds=8
  for start in "$@"; do
    piece "$start" "${mpeg2[@]}" "${mp2[@]}"
  done
  join "$target"
}

source_jump_forward_ts() { spliced "$1" 100 5000; }
source_jump_backward_ts() { spliced "$1" 5000 100; }
source_encoder_restart_ts() { spliced "$1" 700 0 0; }
source_jump_small_ts() { spliced "$1" 100 168; }
# The 33 bits run over in the middle: 2^33 / 90000 = 95443.7 s.
source_wrap_ts() {
  seconds=16
  piece 95435 "${mpeg2[@]}" "${mp2[@]}"
  join "$1"
}
source_wrap_and_jump_ts() { spliced "$1" 95439 100; }
source_jump_h264_ts() {
  seconds=8
  piece 40000 "${h264[@]}" "${aac[@]}"
  piece 3 "${h264[@]}" "${aac[@]}"
  join "$1"
}
source_spliced_mpg() {
  seconds=8
  film "${mpeg2[@]}" "${mp2[@]}" -f vob "$scratch/one.mpg"
  cat "$scratch/one.mpg" "$scratch/one.mpg" >"$1"
}
# The next programme: another size of picture, another number of channels, another clock.
source_program_change_ts() {
  seconds=8
  piece 1000 "${mpeg2[@]}" "${stereo_ac3[@]}"
  size=240x180
  piece 20 "${mpeg2[@]}" "${surround_ac3[@]}"
  join "$1"
}
