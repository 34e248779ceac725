#!/usr/bin/env -S zsh -f
# What zsh offers at the end of a command line, as it stands on a terminal.
#   tests/complete.zsh PROGRAM_FOLDER LINE...
setopt extendedglob
zmodload zsh/zpty
folder=$(mktemp -d)
trap 'rm -rf $folder' EXIT
cp ${0:h}/../packaging/completion.zsh $folder/_loopbox
zpty shell zsh -f -i
zpty -w shell "stty cols 200 rows 200; fpath=($folder \$fpath); path=($1 \$path); autoload -U compinit
compinit -D -u; LISTMAX=1000; bindkey '^I' list-choices; PROMPT='NEXT''> '"
# What is typed before the prompt stands would not reach the line editor.
zpty -r shell output '*NEXT> *'
for line in ${@:2}; do
  zpty -w -n shell "$line"$'\t'
  zpty -w shell $'\C-u'"print EN''D"
  zpty -r shell output '*END*NEXT> *'
  print -r -- "LINE $line"
  print -r -- "${output//$'\e'\[[0-9;?]#[a-zA-Z]/}"
done
