# Completion of casefile's commands, options and file names for bash.
_casefile() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'pack append unpack cat info verify recover --help --version' -- "$word")
    return
  fi
  case $previous in
    --threads)
      mapfile -t COMPREPLY < <(compgen -W '0 1' -- "$word")
      return
      ;;
    --row0 | --header-lines | --from | --bytes | -j) return ;;
  esac
  if [[ $word != -* ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
    return
  fi
  local options='--help --progress --no-progress --row0'
  case $command in
    pack) options+=' --header-lines --dictionary --threads --force --no-sync' ;;
    append) ;;
    unpack) options+=' --swap --threads --force --no-sync' ;;
    cat) options+=' --swap --from --bytes' ;;
    info) options+=' --swap --blocks --json' ;;
    verify) options+=' --swap -j' ;;
    recover) options+=' --force --no-sync' ;;
    *) return ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -F _casefile casefile
