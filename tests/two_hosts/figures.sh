#!/bin/sh
# No case but measurements, for bench/remote_figures: what a remote job costs the near service.
# shellcheck source=tests/two_hosts/support.sh
. "$(dirname "$0")/support.sh"
monitored=20
others=2000
span_s=20

# Milliseconds of processor that the near service has used; a clock tick is 10 ms.
cpu_ms() {
  awk '{ print ($14 + $15) * 10 }' "/proc/$(cat /run/service.pid)/stat"
}

# In hundredths of a second.
now() {
  cut -d' ' -f1 /proc/uptime | tr -d .
}

# Sets used_ms: what the near service uses while nobody asks it anything.
measure() {
  begin=$(cpu_ms)
  sleep "$span_s"
  used_ms=$(($(cpu_ms) - begin))
}

all_monitored() {
  [ "$(qx_vod_ctl list | grep -c 'remote transcode: monitor')" -eq "$monitored" ]
}

begin=$(now)
add_job "$media/clip.ts"
qx_vod_ctl wait "$id" >/dev/null || fail "the job did not end well"
taken=$(($(now) - begin))
echo "one job from add to done, with a real transcode of 4 s: $((taken / 100)).$((taken % 100 / 10)) s"
id=

hold transcode
for number in $(seq "$monitored"); do
  cp "$media/clip.ts" "$media/$number.ts"
  qx_vod_ctl add "$media/$number.ts" >/dev/null
done
until_true "the monitoring of $monitored jobs" all_monitored
measure
echo "$monitored jobs monitored for $span_s s: $used_ms ms, $((used_ms * 100 / span_s / 1000)) % of a core"
monitored_ms=$used_ms

# The scan comes about every 550 ms.
scans=$((span_s * 1000 / 550))
pad_clip "$media/long.ts" 20000
limit_ftp 200000
add_job "$media/long.ts"
wait_for_remote upload
for _ in $(seq "$others"); do sleep 600 & done
measure
remote_is upload || fail "the upload is over too early"
echo "upload beside $others processes: $(((used_ms - monitored_ms) / scans)) ms a scan"
