#!/bin/sh
# A pause and its end reach the engines of all nodes within 300 ms, and a cancel ends tool and engines within a
# second. The engines only wait, so that nothing but the way to them is measured; the median of five counts.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
pause_limit_ms=300
cancel_limit_ms=1000
mkdir -p "$(dirname "$log")" "$media"
make_film "$media/film.ts" 64
settings
for node in n1 n2 n3; do in_node $node mount --bind /run/waiting_engine /usr/bin/ffmpeg; done
mount --bind /run/waiting_engine /usr/bin/ffmpeg

three_engines() {
  [ "$(engines | wc -l)" -eq 3 ]
}

none_stopped() {
  for engine in $(engines); do
    ! grep -q '^State:.T' "/proc/$engine/status" || return 1
  done
}

no_engines() {
  [ -z "$(engines)" ]
}

tool_has_ended() {
  [ ! -d "/proc/$tool" ] || grep -q '^State:.Z' "/proc/$tool/status"
}

# Notes how long it takes from $begin on until COMMAND succeeds.
measure() { # NAME COMMAND
  deadline=$(($(date +%s) + patience_s))
  until "$2"; do
    [ "$(date +%s)" -lt "$deadline" ] || fail "not seen in time: $1"
    sleep 0.01
  done
  echo "$((($(date +%s%N) - begin) / 1000000))" >>"/run/$1"
}

expect_median() { # NAME LIMIT
  median=$(sort -n "/run/$1" | sed -n 3p)
  step "$1: $median ms of $2, all: $(sort -n "/run/$1" | tr '\n' ' ')"
  [ "$median" -le "$2" ] || fail "$1: $median ms"
}

no_orders() {
  [ -z "$(pgrep -P "$tool")" ]
}

start() {
  start_transcode "$media/film.ts" "$vods/film.mp4"
  until_true "three engines" three_engines
}

cancel() {
  begin=$(date +%s%N)
  kill -TERM "$tool"
  measure cancel tool_has_ended
  measure end_of_engines no_engines
  wait "$tool" || :
  until_true "free nodes" has_idle_nodes 3
}

start
# The tool asks Slurm every 5 s where its tasks are.
until_true "the tool's note of them" grep -q '3 under way' "$log"
for _ in 1 2 3 4 5; do
  # An order waits for those before it, so that none is overtaken.
  until_true "the end of earlier orders" no_orders
  begin=$(date +%s%N)
  kill -USR1 "$tool"
  measure pause all_stopped
  until_true "the end of the pause's orders" no_orders
  begin=$(date +%s%N)
  kill -USR2 "$tool"
  measure resume none_stopped
done
three_engines || fail "engines have ended"
cancel
for _ in 2 3 4 5; do start && cancel; done
expect_median pause "$pause_limit_ms"
expect_median resume "$pause_limit_ms"
expect_median cancel "$cancel_limit_ms"
expect_median end_of_engines "$cancel_limit_ms"
