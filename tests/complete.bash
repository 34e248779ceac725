#!/usr/bin/env bash
# What bash offers for the last word of a command line, one a line.
#   tests/complete.bash PROGRAM WORD...
. "$(dirname "$0")/../packaging/completion.bash"
[ "$(complete -p loopbox)" = "complete -F _loopbox loopbox" ] || exit 1
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_loopbox "$1" "${@: -1}" "${@: -2:1}"
printf '%s\n' "${COMPREPLY[@]}"
