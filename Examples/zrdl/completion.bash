# Completion of zrdl for bash. Commands and options come from `zrdl --help`, so that there is one list of them.

# _zrdl_help HEADING PROGRAM [COMMAND]: the help's entries under that heading.
_zrdl_help() {
  "${@:2}" --help 2>/dev/null | sed -n "/^$1:/,/^\$/s/^  \\([^ ].*\\)/\\1/p"
}

# _zrdl_options PROGRAM [COMMAND]: the long options, each followed by what its value is, if it has one.
_zrdl_options() {
  _zrdl_help Options "$@" | sed -n 's/^\(-[a-zA-Z],\)\{0,1\}\(--[a-z0-9-]*\) \{0,1\}\([A-Z]*\).*/\2 \3/p'
}

# _zrdl_task_ids PROGRAM COMMAND WORD...: the ids of the stored tasks that the command is for, in the folders that the
# words name. Asking would make a database where there is none.
_zrdl_task_ids() {
  local program=$1 states='[0-4]' support=${XDG_DATA_HOME:-$HOME/.local/share} bundle=com.velmor.zrdl value
  case $2 in
    resume) states='[0-3]' ;;
    path) states=4 ;;
  esac
  shift 2
  while (($# > 0)); do
    value=${2-}
    [[ $1 != *=* ]] || value=${1#*=}
    value=${value/#\~\//$HOME/}
    value=${value//[\"\'\\]/}
    case $1 in
      --support | --support=*) support=$value ;;
      --bundle-id | --bundle-id=*) bundle=$value ;;
    esac
    shift
  done
  [ -f "$support/$bundle/download/zrdownloadkit.db" ] || return
  "$program" --support "$support" --bundle-id "$bundle" --json list 2>/dev/null |
    sed -n "s/^{\"event\":\"task\",\"taskId\":\"\\([^\"\\\\]*\\)\",\"state\":$states,.*/\\1/p"
}

# _zrdl_offer KIND...: what `compgen KIND...` finds for the current word.
_zrdl_offer() {
  mapfile -t COMPREPLY < <(compgen "$@" -- "$current")
}

_zrdl() {
  local program=$1 current=$2 words=() options command='' previous value at
  COMPREPLY=()

  # The words before the current one; bash also splits at "=" and ":".
  for ((at = 0; at < COMP_CWORD; ++at)); do
    if ((at > 1)) && [[ ${COMP_WORDS[at]} == [:=]* || ${COMP_WORDS[at - 1]} == *[:=] ]]; then
      words[-1]+=${COMP_WORDS[at]}
    else
      words+=("${COMP_WORDS[at]}")
    fi
  done
  [[ $current != = ]] || { words[-1]+='=' current=''; }
  previous=${words[-1]%=}

  # The command is the first word that is neither an option nor the value of one.
  options=$(_zrdl_options "$program")
  for ((at = 1; at < ${#words[@]}; ++at)); do
    if [[ ${words[at]} != -* ]]; then
      command=${words[at]}
      break
    fi
    grep -q "^${words[at]} ." <<<"$options" && ((++at))
  done
  [ -z "$command" ] || options=$(_zrdl_options "$program" "$command")$'\n'$options

  value=$(awk -v option="$previous" '$1 == option { print $2; exit }' <<<"$options")
  case $value,$command,$current in
    DIR,*) _zrdl_offer -d && compopt -o filenames 2>/dev/null ;;
    FILE,*) _zrdl_offer -f && compopt -o filenames 2>/dev/null ;;
    CMD,*) _zrdl_offer -c ;;
    ?*,*,*) ;;
    ,*,-*) _zrdl_offer -W "$(cut -d' ' -f1 <<<"$options" | sort -u)" ;;
    ,,*) _zrdl_offer -W "$(_zrdl_help Subcommands "$program" | cut -d' ' -f1)" ;;
    ,resume,* | ,rm,* | ,path,*) _zrdl_offer -W "$(_zrdl_task_ids "$program" "$command" "${words[@]}")" ;;
    ,batch,*) _zrdl_offer -f && compopt -o filenames 2>/dev/null ;;
    ,demo,*) _zrdl_offer -d && compopt -o filenames 2>/dev/null ;;
  esac
}

complete -F _zrdl zrdl
