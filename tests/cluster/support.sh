# shellcheck shell=sh
# shellcheck disable=SC2034  # for the cases
# Functions for the cases, which run beside the cluster and source this file first.
set -eu
vods=/mnt/main/tv/vod
QX_MEDIA_CONF=/run/media.conf
export QX_MEDIA_CONF

# Longer than any step takes on a busy machine, shorter than the time limit of a case.
patience_s=120

fail() {
  printf 'FAILED: %s\n' "$1" >&2
  exit 1
}

step() {
  printf '%s %s\n' "$(date +%T)" "$1"
}

# until_true WHAT COMMAND...: repeats it until it succeeds.
until_true() {
  what=$1
  shift
  deadline=$(($(date +%s) + patience_s))
  until "$@" >/dev/null 2>&1; do
    [ "$(date +%s)" -lt "$deadline" ] || fail "not seen in time: $what"
    sleep 0.1
  done
}

in_node() { # NODE COMMAND...
  first=$(pgrep -P "$(cat "/run/cluster/$1.pid")")
  shift
  nsenter --target "$first" --mount --pid -- "$@"
}
