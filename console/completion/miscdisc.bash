# Completion of miscdisc in bash.  What is offered, the command itself says.

# The text of a word that is typed, and may be begun.
_miscdisc_plain() {
  local word=$1
  case $word in
    \"*) word=${word#\"} word=${word%\"} ;;
    \'*) word=${word#\'} word=${word%\'} ;;
    *) word=${word//\\/} ;;
  esac
  printf %s "$word"
}

_miscdisc() {
  local word words=() joined=0 typed current what next text
  # Bash takes words apart at "=" and ":", so they are put together again.
  for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
    if [[ ${#words[@]} -gt 0 && ($joined -eq 1 || $word == [=:]*) && $word != -* ]]; then
      words[-1]+=$word
    else
      words+=("$word")
    fi
    [[ $word == *[=:] ]] && joined=1 || joined=0
  done
  typed=${words[-1]}
  local i
  for i in "${!words[@]}"; do words[i]=$(_miscdisc_plain "${words[i]}"); done
  current=${words[-1]}

  COMPREPLY=()
  {
    read -r what
    while IFS= read -r next; do
      text=${next%%$'\t'*}
      [[ $text == "$current"* ]] && COMPREPLY+=("$text")
    done
  } < <("${1/#\~\//$HOME/}" completion bash --next -- "${words[@]}" 2>/dev/null)

  # Bash puts into the line only what follows the last "=" or ":" of an unquoted word.
  local apart='' quoted=0
  [[ $typed == [\"\']* ]] && quoted=1
  [[ $quoted -eq 0 && $current == *[=:]* && $COMP_WORDBREAKS == *[=:]* ]] &&
    apart=${current%"${current##*[=:]}"}
  for i in "${!COMPREPLY[@]}"; do
    text=${COMPREPLY[i]#"$apart"}
    [ $quoted -eq 1 ] || printf -v text %q "$text"
    COMPREPLY[i]=$text
  done

  local paths=()
  case $what in
    files) mapfile -t paths < <(compgen -f -- "${current#"$apart"}") ;;
    folders) mapfile -t paths < <(compgen -d -- "${current#"$apart"}") ;;
    command) _miscdisc_command ;;
  esac
  if [[ ${#paths[@]} -gt 0 ]]; then
    compopt -o filenames 2>/dev/null # bash quotes them then, and ends folders in "/"
    COMPREPLY+=("${paths[@]}")
  fi
}

# The command that "with" runs: its name, then what bash would offer for it.
_miscdisc_command() {
  local i
  for ((i = 1; i < COMP_CWORD; ++i)); do [[ ${COMP_WORDS[i]} == -- ]] && break; done
  if declare -F _command_offset >/dev/null; then
    _command_offset $((i + 1))
  elif [[ $COMP_CWORD -eq $((i + 1)) ]]; then
    mapfile -t COMPREPLY < <(compgen -c -- "$current" | sort -u)
  else
    mapfile -t paths < <(compgen -f -- "$current")
  fi
}

complete -F _miscdisc miscdisc
