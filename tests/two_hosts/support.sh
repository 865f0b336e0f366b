# shellcheck shell=sh
# Functions for the cases, which run on the local host and source this file first.
set -eu
# shellcheck source=tests/support/case_steps.sh
. "$(dirname "$0")/../support/case_steps.sh"
media=/mnt/media
transfers=$FAR/run/transfers.log
id=

fail() {
  printf 'FAILED: %s\n' "$1" >&2
  [ -z "$id" ] || qx_vod_ctl show "$id" >&2 || :
  echo "--- the far queue" >&2
  far qx_vod_ctl list >&2 || :
  exit 1
}

# always_true SECONDS WHAT COMMAND...: repeats it for that time; it has to succeed every time.
always_true() {
  deadline=$(($(date +%s) + $1))
  what=$2
  shift 2
  while [ "$(date +%s)" -lt "$deadline" ]; do
    "$@" >/dev/null 2>&1 || fail "did not stay: $what"
    sleep 0.2
  done
}

far() {
  nsenter --target "$FAR_HOST" --mount --net -- "$@"
}

# Servers.

# A process that has ended but has not been waited for still exists; its program does not.
has_ended() {
  ! readlink "/proc/$1/exe" >/dev/null
}

end_process() { # PID-FILE SIGNAL
  pid=$(cat "$1")
  kill "-$2" "$pid"
  until_true "the end of $1" has_ended "$pid"
}

stop_service() { # near | far
  if [ "$1" = near ]; then end_process /run/service.pid TERM; else
    end_process "$FAR/run/service.pid" TERM
  fi
}

start_service() { # near | far
  start='setsid /usr/bin/qx_vod_service >>/run/service.log 2>&1 & echo $! >/run/service.pid'
  if [ "$1" = near ]; then
    sh -c "$start"
    until_true "the near service" qx_vod_ctl test
  else
    far sh -c "$start"
    until_true "the far service" far qx_vod_ctl test
  fi
}

start_web() {
  far sh -c 'lighttpd -D -f /etc/lighttpd/demo.conf 2>>/run/lighttpd.log &
    echo $! >/run/lighttpd.pid'
  until_true "the far web server" curl --silent --output /dev/null http://10.99.0.2/
}

# The server, and its sessions, which are separate processes and outlive it.
ftp_processes() {
  for exe in /proc/[0-9]*/exe; do
    [ "$(readlink "$exe" 2>/dev/null)" != "$(command -v vsftpd)" ] ||
      basename "$(dirname "$exe")"
  done
}

drop_ftp_sessions() {
  for pid in $(ftp_processes); do
    [ "$pid" = "$(cat "$FAR/run/vsftpd.pid")" ] || kill -KILL "$pid" 2>/dev/null || :
  done
}

stop_ftp() {
  end_process "$FAR/run/vsftpd.pid" KILL
  drop_ftp_sessions
}

start_ftp() { # [OPTION...]
  # shellcheck disable=SC2016  # expanded over there
  far sh -c 'vsftpd /etc/vsftpd.conf -ovsftpd_log_file=/run/transfers.log "$@" \
    >>/run/vsftpd.log 2>&1 & echo $! >/run/vsftpd.pid' sh "$@"
  until_true "the far file server" curl --silent --output /dev/null --user "vod:demo-password" \
    ftp://10.99.0.2/
}

# Bytes per second, for transfers that have to take a while. The pieces are small because every
# session starts with a whole one, and so are the socket buffers, so that bytes that have left one
# host have almost arrived on the other; by default megabytes are in transit.
limit_ftp() {
  # shellcheck disable=SC2016  # expanded on either host
  few='for way in rmem wmem; do echo "4096 16384 32768" >/proc/sys/net/ipv4/tcp_$way; done'
  sh -c "$few"
  far sh -c "$few"
  stop_ftp
  start_ftp "-olocal_max_rate=$1" -otrans_chunk_size=8192
}

cut_cable() {
  far ip link set cable down
}

mend_cable() {
  far ip link set cable up
}

hold() { # transcode | a request of the gateway
  touch "$FAR/run/hold-$1"
}

let_go() {
  rm "$FAR/run/hold-$1"
}

# Jobs.

wait_for_hosts() {
  PATH=$PATH:/usr/sbin
  until_true "the near service" qx_vod_ctl test
  until_true "the far service" far qx_vod_ctl test
  until_true "the far web server" curl --silent --output /dev/null http://10.99.0.2/
  until_true "the far file server" curl --silent --output /dev/null --user "vod:demo-password" \
    ftp://10.99.0.2/
  far cp /usr/bin/vod.cgi /usr/lib/qx_vod_service/vod.cgi
}

