# SC2034, SC2154: bash-completion's functions set and read variables. SC2207: words hold no blanks.
# shellcheck shell=bash disable=SC2034,SC2154,SC2207
# Completion for bash. Commands, options and what they take are read from the command's own help.

# Prints what kind of value an option or argument takes, by a help text: the word one space behind it.
_tavi_kind_of() {
  awk -v wanted="$1" '{
    count = split($1, names, ",")
    rest = substr($0, index($0, $1) + length($1))
    for (i = 1; i <= count; ++i) if (names[i] == wanted && rest ~ /^ [^ ]/) { print $2; exit }
  }'
}

# Prints the names that stand in a section of a help text.
_tavi_section() {
  awk -v title="$1:" '/^[^ ]/ { is_inside = ($0 == title); next } is_inside && NF { print $1 }'
}

_tavi_complete_value() {
  case $1 in
    *:"{"*) COMPREPLY=($(compgen -W "$(sed -E 's/.*\{(.*)\}.*/\1/; s/,/ /g' <<<"$1")" -- "$cur")) ;;
    FILE*) _filedir ;;
    DIR*) _filedir -d ;;
    SO*) _filedir so ;;
  esac
}

_tavi() {
  local cur prev words cword split
  _init_completion -s || return

  local command="" i
  for ((i = 1; i < cword; ++i)); do
    if [[ ${words[i]} != -* ]]; then
      command=${words[i]}
      break
    fi
  done
  local help
  # shellcheck disable=SC2086 # no command is no argument
  help=$("$1" $command --help 2>/dev/null) || return

  if [[ -z $command && $cur != -* ]]; then
    COMPREPLY=($(compgen -W "$(_tavi_section Subcommands <<<"$help")" -- "$cur"))
    return
  fi
  local kind=""
  [[ $prev != -* ]] || kind=$(_tavi_kind_of "$prev" <<<"$help")
  if [[ -n $kind ]]; then
    _tavi_complete_value "$kind"
    return
  fi
  local argument
  argument=$(_tavi_section Positionals <<<"$help" | head -n 1)
  if [[ -z $argument || $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$(_parse_help - <<<"$help")" -- "$cur"))
  else
    _tavi_complete_value "$(_tavi_kind_of "$argument" <<<"$help")"
  fi
} &&
  complete -F _tavi tavi
