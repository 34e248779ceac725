#compdef loopbox
# Completion of loopbox in zsh. Commands, options and the kinds of their values
# are those that the program's own help names, in English: DIR is a folder, FILE and PATH a
# file, FILE.png|.svg one with such an ending, cs|en one of these words.

# What completes a value of that kind.
_loopbox_action() {
  case $1 in
    *.*) print -r -- "_files -g \"*.(${${1#*.}//|./|})\"" ;;
    *'|'*) print -r -- "(${1//|/ })" ;;
    PATH) print -r -- '_files -g "*.so"' ;;
    FILE) print -r -- _files ;;
    DIR) print -r -- '_files -/' ;;
    *) print -r -- ' ' ;;
  esac
}

# What follows the word before in `loopbox study`.
_loopbox_study() {
  local before=$words[CURRENT-1]
  case $before in
    run|merge) _files -/ ;;
    *.lbx) compadd -- ${(f)"$(sed -nE 's/^ *study +([A-Za-z_0-9]+).*/\1/p' $before 2>/dev/null)"} ;;
    plan) _files -g "*.lbx" ;;
    *) compadd -- plan run merge; _files -g "*.lbx" ;;
  esac
}

_loopbox_classes() {
  local plugin=${words[(r)--plugin]:+${words[${words[(i)--plugin]}+1]}}
  local -a classes=(${(f)"$(_call_program classes $program classes ${plugin:+--plugin ${(q)plugin}} 2>/dev/null)"})
  compadd -- ${(M)classes:#[a-z_][a-z_0-9]#}
}

_loopbox() {
  setopt localoptions extendedglob
  local program=$words[1] command= kind line match mbegin mend
  local -a help rows commands
  (( CURRENT > 2 )) && command=${words[2]}
  help=(${(f)"$(_call_program help LC_ALL=C $program ${command:+${(q)command}} --help 2>/dev/null)"})
  if [[ -z $command && $words[CURRENT] != -* ]]; then
    local first=${help[(i)Subcommands*]}
    for line in ${help[first,-1]}; do
      [[ $line == (#b)'  '([a-z]##)' '##(*) ]] && commands+=("$match[1]:$match[2]")
    done
    _describe command commands
    return
  fi
  local i
  for ((i = 1; i <= $#help; i++)); do
    [[ $help[i] == (#b)'  '(-[a-z],|)(--[a-z-]##)([^ ]#)(*) ]] || continue
    local short=${match[1]%,} option=$match[2] rest=$match[4] repeated=
    kind=
    [[ $rest == (#b)' '([^ ]##)(*) && $match[1] != Needs: ]] && kind=$match[1] rest=$match[2]
    [[ $rest == ' ...'* ]] && repeated='*'
    # The meaning stands behind, or by itself on the next line.
    local meaning=${rest##*  ##}
    [[ $rest == *'  '* ]] || meaning=${help[i+1]## ##}
    meaning=${meaning//(#m)[]\[:]/\\$MATCH}
    for option in $option $short; do
      rows+=("$repeated${option}[$meaning]${kind:+:$kind:$(_loopbox_action $kind)}")
    done
  done
  for line in $help; do
    [[ $line == (#b)'Usage: '*' '(|\[)([A-Z_]##)(|\]) ]] || continue
    case $match[2] in
      STUDY) rows+=('*:study:_loopbox_study') ;;
      FILE|CONNECTION|INSTRUMENT) rows+=('1:application:_files -g "*.lbx"') ;;
      UNIT) rows+=('1:application:_files -g "*.lbx"' '2:unit:_files -g "*.fmu"') ;;
      PLUGIN) rows+=('1:plug-in:_files -g "*.so"') ;;
      DIR) rows+=('1:folder:_files -/') ;;
      FILE_OR_DIR) rows+=('1:run:_files') ;;
      CLASS) rows+=('1:class:_loopbox_classes') ;;
    esac
  done
  [[ -n $command ]] && shift words && (( CURRENT-- ))
  _arguments $rows
}

_loopbox "$@"
