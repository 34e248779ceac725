#!/usr/bin/env bash
# What bash offers for the last word of command lines, one a line after the
# line itself. Two quotes stand for an empty word.
#   tests/complete.bash PROGRAM LINE...
. "$(dirname "$0")/../packaging/completion.bash"
[ "$(complete -p loopbox)" = "complete -F _loopbox loopbox" ] || exit 1
for line in "${@:2}"; do
  eval "COMP_WORDS=(\"\$1\" $line)"
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _loopbox "$1" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
  printf '%s\n' "LINE $line" "${COMPREPLY[@]}"
done
