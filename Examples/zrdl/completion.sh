#compdef zrdl
# Completion of zrdl for bash and for zsh. Commands and options come from `zrdl --help`, so that there is one list of
# them; everything but the two last functions is read by both shells.

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
    path | export) states=4 ;;
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

# _zrdl_wanted CURRENT PROGRAM WORD...: what may stand for the current word after those: "-d" for folders, "-f" for
# files, "-c" for commands of the shell, or the words themselves, one a line.
_zrdl_wanted() {
  local current=$1 program=$2 previous=${*: -1} options command='' count=0 word skip=''
  shift 2
  options=$(_zrdl_options "$program")

  # The command is the first word that is neither an option nor the value of one; then its arguments are counted.
  for word; do
    if [ -n "$skip" ]; then
      skip=''
    elif [[ $word == -* ]]; then
      ! grep -q "^$word ." <<<"$options" || skip=1
    elif [ -z "$command" ]; then
      command=$word
      options=$(_zrdl_options "$program" "$command")$'\n'$options
    else
      ((++count))
    fi
  done

  case $(awk -v option="${previous%=}" '$1 == option { print $2; exit }' <<<"$options"),$command,$current in
    ,*,-*) cut -d' ' -f1 <<<"$options" | sort -u ;;
    ,,*) _zrdl_help Subcommands "$program" | cut -d' ' -f1 ;;
    DIR,* | ,demo,*) echo -d ;;
    FILE,* | ,batch,*) echo -f ;;
    CMD,*) echo -c ;;
    ,export,*) if ((count > 0)); then echo -f; else _zrdl_task_ids "$program" "$command" "$@"; fi ;;
    ,resume,* | ,rm,* | ,path,*) _zrdl_task_ids "$program" "$command" "$@" ;;
  esac
}

_zrdl_bash() {
  local current=$2 words=() wanted at
  # The words before the current one; bash also splits at "=" and ":".
  for ((at = 0; at < COMP_CWORD; ++at)); do
    if ((at > 1)) && [[ ${COMP_WORDS[at]} == [:=]* || ${COMP_WORDS[at - 1]} == *[:=] ]]; then
      words[-1]+=${COMP_WORDS[at]}
    else
      words+=("${COMP_WORDS[at]}")
    fi
  done
  [[ $current != = ]] || { words[-1]+='=' current=''; }
  words[0]=$1

  wanted=$(_zrdl_wanted "$current" "${words[@]}")
  case $wanted in
    -[dfc]) mapfile -t COMPREPLY < <(compgen "$wanted" -- "$current") ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$wanted" -- "$current") ;;
  esac
  [[ $wanted != -[df] ]] || compopt -o filenames 2>/dev/null || true
}

_zrdl() {
  local -a before=("${words[@]:0:$((CURRENT - 1))}")
  if [[ $PREFIX == --*=* ]]; then
    before+=("${PREFIX%%=*}")
    compset -P '*='
  fi
  local wanted
  wanted=$(_zrdl_wanted "$PREFIX" "${before[@]}")
  case $wanted in
    -d) _files -/ ;;
    -f) _files ;;
    -c) _command_names -e ;;
    ?*) compadd -- ${(f)wanted} ;;
  esac
}

if [ -n "${ZSH_VERSION-}" ]; then
  _zrdl "$@"  # zsh reads this file when it completes for the first time
else
  complete -F _zrdl_bash zrdl
fi
