# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154  # make-source reads the scene and all recipes in one shell
# Channels: how many, how they are laid out, when they change, when they begin.

# Pieces of a broadcast that follow one another without a gap: piece START ARGUMENTS...
piece() {
  local start=$1
  shift
  film "$@" "${broadcast[@]}" -output_ts_offset "$start" "$scratch/piece.ts"
  cat "$scratch/piece.ts" >>"$scratch/pieces"
}
join() {
  mv "$scratch/pieces" "$1"
}

stereo_ac3=(-c:a ac3 -b:a 192k)
# The speech is in the centre, something quieter everywhere else.
surround_pan='pan=5.1|FC=c0|FL=0.1*c0|FR=0.1*c0|BL=0.05*c0|BR=0.05*c0'
surround_ac3=(-c:a ac3 -b:a 384k -af "$surround_pan")

source_ac3_20_51_20_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" "${stereo_ac3[@]}"
  piece 8 "${mpeg2[@]}" "${surround_ac3[@]}"
  piece 16 "${mpeg2[@]}" "${stereo_ac3[@]}"
  join "$1"
}
source_ac3_51_20_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" "${surround_ac3[@]}"
  piece 8 "${mpeg2[@]}" "${stereo_ac3[@]}"
  join "$1"
}
source_mono_stereo_ts() {
  seconds=8
  piece 0 "${mpeg2[@]}" -c:a mp2 -b:a 96k -af 'pan=mono|c0=c0'
  piece 8 "${mpeg2[@]}" -c:a mp2 -b:a 192k
  join "$1"
}
source_aac_mono_stereo_ts() {
  seconds=8
  piece 0 "${h264[@]}" -c:a aac -af 'pan=mono|c0=c0'
  piece 8 "${h264[@]}" -c:a aac
  join "$1"
}

source_mono_mp4() { film "${h264[@]}" -c:a aac -af 'pan=mono|c0=c0' -b:a 96k "$1"; }
source_mono_wav() { ff -f lavfi -i "$(murmur)" "$1"; }
source_stereo_mov() { film "${h264[@]}" -c:a pcm_s16le "$1"; }
source_surround_51_ts() { film "${h264[@]}" -c:a ac3 -b:a 384k -af 'pan=5.1|FC=c0' "${broadcast[@]}" "$1"; }
source_surround_fronts_mp4() { film "${h264[@]}" -c:a aac -b:a 384k -af 'pan=5.1|FL=c0|FR=c0' "$1"; }
source_surround_71_mkv() { film "${h264[@]}" -c:a flac -af 'pan=7.1|FC=c0' "$1"; }
# Everything at once, as loud as it goes.
source_surround_loud_mkv() {
  film "${h264[@]}" -c:a flac -af 'volume=11dB,pan=5.1|FC=c0|FL=c0|FR=c0|BL=c0|BR=c0|LFE=c0' "$1"
}
ten='pan=10C|c0=c0|c1=c0|c2=0*c0|c3=0*c0|c4=0*c0|c5=0*c0|c6=0*c0|c7=0*c0|c8=0*c0|c9=0*c0'
source_ten_channels_mov() { film "${h264[@]}" -c:a pcm_s16le -af "$ten" "$1"; }

# Mono tracks: the first with the scene's sound, each other with a different tone.
tracks() {
  local count=$1 n
  shift
  local inputs=() maps=(-map 0 -map 1)
  for ((n = 2; n <= count; n++)); do
    inputs+=(-f lavfi -i "$(tone $((n * 1000)))")
    maps+=(-map "$n")
  done
  ff -f lavfi -i "$(scene)" -f lavfi -i "$(murmur)" "${inputs[@]}" "${maps[@]}" -t "$seconds" "$@"
}
source_two_mono_mxf() { tracks 2 "${mpeg2[@]}" -c:a pcm_s16le "$1"; }
source_four_mono_mxf() { tracks 4 "${mpeg2[@]}" -c:a pcm_s16le "$1"; }
source_eight_mono_mxf() { tracks 8 "${mpeg2[@]}" -c:a pcm_s16le "$1"; }
source_two_mono_mov() { tracks 2 "${h264[@]}" -c:a pcm_s16le "$1"; }
source_four_mono_mov() { tracks 4 "${h264[@]}" -c:a pcm_s16le "$1"; }
source_eight_mono_mov() { tracks 8 "${h264[@]}" -c:a pcm_s16le "$1"; }

# The sound begins after so many seconds, in step with the picture.
late_sound() {
  local late=$1
  shift
  ff -f lavfi -i "$(scene)" -itsoffset "$late" \
    -f lavfi -i "$(sound),atrim=start=$late,asetpts=PTS-STARTPTS" -t "$seconds" "$@"
}
source_sound_late_25_ts() {
  seconds=40
  late_sound 25 "${mpeg2[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_sound_late_45_ts() {
  seconds=12 size=720x576
  late_sound 4.5 -aspect 4:3 -c:v mpeg2video -b:v 25M -minrate 25M -maxrate 25M -bufsize 5M -intra_vlc 1 -g 1 \
    -qmin 1 "${mp2[@]}" "${broadcast[@]}" "$1"
}
source_sound_late_mkv() { late_sound 6 "${h264[@]}" "${aac[@]}" "$1"; }
# Two programmes; the second one is larger, and it has the beat.
source_two_programs_ts() {
  ff -f lavfi -i "color=gray:s=160x120:r=25" -f lavfi -i "$(tone 3000)" \
    -f lavfi -i "$(scene)" -f lavfi -i "$(sound)" -map 0 -map 1 -map 2 -map 3 -t "$seconds" \
    -program program_num=1:st=0:st=1 -program program_num=2:st=2:st=3 \
    "${mpeg2[@]}" "${mp2[@]}" "${broadcast[@]}" "$1"
}
# The reference for loudness.
source_reference_wav() { ff -f lavfi -i "$(sound)" "$1"; }
