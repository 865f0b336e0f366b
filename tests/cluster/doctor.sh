#!/bin/sh
# The doctor looks at a cluster: all is well; a node hides the folder; the controller is gone.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
mkdir -p "$vods"
echo 'spread=slurm' >"$QX_MEDIA_CONF"
echo 'spread.cpus=1' >>"$QX_MEDIA_CONF"

findings() { # CHECK
  sed -n "s/^\([a-z]*\)  *$1   *\(.*\)$/\1 \2/p" /run/doctor.log
}

expect() { # CHECK TEXT
  [ "$(findings "$1")" = "$2" ] || {
    cat /run/doctor.log >&2
    fail "$1: expected '$2'"
  }
}

step "three nodes"
qx_vod_ctl doctor >/run/doctor.log || :
expect munge "ok issues credentials"
expect cluster "ok the controller answers"
expect 'cluster nodes' "ok 3 in the default partition, with 3 free places for tasks of 1 processors"
expect 'cluster folder' "ok 3 nodes asked, all see $vods"
expect 'cluster versions' "ok transcoder and ffmpeg are the same everywhere"
expect 'cluster clock' "ok the clocks agree"
[ -z "$(ls -A "$vods")" ] || fail "the doctor left $(ls -A "$vods")"

step "a node without the folder, and another without ffmpeg"
mkdir -p /run/empty
in_node n2 mount --bind /run/empty "$vods"
in_node n3 mount --bind /bin/false /usr/bin/ffmpeg
qx_vod_ctl doctor >/run/doctor.log && fail "found no problem"
expect 'cluster folder' "problem $vods of this machine is not seen by n2"
expect 'cluster versions' "problem ffmpeg is missing or another one on n3"

step "no controller"
kill -KILL "$(cat /run/cluster/slurmctld.pid)"
qx_vod_ctl doctor >/run/doctor.log && fail "found no problem"
findings cluster | grep -q '^problem the controller does not answer: .*controller' ||
  fail "cluster: $(findings cluster)"

step "transcodes on this machine"
echo 'spread=none' >"$QX_MEDIA_CONF"
qx_vod_ctl doctor >/run/doctor.log || :
[ -z "$(findings cluster)$(findings munge)" ] || fail "looks at a cluster that is not used"
