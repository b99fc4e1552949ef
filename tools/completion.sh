# shellcheck shell=bash
#
# Bash completion for tessera and the programs for people. The commands and options come from their --help.

# Sets `cur` to the word to complete and `prev` to the word before it; the "=" of --option=VALUE counts as a space.
_tessera_words() {
  cur=${COMP_WORDS[COMP_CWORD]}
  prev=${COMP_WORDS[COMP_CWORD - 1]}
  [[ $cur == = ]] && cur=
  [[ $prev == = ]] && prev=${COMP_WORDS[COMP_CWORD - 2]}
}

# Offers the words that compgen makes from these options.
_tessera_reply() {
  mapfile -t COMPREPLY < <(compgen "$@" -- "$cur")
}

# Offers files (-f) or directories (-d); bash adds slashes and quotes only to file names.
_tessera_files() {
  compopt -o filenames 2>/dev/null
  _tessera_reply "$1"
}

# The commands of a program, and its options.
_tessera_commands() {
  "$1" --help 2>/dev/null | sed -n "s/^\(Usage:\)\{0,1\} *${1##*/} \([a-z]*\).*/\2/p" | sort -u
}
_tessera_options() {
  "$1" --help 2>/dev/null | grep -oE '(^|[ ,])--?[a-z][a-z-]*' | tr -d ' ,' | sort -u
}

_tessera() {
  local cur prev
  _tessera_words
  if [[ $COMP_CWORD -eq 1 ]]; then
    _tessera_reply -W 'dnsmasq ipsec network pam'
  elif [[ ${COMP_WORDS[1]} == network && $COMP_CWORD -eq 2 ]]; then
    _tessera_reply -W '-p --device'
  fi
}

# Offers the keys of the store that are directly below the key before the last dot, without a space after them.
_runt_keys() {
  local above='' names
  [[ $cur == *.* ]] && above=${cur%.*}
  names=$("$1" keys ${above:+"$above"} 2>/dev/null) || return
  cur=${cur##*.}
  _tessera_reply -W "$names"
  COMPREPLY=("${COMPREPLY[@]/#/${above:+$above.}}")
  compopt -o nospace 2>/dev/null
}

_runt() {
  local cur prev
  _tessera_words
  if [[ $COMP_CWORD -eq 1 ]]; then
    _tessera_reply -W "$(_tessera_commands "$1") --help"
  elif [[ ${COMP_WORDS[1]} == load ]]; then
    _tessera_files -f
  elif [[ $COMP_CWORD -eq 2 && ${COMP_WORDS[1]} == @(get|set|delete|keys) ]]; then
    _runt_keys "$1"
  fi
}

# Offers the paths of a configuration file that are directly below the last dot, without a space after them.
_tessera_config_paths() {
  local above='' names
  [[ $cur == *.* ]] && above=${cur%.*}
  names=$("$1" get --names "$2" "$above" 2>/dev/null) || return
  cur=${cur##*.}
  _tessera_reply -W "$names"
  COMPREPLY=("${COMPREPLY[@]/#/${above:+$above.}}")
  compopt -o nospace 2>/dev/null
}

# Completes the arguments of get and of the edits: options, the file, then a path.
_tessera_config_edit() {
  local i=2
  while [[ $i -lt $COMP_CWORD && ${COMP_WORDS[i]} == -* ]]; do i=$((i + 1)); done
  if [[ $i -lt $COMP_CWORD ]]; then
    if [[ $COMP_CWORD -eq $((i + 1)) || ${COMP_WORDS[1]} == get ]]; then _tessera_config_paths "$1" "${COMP_WORDS[i]}"; fi
  elif [[ $cur == -* ]]; then
    _tessera_reply -W "$([[ ${COMP_WORDS[1]} == get ]] && echo --json --names || echo --dry-run --create --json)"
  else
    _tessera_files -f
  fi
}

_tessera_config_check() {
  case $prev in
    --fail-on) _tessera_reply -W 'error warning note' ;;
    --format) _tessera_reply -W 'text json github sarif' ;;
    *)
      if [[ $cur == -* ]]; then
        _tessera_reply -W '--fail-on= --format= --facts= --summary --rules'
        compopt -o nospace 2>/dev/null
      else
        _tessera_files -f
      fi
      ;;
  esac
}

_tessera_config() {
  local cur prev
  _tessera_words
  if [[ $COMP_CWORD -eq 1 ]]; then
    _tessera_reply -W "$(_tessera_commands "$1") --help"
  elif [[ ${COMP_WORDS[1]} == check ]]; then
    _tessera_config_check
  elif [[ ${COMP_WORDS[1]} == schema ]]; then
    _tessera_reply -W --strict
  else
    _tessera_config_edit "$1"
  fi
}

# Sets `service` to the word on the command line that names the services; empty when there is none yet.
_tessera_preview_service() {
  local i word
  service=
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case $word in
      -[crfod] | --config | --runtime | --rootfs | --output | --diff | --color | --tessera | --runt)
        i=$((i + 1))
        [[ ${COMP_WORDS[i]} == = ]] && i=$((i + 1))
        ;;
      -*) ;;
      *)
        service=$word
        return
        ;;
    esac
  done
}

# Offers the services that the list in `cur` does not hold yet.
_tessera_service_list() {
  local listed='' name names=all
  [[ $cur == *,* ]] && listed=${cur%,*}, names=
  for name in dnsmasq ipsec network pam; do
    [[ ,$listed == *,$name,* ]] || names+=" $listed$name"
  done
  _tessera_reply -W "$names"
}

_tessera_preview() {
  local cur prev service
  _tessera_words
  _tessera_preview_service
  if [[ -n $service ]]; then
    [[ $prev == network && $service == network ]] && _tessera_reply -W '-p --device'
    return
  fi
  case $prev in
    -c | --config | -r | --runtime | --tessera | --runt) _tessera_files -f ;;
    -f | --rootfs | -o | --output | -d | --diff) _tessera_files -d ;;
    --color) _tessera_reply -W 'auto always never' ;;
    *)
      if [[ $cur == -* ]]; then
        _tessera_reply -W "$(_tessera_options "$1")"
      else
        _tessera_service_list
      fi
      ;;
  esac
}

_tessera_explain() {
  local cur prev
  _tessera_words
  case $prev in
    -c | --config | -r | --runtime) _tessera_files -f ;;
    -f | --rootfs) _tessera_files -d ;;
    *) _tessera_reply -W "$(_tessera_options "$1")" ;;
  esac
}

_tessera_apply() {
  local cur prev
  _tessera_words
  if [[ $cur == -* ]]; then
    _tessera_reply -W "$(_tessera_options "$1")"
  elif [[ $COMP_CWORD -eq 1 ]]; then
    compopt -o filenames 2>/dev/null
    _tessera_reply -f -W "$(_tessera_commands "$1")"
  elif [[ ${COMP_WORDS[1]} == plan && $COMP_CWORD -eq 2 ]]; then
    _tessera_files -f
  elif [[ ${COMP_WORDS[1]} == @(plan|status) ]]; then
    _tessera_reply -W 'dnsmasq ipsec network pam'
  elif [[ ${COMP_WORDS[1]} == rollback && $COMP_CWORD -eq 2 ]]; then
    _tessera_reply -W "$("$1" history 2>/dev/null | cut -d ' ' -f 1)"
  fi
}

complete -F _tessera tessera
complete -F _runt runt
complete -F _tessera_config tessera-config
complete -F _tessera_preview tessera-preview
complete -F _tessera_apply tessera-apply
complete -F _tessera_explain tessera-explain
