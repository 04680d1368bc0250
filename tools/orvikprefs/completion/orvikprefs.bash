# Completion of orvikprefs(1) for bash. The program itself computes the offers.

# Stores a word of the command line without its quotes in REPLY.
_orvikprefs_unquote() {
  local word=$1 quote="" at char
  REPLY=""
  for ((at = 0; at < ${#word}; ++at)); do
    char=${word:at:1}
    if [[ -n $quote && $char == "$quote" ]]; then
      quote=""
    elif [[ -z $quote && $char == [\"\'] ]]; then
      quote=$char
    elif [[ $char == \\ && $quote != \' && $((at + 1)) -lt ${#word} ]]; then
      local next=${word:at+1:1}
      [[ -z $quote || $next == [\"\\\$\`] ]] || REPLY+=$char
      REPLY+=$next
      at=$((at + 1))
    else
      REPLY+=$char
    fi
  done
}

_orvikprefs() {
  local program at REPLY current=""
  local -a words=() found=()
  COMPREPLY=()
  _orvikprefs_unquote "${COMP_WORDS[0]/#\~\//$HOME/}"
  program=$REPLY
  # Readline splits "--scope=user" at the "=".
  for ((at = 1; at <= COMP_CWORD; ++at)); do
    _orvikprefs_unquote "${COMP_WORDS[at]/#\~\//$HOME/}"
    current=$REPLY
    if [[ $current == = && ${#words[@]} -gt 0 && ${words[-1]} == --* ]]; then
      words[-1]+==
      current=""
    elif [[ ${#words[@]} -gt 0 && ${words[-1]} == --*= ]]; then
      words[-1]+=$current
    else
      words+=("$current")
    fi
  done
  mapfile -t -d '' found < <("$program" -z complete -- "${words[@]}" 2>/dev/null)
  compopt -o filenames 2>/dev/null
  if [[ ${found[0]-} == files ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  else
    COMPREPLY=("${found[@]:1}")
  fi
  [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace 2>/dev/null
}

complete -F _orvikprefs orvikprefs
