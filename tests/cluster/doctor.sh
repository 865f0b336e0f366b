#!/bin/sh
# The doctor looks at a cluster: all is well; nodes can only read the folder, hide it, have other libraries, no ffmpeg,
# or a transcoder that hangs, or are busy; the controller is gone.
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

three_busy() {
  [ "$(sinfo --noheader --Node --states=alloc --format %N | wc -l)" -eq 3 ]
}

step "three nodes"
qx_vod_ctl doctor >/run/doctor.log || :
expect munge "ok issues credentials"
expect cluster "ok the controller answers"
expect 'cluster nodes' "ok 3 in the default partition, with 3 free places for tasks of 1 processors"
expect 'cluster folder' "ok 3 nodes asked, all can write to $vods"
expect 'cluster versions' "ok transcoder and ffmpeg are the same everywhere"
expect 'cluster clock' "ok the clocks agree"
[ -z "$(ls -A "$vods")" ] || fail "the doctor left $(ls -A "$vods")"

step "a node that only reads, and another with another library"
in_node n2 mount --bind "$vods" "$vods"
in_node n2 mount -o remount,bind,ro "$vods"
library=$(find /usr/lib -name 'libavfilter.so.*' -type f)
cp "$library" /run/library
in_node n3 mount --bind /run/library "$library"
qx_vod_ctl doctor >/run/doctor.log && fail "found no problem"
expect 'cluster folder' "problem $vods cannot be written to by n2"
expect 'cluster versions' "problem the libraries of ffmpeg are others on n3"
[ -z "$(ls -A "$vods")" ] || fail "the doctor left $(ls -A "$vods")"
in_node n2 umount "$vods"
in_node n3 umount "$library"

step "a node without the folder, and another without ffmpeg"
mkdir -p /run/empty
in_node n2 mount --bind /run/empty "$vods"
in_node n3 mount --bind /bin/false /usr/bin/ffmpeg
qx_vod_ctl doctor >/run/doctor.log && fail "found no problem"
expect 'cluster folder' "problem $vods of this machine is not seen by n2"
expect 'cluster versions' "problem ffmpeg is missing or another one on n3"

step "a node whose transcoder hangs"
printf '#!/bin/sh\nsleep 1000\n' >/run/hanging
chmod 755 /run/hanging
in_node n2 umount "$vods"
in_node n3 umount /usr/bin/ffmpeg
in_node n2 mount --bind /run/hanging /usr/bin/qxmi_vod_transcode
qx_vod_ctl doctor >/run/doctor.log || :
findings 'cluster nodes' | grep -q '^warning 3 nodes asked, 2 answered' || fail "$(findings 'cluster nodes')"
expect 'cluster folder' "ok 2 nodes asked, all can write to $vods"
[ -z "$(ls -A "$vods")" ] || fail "the doctor left $(ls -A "$vods")"
until_true "the end of its job" queue_is_empty
until_true "free nodes" has_idle_nodes 3

step "busy nodes"
sbatch --quiet --nodes=3 --output=/dev/null --wrap='sleep 600' >/dev/null
until_true "three busy nodes" three_busy
qx_vod_ctl doctor >/run/doctor.log || :
findings 'cluster nodes' | grep -q '^warning could not be asked, since none has a free processor' ||
  fail "cluster nodes: $(findings 'cluster nodes')"

step "no controller"
lose slurmctld
qx_vod_ctl doctor >/run/doctor.log && fail "found no problem"
findings cluster | grep -q '^problem the controller does not answer: .*controller' ||
  fail "cluster: $(findings cluster)"

step "transcodes on this machine"
echo 'spread=none' >"$QX_MEDIA_CONF"
qx_vod_ctl doctor >/run/doctor.log || :
[ -z "$(findings cluster)$(findings munge)" ] || fail "looks at a cluster that is not used"
