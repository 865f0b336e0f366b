#!/bin/sh
# Three jobs at once: one transfer at a time, and the remote queue keeps its order.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"

# Those of the given processes that transfer something: children of the local service.
transfers_among() { # PID...
  for pid in "$@"; do
    grep -qsx "PPid:.$(cat /run/service.pid)" "/proc/$pid/status" || continue
    case $(readlink "/proc/$pid/exe" 2>/dev/null) in
    */wget | */qxmi_remote_transcode) echo "$pid" ;;
    esac
  done
}

# How many run at a time. One may end and the next start while the processes are examined, so those
# found count as simultaneous only if all still exist afterwards.
transfers_now() {
  found=$(cd /proc && transfers_among [0-9]*)
  # shellcheck disable=SC2086  # a list of numbers
  transfers_among $found | wc -l
}

count_state() { # transcode state
  ended=0
  for job in $jobs; do
    [ "$(show 'transcode state' "$job")" != "$1" ] || ended=$((ended + 1))
  done
  echo "$ended"
}

# Names of sources, one per line: in the order of the remote queue, and of the starts of the
# transcodes.
queued() {
  far qx_vod_ctl list --json | grep -o '"input file": *"[^"]*"' | grep -o "$uuid"
}

transcoded() {
  grep -o "upload/$uuid" "$FAR/run/transcodes" | grep -o "$uuid"
}

all_over_there() {
  [ "$(queued | wc -l)" -eq 3 ]
}

# Watches the transfers until the condition is met.
watch_transfers_until() { # COMMAND...
  deadline=$(($(date +%s) + patience_s))
  until "$@"; do
    [ "$(date +%s)" -lt "$deadline" ] || fail "not seen in time: $*"
    running=$(transfers_now)
    [ "$running" -eq 0 ] || seen=1
    [ "$running" -le 1 ] || fail "$running transfers at a time"
  done
}

all_done() {
  [ "$(count_state "done")" -eq 3 ]
}

uuid='[0-9a-f]\{8\}-[0-9a-f-]\{27\}'
jobs=
seen=0
hold transcode
limit_ftp 300000
for name in one two three; do
  cp "$media/clip.ts" "$media/$name.ts"
  jobs="$jobs $(qx_vod_ctl add "$media/$name.ts")"
done
watch_transfers_until all_over_there
[ "$seen" -eq 1 ] || fail "no upload was seen"
order=$(queued)
seen=0
let_go transcode
watch_transfers_until all_done
[ "$seen" -eq 1 ] || fail "no download was seen"
[ "$(transcoded)" = "$order" ] || fail "transcoded as $(transcoded), queued as $order"
[ "$(count_transfers 'OK UPLOAD')" -eq 3 ] || fail "not three uploads"
