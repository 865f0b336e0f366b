#!/bin/sh
# The trial of scripts/cluster-kills: QX_RUNS transcodes whose kills are chosen by QX_SEED. They depend
# on the seed and the number of the run only; the moments also on how busy the machine is.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
patience_s=300
runs=$QX_RUNS
films="film.ts film.mov"
kinds="tool task engine node daemon controller"
# A seam costs less than this much likeness to the source; noise of another encode costs nearly as much.
likeness_limit=0.01
# Two encodes of the same sound differ less, a gap or a shift by a packet more.
sound_limit_db=-30
longest_run_s=600
found=0
worst_likeness=0
worst_sound=-999
longest=0

# ---- Chance

# A number from 0 to LIMIT - 1, in $drawn.
draw() { # LIMIT
  state=$(((state * 1103515245 + 12345) & 0x7fffffff))
  drawn=$(((state >> 8) % $1))
}

draw_word() { # WORDS...
  draw $#
  shift "$drawn"
  word=$1
}

# ---- What is made, and how it should be

# Open groups of pictures in a stream of packets; and pictures at a rate that is not a whole number.
make_films() {
  make_film "$media/film.ts" 64
  ffmpeg -nostdin -loglevel error -f lavfi -i testsrc2=size=160x120:rate=30000/1001 -f lavfi -i sine=frequency=700 \
    -t 64 -c:v libx264 -preset veryfast -g 60 -c:a aac "$media/film.mov"
  settings checkpoint=no
  for film in $films; do
    transcode "$media/$film" "/run/whole.$film.mp4" || fail "$(cat /run/errors.log)"
    packets_of "/run/whole.$film.mp4" >"/run/whole.$film.packets"
    likeness "/run/whole.$film.mp4" "$media/$film" >"/run/whole.$film.likeness"
  done
}

# How packets of the streams lie between one another does not matter, and the padding in the last one of the sound
# is known only to the encoder that made it.
packets_of() { # FILE
  for stream in v a; do
    ffprobe -v error -select_streams $stream -show_entries packet=codec_type,pts,dts,duration,flags -of csv=p=0 "$1"
  done | awk -F, -v OFS=, 'NR > 1 { print line } { line = $0; fields = NF } END { $0 = line; $4 = "-"; print }'
}

# For each picture, 0 to 1.
likeness() { # FILE SOURCE
  ffmpeg -nostdin -v error -i "$1" -i "$2" -lavfi '[0:v]settb=AVTB,setpts=N/25/TB[a];
    [1:v]scale=flags=bicubic,settb=AVTB,setpts=N/25/TB[b];[a][b]ssim=stats_file=-:shortest=1' -f null - |
    sed -n 's/.*All:\([0-9.]*\).*/\1/p'
}

# How much less like the source any 50 pictures are than those of the film in one piece.
loss() { # LIKENESS LIKENESS-IN-ONE-PIECE
  paste "$2" "$1" | awk '
    NF != 2 { print 1; bad = 1; exit }
    { sum += $1 - $2; lost[NR] = $1 - $2; if (NR > 50) sum -= lost[NR - 50]; if (sum > worst) worst = sum }
    END { if (!bad) printf "%.4f\n", (NR > 50 ? worst / 50 : 1) }'
}

# The loudest part of the difference, in dB.
difference_of_sound() { # FILE FILE
  ffmpeg -nostdin -v info -i "$1" -i "$2" -filter_complex \
    '[0:a][1:a]amerge=inputs=2,pan=stereo|c0=c0-c2|c1=c1-c3,astats=measure_perchannel=none:measure_overall=Peak_level' \
    -f null - 2>&1 | sed -n 's/.*Peak level dB: \(.*\)/\1/p' | sed 's/-inf/-200/' | tail -n 1
}

exceeds() { # NUMBER LIMIT
  awk -v a="$1" -v b="$2" 'BEGIN { exit !(a > b) }'
}

# ---- Kills

event() {
  printf '%s %s\n' "$(date +%T.%N | cut -c1-12)" "$1" >>/run/events
}

count_kill() { # KIND
  echo "$1" >>/run/kills
  echo "$1" >>/run/kills_of_run
}

# One of the processes that COMMAND lists, if there is any.
kill_one_of() { # KIND COMMAND...
  kind=$1
  shift
  # shellcheck disable=SC2046  # a word list
  set -- $("$@")
  [ $# -gt 0 ] || return 0
  draw_word "$@"
  if kill -KILL "$word" 2>/dev/null; then
    event "killed $kind, process $word"
    count_kill "$kind"
  fi
}

all_tasks() {
  pgrep -f -- '^/usr/bin/qxmi_vod_transcode --work' || :
}

engines_or_none() {
  engines || :
}

kill_tool() {
  kill -KILL "$tool" 2>/dev/null || return 0
  event "killed tool"
  count_kill tool
  wait "$tool" || :
  draw 4
  [ "$drawn" -ne 3 ] || sleep 2
  start_again
}

# It comes back after up to 20 s, in the background.
kill_part() { # KIND PART
  kill -0 "$(cat "/run/cluster/$2.pid")" 2>/dev/null || return 0
  lose "$2"
  count_kill "$1"
  draw 20
  event "killed $2 for $drawn s"
  (sleep "$drawn" && again "$2") &
}

# The tasks of the node go on without it.
kill_daemon() { # NODE
  kill -0 "$(cat "/run/cluster/$1.pid")" 2>/dev/null || return 0
  daemon "$1" KILL 2>/dev/null || return 0
  count_kill daemon
  draw 20
  event "killed daemon of $1 for $drawn s"
  # The node may be killed meanwhile, and then comes back with a daemon.
  { sleep "$drawn" && in_node "$1" slurmd -f "$SLURM_CONF" -N "$1"; } >/dev/null 2>&1 &
}

disturb() { # KIND
  draw_word n1 n2 n3
  node=$word
  case $1 in
  tool) kill_tool ;;
  task) kill_one_of task all_tasks ;;
  engine) kill_one_of engine engines_or_none ;;
  node) kill_part node "$node" ;;
  daemon) kill_daemon "$node" ;;
  controller) kill_part controller slurmctld ;;
  esac
}

