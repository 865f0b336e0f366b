#!/bin/sh
# A task fails by itself wherever it runs: after three times its range is made here.
# shellcheck source=tests/cluster/support.sh
. "$(dirname "$0")/support.sh"
prepare "$@"
cp -p /usr/bin/qxmi_vod_transcode /run/transcoder
cat >/run/failing <<'END'
#!/bin/sh
[ "$4" != 1 ] || { echo failed >>/run/failures; exit 1; }
exec /run/transcoder "$@"
END
chmod 755 /run/failing
for node in n1 n2 n3; do in_node $node mount --bind /run/failing /usr/bin/qxmi_vod_transcode; done

start_transcode "$media/film.ts" "$vods/film.mp4"
expect_result "$vods/film.mp4"
grep -q 'continues on this machine, since the cluster failed: 1 tasks failed three times' /run/errors.log ||
  fail "no such line on standard error: $(cat /run/errors.log)"
[ "$(wc -l </run/errors.log)" -eq 1 ] || fail "more than one line: $(cat /run/errors.log)"
[ "$(wc -l </run/failures)" -eq 3 ] || fail "failed $(wc -l </run/failures) times"