add_job() { # FILE
  id=$(qx_vod_ctl add "$1")
}

show() { # KEY [ID]
  qx_vod_ctl show "${2-$id}" | sed -n "s/^$1: //p"
}

text_is() {
  [ "$(show state)" = "$1" ]
}

text_begins() {
  case $(show state) in "$1"*) ;; *) return 1 ;; esac
}

state_is() { # transcode state
  [ "$(show 'transcode state')" = "$1" ]
}

remote_is() { # remote transcode state
  [ "$(show 'remote transcode state')" = "$1" ]
}

wait_for_state() {
  until_true "transcode state '$1'" state_is "$1"
}

wait_for_remote() {
  until_true "remote state '$1'" remote_is "$1"
}

wait_for_text() {
  until_true "text '$1'" text_is "$1"
}

far_id() {
  show 'remote job' | sed -n 's/^{"entry id": "\([^"]*\)".*/\1/p'
}

far_show() { # KEY [ID]
  far qx_vod_ctl show "${2-$(far_id)}" | sed -n "s/^$1: //p"
}

far_state_is() {
  [ "$(far_show 'transcode state')" = "$1" ]
}

far_paused_is() {
  [ "$(far_show paused)" = "$1" ]
}

far_waiting_is() {
  [ "$(far_show waiting)" = "$1" ]
}

is_asked_to() { # REQUEST of the gateway
  grep -qx "$1" "$FAR/run/requests"
}

has_held() { # REQUEST of the gateway
  grep -qx "$1" "$FAR/run/held"
}

wait_for_far_state() {
  until_true "far transcode state '$1'" far_state_is "$1"
}

wait_for_far_transcode() {
  wait_for_remote monitor
  wait_for_far_state transcoding
}

# An ordinary clip followed by padding: packets that carry nothing.
pad_clip() { # FILE KIBIBYTES
  {
    cat "$media/clip.ts"
    { printf 'G\037\377\020' && head -c 184 /dev/zero | tr '\0' '\377'; } >/run/packet
    for _ in 1 2 3 4 5 6 7 8; do cat /run/packet /run/packet >/run/more && mv /run/more /run/packet; done
    for _ in $(seq "$(($2 / 47))"); do cat /run/packet; done
  } >"$1"
}

has_come_back() { # BYTES: so much of the VOD is here
  [ "$(size_of "$(show 'output file')")" -gt "$1" ]
}

size_of() {
  stat -c %s -- "$1"
}

# The number of transfers to or from the remote server, and their bytes, including interrupted ones.
count_transfers() { # "OK UPLOAD" | "OK RENAME" | ...
  grep -c " $1: " "$transfers" || :
}

transferred_bytes() { # UPLOAD | DOWNLOAD
  sed -n "s/.* $1: .*, \([0-9]*\) bytes.*/\1/p" "$transfers" | awk '{ sum += $1 } END { print sum + 0 }'
}

# A source gets its name on the remote host when it is complete.
expect_one_upload() {
  [ "$(count_transfers 'OK RENAME')" -eq 1 ] || fail "not one upload: $(cat "$transfers")"
}

expect_rest_of_download() { # BYTES that were here already
  whole=$(size_of "$(show 'output file')")
  rest=$(sed -n 's/.* OK DOWNLOAD: .*, \([0-9]*\) bytes.*/\1/p' "$transfers")
  step "$1 bytes were here, $rest came of $whole"
  [ "$rest" -le "$((whole - $1))" ] || fail "the download did not go on where it stood"
}

expect_jobs_over_there() { # COUNT
  found=$(far qx_vod_ctl list --json | grep -o '"entry id"' | wc -l)
  [ "$found" -eq "$1" ] || fail "$found jobs over there, not $1"
}

# The job succeeds, and the result is the file made on the remote host, and plays.
expect_vod() {
  until_true "the end of the job" state_is "done"
  vod=$(show 'output file')
  cmp "$vod" "$FAR$(far_show 'output file')" ||
    fail "what came back is not what was made"
  length=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "$vod") ||
    fail "what came back does not play"
  case $length in 3.[5-9]* | 4.[0-5]*) ;; *) fail "4 s became $length s" ;; esac
}

wait_for_hosts