# ---- A run

start_again() {
  qxmi_vod_transcode --profile 120 -f mp4 -o "$vods/film.mp4" --file "$media/$film" >/run/progress.log 2>>/run/errors.log &
  tool=$!
}

tool_runs() {
  kill -0 "$tool" 2>/dev/null && ! grep -qs '^State:.Z' "/proc/$tool/status"
}

# Sleeps for TENTHS of a second, or until the tool ends.
wait_a_moment() { # TENTHS
  tenths=$1
  while [ "$tenths" -gt 0 ] && tool_runs; do
    sleep 0.1
    tenths=$((tenths - 1))
  done
}

# As the service does after a tool that was disturbed; false if it fails undisturbed, or never ends.
finish() {
  deadline=$(($(date +%s) + longest_run_s))
  while :; do
    while tool_runs; do
      [ "$(date +%s)" -lt "$deadline" ] || return 1
      sleep 0.2
    done
    ! wait "$tool" || return 0
    event "the tool failed: $(tail -n 1 /run/errors.log)"
    [ -s /run/kills_of_run ] || return 1
    : >/run/kills_of_run
    start_again
  done
}

find_fault() { # TEXT
  found=$((found + 1))
  printf 'FOUND: run %s of seed %s, %s: %s\n' "$run" "$QX_SEED" "$film" "$1"
  sed 's/^/  /' /run/events
  sed 's/^/  stderr: /' /run/errors.log
  sed 's/^/  log: /' "$log"
}

judge() {
  packets_of "$vods/film.mp4" >/run/made.packets
  cmp -s "/run/whole.$film.packets" /run/made.packets ||
    find_fault "other packets: $(diff "/run/whole.$film.packets" /run/made.packets | head -n 3 | tr '\n' ' ')"
  likeness "$vods/film.mp4" "$media/$film" >/run/made.likeness
  lost=$(loss /run/made.likeness "/run/whole.$film.likeness")
  lost=${lost:-1}
  ! exceeds "$lost" "$likeness_limit" || find_fault "pictures are less like the source by $lost"
  ! exceeds "$lost" "$worst_likeness" || worst_likeness=$lost
  difference=$(difference_of_sound "$vods/film.mp4" "/run/whole.$film.mp4")
  difference=${difference:-0}
  ! exceeds "$difference" "$sound_limit_db" || find_fault "the sound differs by $difference dB"
  ! exceeds "$difference" "$worst_sound" || worst_sound=$difference
}

cluster_is_whole() {
  for node in n1 n2 n3; do
    case $(sinfo --noheader --nodes=$node --format %T) in
    drain* | down*) scontrol update "NodeName=$node" State=resume 2>/dev/null || : ;;
    esac
  done
  has_idle_nodes 3
}

one_run() { # NUMBER
  run=$1
  state=$(((QX_SEED * 100003 + run) & 0x7fffffff))
  for file in events kills_of_run errors.log; do : >"/run/$file"; done
  rm -rf "$vods" && mkdir -p "$(dirname "$log")"
  # shellcheck disable=SC2086  # a word list
  draw_word $films
  film=$word
  draw 20
  settings "spread.patience=$((10 + drawn))"
  begin=$(date +%s)
  start_again
  draw 4
  for _ in $(seq $((drawn + 1))); do
    draw 70
    wait_a_moment "$drawn"
    tool_runs || break
    # shellcheck disable=SC2086  # a word list
    draw_word $kinds
    disturb "$word"
  done
  if finish; then
    judge
  else
    kill -KILL "$tool" 2>/dev/null || :
    find_fault "failed by itself, or did not end"
  fi
  took=$(($(date +%s) - begin))
  [ "$took" -le "$longest" ] || longest=$took
  until_true "the end of all tasks of run $run" no_tasks
  left=$(find "$vods" -name '.*' -mindepth 1 ! -name '.*.metadata')
  [ -z "$left" ] || find_fault "left behind: $left"
  until_true "a whole cluster" cluster_is_whole
  step "run $run: $film, $took s, $(wc -l </run/kills_of_run) kills since the last failure"
}

kills_of() {
  for kind in $kinds; do
    printf '%s%s %s' "${separator-}" "$kind" "$(grep -c "^$kind\$" /run/kills || :)"
    separator=', '
  done
}

mkdir -p "$vods" "$media"
: >/run/kills
make_films
for number in $(seq "$runs"); do one_run "$number"; done
printf 'cluster runs: %s, with kills of %s\n' "$runs" "$(kills_of)"
printf 'longest run: %s s\n' "$longest"
printf 'likeness to the source: at most %s lower than in one piece\n' "$worst_likeness"
printf 'sound: differs by at most %s dB\n' "$worst_sound"
printf 'findings: %s\n' "$found"
[ "$found" -eq 0 ]
