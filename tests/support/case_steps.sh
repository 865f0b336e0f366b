# shellcheck shell=sh
# Functions for cases that are shell scripts. The file that sources this one defines fail REASON.

# Longer than any step takes on a busy machine, shorter than the time limit of a case.
patience_s=120

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
