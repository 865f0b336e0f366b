# shellcheck shell=sh
# shellcheck disable=SC2034  # for the cases
# Functions for the cases, which run beside the cluster and source this file first.
set -eu
# shellcheck source=tests/support/case_steps.sh
. "$(dirname "$0")/../support/case_steps.sh"
media=/mnt/media
vods=/mnt/main/tv/vod
log=$vods/.film.mp4.metadata/vod.log
cluster=$(dirname "$0")/../../scripts/cluster
QX_MEDIA_CONF=/run/media.conf
export QX_MEDIA_CONF

fail() {
  printf 'FAILED: %s\n' "$1" >&2
  exit 1
}

first_process_of() { # NODE
  pgrep -P "$(cat "/run/cluster/$1.pid")"
}

in_node() { # NODE COMMAND...
  first=$(first_process_of "$1")
  shift
  nsenter --target "$first" --mount --pid -- "$@"
}

# PART is munge, slurmctld or a node, which is lost with all that runs on it.
lose() { # PART
  kill -KILL "$(cat "/run/cluster/$1.pid")"
}

again() { # PART
  "$cluster" --again "$1"
}

# The daemon of the node alone; its tasks go on.
daemon() { # NODE SIGNAL
  in_node "$1" kill "-$2" "$(cat "/run/cluster/spool/$1/slurmd.pid")"
}

has_idle_nodes() { # N
  [ "$(sinfo --noheader --Node --states=idle --format %N | wc -l)" -eq "$1" ]
}

# make_film FILE SECONDS: pictures that move and a tone.
make_film() {
  ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc2=size=160x120:rate=25 \
    -f lavfi -i sine=frequency=1000:sample_rate=48000 -t "$2" -c:v mpeg2video -g 12 -bf 2 -b:v 1M \
    -c:a mp2 -f mpegts "$1"
}

settings() { # LINE...
  printf '%s\n' checkpoint=yes checkpoint.segment_seconds=2 spread=slurm spread.cpus=1 \
    spread.min_length=60 "$@" >"$QX_MEDIA_CONF"
}

transcode() { # FILE RESULT
  qxmi_vod_transcode --profile 120 -f mp4 -o "$2" --file "$1" >/run/progress.log 2>/run/errors.log
}

# The same beside the case, whose process id is then $tool.
start_transcode() { # FILE RESULT
  qxmi_vod_transcode --profile 120 -f mp4 -o "$2" --file "$1" >/run/progress.log 2>/run/errors.log &
  tool=$!
}

expect_result() { # FILE: that the transcode that was started makes
  wait "$tool" || fail "the transcode failed: $(cat /run/errors.log)"
  same_packets /run/alone.mp4 "$1"
  nothing_left "$vods"
}

no_errors() {
  [ ! -s /run/errors.log ] || fail "on standard error: $(cat /run/errors.log)"
}

# A film, and what becomes of it without a cluster.
prepare() {
  mkdir -p "$(dirname "$log")" "$media"
  make_film "$media/film.ts" 64
  settings spread=none
  transcode "$media/film.ts" /run/alone.mp4 || fail "$(cat /run/errors.log)"
  settings "$@"
}

tasks_of() { # NODE: process ids, as this machine sees them
  place=$(readlink "/proc/$(first_process_of "$1")/ns/pid")
  pgrep -f -- 'qxmi_vod_transcode --work' | while read -r process; do
    [ "$(readlink "/proc/$process/ns/pid")" != "$place" ] || echo "$process"
  done
}

has_task() { # NODE
  [ -n "$(tasks_of "$1")" ]
}

stop_one_task() { # NODE
  task=$(tasks_of "$1" | head -n 1)
  [ -n "$task" ] && kill -STOP "$task"
}

# As a task that hangs.
stop_task() { # NODE
  until_true "a task of $1" stop_one_task "$1"
}

engines() {
  pgrep -x ffmpeg
}

stop_those_there() {
  for engine in $(engines); do kill -STOP "$engine" 2>/dev/null || :; done
  [ "$(engines | wc -l)" -eq 3 ] && all_stopped
}

# One on each of three nodes, as engines that hang.
stop_engines() {
  until_true "an engine on each node" stop_those_there
}

all_stopped() {
  [ -n "$(engines)" ] || return 1
  for engine in $(engines); do
    grep -q '^State:.T' "/proc/$engine/status" || return 1
  done
}

three_run() {
  [ "$(squeue --noheader --states=R | wc -l)" -eq 3 ]
}

queue_is_empty() {
  [ -z "$(squeue --noheader --states=PD,R)" ]
}

# Those that are finished.
segments() {
  find "$vods" -path '*/.qx-segments-*/v*.mp4' ! -path '*/run*' | wc -l
}

has_segments() { # N
  [ "$(segments)" -ge "$1" ]
}

# Waits for so many more segments than there are now.
until_more_segments() { # N
  until_true "more segments" has_segments $(($(segments) + $1))
}

no_tasks() {
  [ -z "$(pgrep -f -- 'qxmi_vod_transcode --work')" ]
}

# Times, durations, flags and sizes of sound: the same however often the transcode was interrupted.
packets() { # FILE
  ffprobe -v error -show_entries packet=codec_type,pts,dts,duration,flags -of csv=p=0 "$1"
}

same_packets() { # FILE FILE
  packets "$1" >/run/one
  packets "$2" >/run/other
  [ -s /run/one ] || fail "$1 has no packets"
  cmp /run/one /run/other || fail "$1 and $2 differ"
}

nothing_left() { # FOLDER
  left=$(find "$1" -name '.*' -mindepth 1 ! -name '.*.metadata')
  [ -z "$left" ] || fail "left behind: $left"
}
