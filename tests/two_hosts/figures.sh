#!/bin/sh
# Not a case, but measurements for bench/remote_figures: the cost of remote jobs for the local
# service. It shares the machine with everything else, so only its own processor time is meaningful.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
monitored=20
others=2000
scan_span_s=20
monitored_span_s=60
scan_period_ms=550 # on average

# Processor time in ms, of the local service itself and of its children that have ended. A clock
# tick is 10 ms.
cpu_ms() { # own | children
  # shellcheck disable=SC2046  # numbers and one word
  set -- "$1" $(cat "/proc/$(cat /run/service.pid)/stat")
  if [ "$1" = own ]; then echo "$(((${15} + ${16}) * 10))"; else echo "$(((${17} + ${18}) * 10))"; fi
}

# In hundredths of a second.
now() {
  cut -d' ' -f1 /proc/uptime | tr -d .
}

# Sets own_ms and children_ms to the time used while no client sends requests.
measure() { # SECONDS
  own_begin=$(cpu_ms own)
  children_begin=$(cpu_ms children)
  sleep "$1"
  own_ms=$(($(cpu_ms own) - own_begin))
  children_ms=$(($(cpu_ms children) - children_begin))
}

percent() { # MS SECONDS
  awk "BEGIN { printf \"%.2f %%\", $1 / $2 / 10 }"
}

run_job() { # WHAT
  begin=$(now)
  id=$(qx_vod_ctl add "$media/clip.ts")
  qx_vod_ctl wait "$id" >/dev/null || fail "the job did not end well"
  taken=$(($(now) - begin))
  echo "$1, from add to done: $((taken / 100)).$((taken % 100 / 10)) s"
}

all_monitored() {
  [ "$(qx_vod_ctl list | grep -c 'remote transcode: monitor')" -eq "$monitored" ]
}

run_job "one job with a real transcode of 4 s"
cp "$FAR$(far_show 'output file')" "$FAR/run/ready-made"
run_job "one job with a transcode that takes no time (wanted: under 12 s)"

pad_clip "$media/long.ts" 20000
limit_ftp 200000
add_job "$media/long.ts"
wait_for_remote upload
measure "$scan_span_s"
alone_ms=$own_ms
sleepers=
for _ in $(seq "$others"); do
  sleep 600 &
  sleepers="$sleepers $!"
done
measure "$scan_span_s"
remote_is upload || fail "the upload is over too early"
scans=$((scan_span_s * 1000 / scan_period_ms))
echo "upload beside $others processes: $(((own_ms - alone_ms) / scans)) ms a scan more than without" \
  "them, $((own_ms / scans)) ms with all else the service does (wanted: under 20 ms)"
# shellcheck disable=SC2086  # a list of numbers
kill $sleepers
qx_vod_ctl cancel "$id" >/dev/null
wait_for_state cancelled
limit_ftp 0

hold transcode
for number in $(seq "$monitored"); do
  cp "$media/clip.ts" "$media/$number.ts"
  qx_vod_ctl add "$media/$number.ts" >/dev/null
done
until_true "the monitoring of $monitored jobs" all_monitored
measure "$monitored_span_s"
echo "$monitored jobs monitored for $monitored_span_s s: $own_ms ms," \
  "$(percent "$own_ms" "$monitored_span_s") of a core (wanted: under 1 %);" \
  "its children, the HTTP client: $(percent "$children_ms" "$monitored_span_s")"
