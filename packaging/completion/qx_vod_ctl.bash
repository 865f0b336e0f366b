# Completion of qx_vod_ctl for bash. Subcommands and options come from the client's own help, ids and
# states from the live queue; without a running service there are none.
# shellcheck shell=bash

__qx_vod_ctl_subcommands() {
  qx_vod_ctl --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p'
}

__qx_vod_ctl_options() {
  qx_vod_ctl "$1" --help 2>/dev/null | grep -o -e '--[a-z][a-z-]*' | sort -u
}

# The shortest unambiguous ids of all jobs, or of those in the state given as the argument.
__qx_vod_ctl_ids() {
  qx_vod_ctl list 2>/dev/null | awk -v state="${1-}" \
    'NR > 1 && (state == "" || $3 == state || $3 == state ":") { print $2 }'
}

__qx_vod_ctl_states() {
  qx_vod_ctl list --json 2>/dev/null | grep -o '"transcode state": "[^"]*"' | sort -u | cut -d'"' -f4
  qx_vod_ctl status --state failed --json 2>/dev/null | grep -q '"entry id"' && echo failed
}

# Offers the lines of standard input that begin with the word, with blanks escaped.
__qx_vod_ctl_offer() {
  local line
  COMPREPLY=()
  while IFS= read -r line; do
    [[ $line == "$1"* ]] && COMPREPLY+=("$(printf '%q' "$line")")
  done
}

__qx_vod_ctl_copies() {
  qx_vod_ctl queue 2>/dev/null | cut -d' ' -f1
}

__qx_vod_ctl_operand() {
  case $1 in
  queue)
    if [[ $COMP_CWORD -eq 2 ]]; then
      __qx_vod_ctl_offer "$2" < <(printf '%s\n' list show restore)
    elif [[ ${COMP_WORDS[2]} != list ]]; then
      __qx_vod_ctl_offer "$2" < <(__qx_vod_ctl_copies)
    fi
    ;;
  add | check)
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$2")
    ;;
  restart) __qx_vod_ctl_offer "$2" < <(__qx_vod_ctl_ids cancelled) ;;
  show | log | wait | follow | ready | modify | pause | resume | cancel | remove | report)
    __qx_vod_ctl_offer "$2" < <(__qx_vod_ctl_ids)
    ;;
  esac
}

_qx_vod_ctl() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local subcommand=${COMP_WORDS[1]}
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 && $word != -* ]]; then
    __qx_vod_ctl_offer "$word" < <(__qx_vod_ctl_subcommands)
  elif [[ $before == --state ]]; then
    __qx_vod_ctl_offer "$word" < <(__qx_vod_ctl_states)
  elif [[ $before == --color ]]; then
    __qx_vod_ctl_offer "$word" < <(printf '%s\n' auto always never)
  elif [[ $word == -* ]]; then
    [[ $COMP_CWORD -eq 1 ]] && subcommand=status
    __qx_vod_ctl_offer "$word" < <(__qx_vod_ctl_options "$subcommand")
  else
    __qx_vod_ctl_operand "$subcommand" "$word"
  fi
}

complete -F _qx_vod_ctl qx_vod_ctl
