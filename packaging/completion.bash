# Completion of loopbox in bash. Commands, options and the kinds of their
# values are those that the program's own help names, so that nothing here goes
# stale: DIR is a folder, FILE and PATH a file, FILE.png|.svg one with such an
# ending, cs|en one of these words.

# The files with one of the endings, and folders to look into.
_loopbox_files() { # WORD ENDING...
  local word=$1 ending
  compopt -o filenames 2>/dev/null
  compgen -d -- "$word"
  for ending in "${@:2}"; do compgen -f -X "!*.$ending" -- "$word"; done
}

# What follows that word of `loopbox study`.
_loopbox_study() { # WORD PREVIOUS
  case $2 in
    run | merge) _loopbox_files "$1" ;;
    *.lbx) compgen -W "$(sed -nE 's/^ *study +(\w+).*/\1/p' "$2" 2>/dev/null)" -- "$1" ;;
    plan) _loopbox_files "$1" lbx ;;
    *) compgen -W $'plan\nrun\nmerge' -- "$1"
       _loopbox_files "$1" lbx ;;
  esac
}

_loopbox_classes() { # PROGRAM WORD [--plugin PATH]
  compgen -W "$("$1" classes "${@:3}" 2>/dev/null | sed -n '/^[a-z_][a-z_0-9]*$/p')" -- "$2"
}

_loopbox() {
  local program=$1 word=$2 previous=$3
  # An equals sign is a word of its own: --trace = FILE.
  [[ $word == = ]] && word=
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD-2]}
  [[ ${COMP_WORDS[COMP_CWORD]} == = ]] && previous=${COMP_WORDS[COMP_CWORD-1]}

  local command= plugin=() i
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} == --plugin ]]; then
      plugin=(--plugin "${COMP_WORDS[i+1]}")
    elif [[ -z $command && ${COMP_WORDS[i]} != -* ]]; then
      command=${COMP_WORDS[i]}
    fi
  done

  local help kind=
  help=$(LC_ALL=C "$program" ${command:+"$command"} --help 2>/dev/null)  # in English
  if [[ $previous == -+([a-z-]) ]]; then
    kind=$(sed -nE "s/^  (-[a-z],)?$previous(,--[a-z-]+)? ([^ ]+)( .*)?\$/\\3/p" <<<"$help")
    [[ $kind == Needs: ]] && kind=
  fi
  if [[ -z $kind && $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(sed -nE 's/^  (-[a-z],)?(--[a-z-]+).*/\2/p' <<<"$help")" -- "$word")
    return
  fi
  if [[ -z $kind && -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(sed -nE '/^Subcommands/,$s/^  ([a-z]+) .*/\1/p' <<<"$help")" -- "$word")
    return
  fi
  # The command's own argument stands last in its usage.
  [[ -z $kind ]] && kind=$(sed -nE 's/^Usage: .* \[?([A-Z_]+)\]?$/argument \1/p' <<<"$help")
  local IFS=$'\n'
  case $kind in
    'argument FILE' | 'argument CONNECTION' | 'argument INSTRUMENT') mapfile -t COMPREPLY < <(_loopbox_files "$word" lbx) ;;
    'argument STUDY') mapfile -t COMPREPLY < <(_loopbox_study "$word" "$previous") ;;
    'argument UNIT') mapfile -t COMPREPLY < <(_loopbox_files "$word" lbx fmu) ;;
    'argument PLUGIN' | PATH) mapfile -t COMPREPLY < <(_loopbox_files "$word" so) ;;
    'argument CLASS') mapfile -t COMPREPLY < <(_loopbox_classes "$program" "$word" "${plugin[@]}") ;;
    *.*) IFS='|' read -ra endings <<<"${kind#*.}"
         mapfile -t COMPREPLY < <(_loopbox_files "$word" "${endings[@]#.}") ;;
    'argument FILE_OR_DIR' | FILE) compopt -o filenames 2>/dev/null
          mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    'argument DIR' | DIR) mapfile -t COMPREPLY < <(_loopbox_files "$word") ;;
    *'|'*) mapfile -t COMPREPLY < <(compgen -W "${kind//|/$'\n'}" -- "$word") ;;
    *) COMPREPLY=() ;;
  esac
}
complete -F _loopbox loopbox
