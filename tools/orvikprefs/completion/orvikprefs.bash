# Completion of orvikprefs(1) for bash. Domains, key paths and names come from the store itself.

_orvikprefs_commands() {
  echo get set delete delete-key list tree find watch export import diff lock where check repair
}

# The options of a command, or the global ones.
_orvikprefs_options() {
  case ${1-} in
    "") echo --help --version --scope --domain --root --quiet --json --null ;;
    get) echo --type ;;
    set) echo --int --if-equals --if-absent ;;
    delete-key) echo --recursive ;;
    find) echo --ignore-case ;;
    watch) echo --count ;;
    export) echo --format --output ;;
    import) echo --replace --dry-run ;;
    diff) echo --exit-code ;;
    lock) echo --release --force ;;
  esac
}

_orvikprefs_scopes() {
  echo shared user machine 0 1 2 3 4 5
}

# A word of the command line without its quotes, in REPLY.
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

# The candidates that begin with the word, as COMPREPLY; readline quotes them.
_orvikprefs_offer() {
  local word=$1 candidate
  shift
  compopt -o filenames 2>/dev/null
  for candidate; do
    [[ ${candidate:0:${#word}} != "$word" || $candidate == *$'\n'* ]] || COMPREPLY+=("$candidate")
  done
}

# The keys below the parent of a word that is a key path, with a "/" where more keys are below.
_orvikprefs_keys() {
  local word=$1 above="" path type value key more
  local -A keys=()
  [[ $word != */* ]] || above=${word%/*}/
  while IFS= read -r -d '' path && IFS= read -r -d '' type && IFS= read -r -d '' value; do
    key=${path#"$above"}
    if [[ $type != dictionary ]]; then
      [[ $key == */* ]] || continue
      key=${key%/*}
    fi
    [[ $path == "$above"* && -n ${key%%/*} ]] || continue
    more=${keys[${key%%/*}]-}
    [[ $key != */* ]] || more=/
    keys[${key%%/*}]=$more
  done < <("${store[@]}" -z tree -- "${above%/}" 2>/dev/null)
  for key in "${!keys[@]}"; do
    _orvikprefs_offer "$word" "$above$key${keys[$key]}"
  done
  [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace 2>/dev/null
}

# The names of the values of a key.
_orvikprefs_names() {
  local names=() name
  while IFS= read -r -d '' name; do
    names+=("$name")
  done < <("${store[@]}" -z list -- "$2" 2>/dev/null)
  _orvikprefs_offer "$1" "${names[@]}"
}

# The domains that have a file in the scope.
_orvikprefs_domains() {
  local scope file state writable name
  local wanted=shared
  case $scope_given in
    1 | user) wanted=user ;;
    4 | 5 | machine) wanted=machine ;;
  esac
  while IFS= read -r -d '' scope && IFS= read -r -d '' file && IFS= read -r -d '' state &&
    IFS= read -r -d '' writable; do
    [[ $scope == "$wanted" ]] || continue
    for name in "${file%/*}"/*.plist; do
      [[ ! -f $name || $name == *.lock.plist ]] && continue
      name=${name##*/}
      _orvikprefs_offer "$1" "${name%.plist}"
    done
  done < <("${store[@]}" -z where 2>/dev/null)
}

_orvikprefs_files() {
  local files=()
  mapfile -t files < <(compgen -f -- "$1")
  _orvikprefs_offer "$1" "${files[@]}"
}

_orvikprefs() {
  local current word previous="" command="" scope_given=shared options_end="" REPLY
  local -a store=() positionals=()
  local at
  COMPREPLY=()
  _orvikprefs_unquote "${COMP_WORDS[0]/#\~\//$HOME/}"
  store=("$REPLY")
  # What was given before the word tells which command it belongs to and which store to ask.
  for ((at = 1; at < COMP_CWORD; ++at)); do
    [[ ${COMP_WORDS[at]} != = ]] || continue
    _orvikprefs_unquote "${COMP_WORDS[at]/#\~\//$HOME/}"
    word=$REPLY
    case $previous in
      --scope | --domain | --root)
        store+=("$previous" "$word")
        [[ $previous != --scope ]] || scope_given=$word
        previous=""
        continue
        ;;
      --if-equals | --count | --format | --output | -o)
        previous=""
        continue
        ;;
    esac
    previous=""
    if [[ -z $options_end && $word == -- ]]; then
      options_end=yes
    elif [[ -z $options_end && $word == -* ]]; then
      previous=$word
    elif [[ -z $command ]]; then
      command=$word
    else
      positionals+=("$word")
    fi
  done
  current=${COMP_WORDS[COMP_CWORD]}
  [[ $current != = ]] || current=""
  _orvikprefs_unquote "${current/#\~\//$HOME/}"
  current=$REPLY

  case $previous in
    --scope) _orvikprefs_offer "$current" $(_orvikprefs_scopes); return ;;
    --format) _orvikprefs_offer "$current" xml json; return ;;
    --domain) _orvikprefs_domains "$current"; return ;;
    --root | --output | -o) _orvikprefs_files "$current"; return ;;
    --if-equals | --count) return ;;
  esac
  if [[ -z $options_end && $current == -* ]]; then
    _orvikprefs_offer "$current" $(_orvikprefs_options "$command") $(_orvikprefs_options)
  elif [[ -z $command ]]; then
    _orvikprefs_offer "$current" $(_orvikprefs_commands)
  else
    case $command:${#positionals[@]} in
      get:0 | set:0 | delete:0 | delete-key:0 | list:0 | tree:0 | watch:0)
        _orvikprefs_keys "$current" ;;
      get:1 | set:1 | delete:1) _orvikprefs_names "$current" "${positionals[0]}" ;;
      import:0 | diff:0) _orvikprefs_files "$current" ;;
    esac
  fi
}

complete -F _orvikprefs orvikprefs
