#!/bin/sh
# A lost node makes a transcode last at most 90 s longer. The tasks only wait, so that nothing else is measured.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
limit_s=90
mkdir -p "$(dirname "$log")" "$media"
make_film "$media/film.ts" 64
settings
cp "$(dirname "$0")/../../bench/waiting_task" /run/
echo 5 >/run/seconds
for node in n1 n2 n3; do in_node $node mount --bind /run/waiting_task /usr/bin/qxmi_vod_transcode; done

cluster_is_done() {
  grep -q 'cluster: ended, all tasks are done$' "$log"
}

some_are_done() {
  [ "$(find "$vods" -name 'done-*' ! -name '*[.~]*' | wc -l)" -ge 2 ]
}

# Until the cluster is done, in $took; then nothing more is needed.
follow() {
  patience_s=300
  until_true "the end of all tasks" cluster_is_done
  took=$(($(date +%s) - begin))
  no_errors
  kill -TERM "$tool" 2>/dev/null || :
  wait "$tool" || :
  rm -r "$vods" && mkdir -p "$(dirname "$log")"
}

begin=$(date +%s)
start_transcode "$media/film.ts" "$vods/film.mp4"
follow
whole=$took
until_true "free nodes" has_idle_nodes 3
step "$whole s with all nodes"

begin=$(date +%s)
start_transcode "$media/film.ts" "$vods/film.mp4"
until_true "tasks that are done" some_are_done
lose n2
follow
step "$took s with a lost node"
[ "$took" -le $((whole + limit_s)) ] || fail "the lost node has cost $((took - whole)) s"
