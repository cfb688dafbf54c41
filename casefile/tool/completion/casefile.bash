# Completion of casefile's commands, options and file names for bash.
_casefile() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'pack append unpack cat info verify recover help -h --help -V --version' -- "$word")
    return
  fi
  case $previous in
    --row0 | --header-lines | --from | --bytes | -j | --threads | --jobs) return ;;
  esac
  if [ "$previous" = --encoder ]; then
    mapfile -t COMPREPLY < <(compgen -W 'auto zlib libdeflate isal fast' -- "$word")
    return
  fi
  if [ "$previous" = --holes ]; then
    mapfile -t COMPREPLY < <(compgen -W 'stop skip zero' -- "$word")
    return
  fi
  if [ "$command" = help ]; then
    [ "$COMP_CWORD" -eq 2 ] || return
    mapfile -t COMPREPLY < <(compgen -W 'pack append unpack cat info verify recover help -h --help' -- "$word")
    return
  fi
  if [[ $word != -* ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    return
  fi
  local options='-h --help -q --quiet -v --verbose --progress --no-progress --row0'
  case $command in
    pack) options+=' --header-lines --dictionary --encoder -j --threads --jobs -f --force --no-sync --no-preserve -o --output' ;;
    append) options+=' --header-lines --encoder -j --threads --jobs' ;;
    unpack) options+=' --swap -j --threads --jobs -f --force --no-sync --no-preserve -o --output' ;;
    cat) options+=' --swap --from --bytes --dictionary -j --threads --jobs' ;;
    info) options+=' --swap --blocks --json' ;;
    verify) options+=' --swap -j --threads --jobs' ;;
    recover) options+=' --holes --partial -j --threads --jobs -f --force --no-sync -o --output' ;;
    *) return ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -F _casefile casefile
