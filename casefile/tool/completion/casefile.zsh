#compdef casefile
# Completion of casefile's commands, options and file names for zsh.

_casefile() {
  local row0
  local -a commands common pack append unpack cat info verify recover
  commands=(
    'pack:make a compressed data file of an uncompressed one'
    'append:put more case data behind what is there'
    'unpack:make the uncompressed file again'
    'cat:write case data, or a range of the uncompressed file, to standard output'
    'info:tell what a compressed file holds'
    'verify:check heading, table and every block'
    'recover:rebuild heading and table from the blocks alone'
    'help:tell about the program or one command'
  )
  common=(
    '(- *)'{-h,--help}'[print help]'
    '(-q --quiet -v --verbose --progress)'{-q,--quiet}'[say only what is wrong]'
    '(-q --quiet -v --verbose)'{-v,--verbose}'[say what is found and done on the way too]'
    '(--no-progress -q --quiet)--progress[show progress, terminal or not]'
    '(--progress)--no-progress[show no progress]'
  )
  row0='[row-0 position]:position:'
  pack=(
    '(--header-lines --dictionary)--row0'$row0
    '(--row0 --dictionary)--header-lines[the dictionary part is the first lines]:lines:'
    '(--row0 --header-lines)--dictionary[the dictionary part is this file]:file:_files'
    '--encoder[what compresses]:encoder:(auto zlib libdeflate isal fast)'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
    '(-f --force)'{-f,--force}'[replace the output if it is there]'
    '--no-sync[do not wait until the output is on the disk]'
    '--no-preserve[do not give the output the rights and times of the input]'
    '(-o --output)'{-o,--output}'[file to make]:file:_files'
  )
  append=(
    '--row0'$row0
    '--header-lines[leave out the first lines of the input]:lines:'
    '--encoder[what compresses]:encoder:(auto zlib libdeflate isal fast)'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
  )
  unpack=(
    '--row0'$row0
    '--swap[the file has the other byte order]'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
    '(-f --force)'{-f,--force}'[replace the output if it is there]'
    '--no-sync[do not wait until the output is on the disk]'
    '--no-preserve[do not give the output the rights and times of the input]'
    '(-o --output)'{-o,--output}'[file to make]:file:_files'
  )
  cat=(
    '--row0'$row0
    '--swap[the file has the other byte order]'
    '(--dictionary)--from[first logical position]:position:'
    '--bytes[how many bytes]:count:'
    '(--from)--dictionary[begin with the dictionary part]'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
  )
  info=(
    '--row0'$row0
    '--swap[the file has the other byte order]'
    '--blocks[a row for each block]'
    '--json[as JSON, for programs]'
  )
  verify=(
    '--row0'$row0
    '--swap[the file has the other byte order]'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
  )
  recover=(
    '--row0'$row0
    '(--partial)--holes[what becomes of sound blocks behind damage]:how:(stop skip zero)'
    '(--holes)--partial[write plain data, up to the first damage]'
    '(-j --threads --jobs)'{-j,--threads,--jobs}'[threads to work on]:threads:'
    '(-f --force)'{-f,--force}'[replace the output if it is there]'
    '--no-sync[do not wait until the output is on the disk]'
    '(-o --output)'{-o,--output}'[file to make]:file:_files'
  )
  if (( CURRENT == 2 )); then
    _describe -t commands command commands
    _arguments '(- *)'{-h,--help}'[print help]' '(- *)'{-V,--version}'[print the version]'
    return
  fi
  shift words
  (( CURRENT-- ))
  case $words[1] in
    help) _arguments '(- *)'{-h,--help}'[print help]' '1:command:{_describe -t commands command commands}' ;;
    pack|append|unpack|cat|info|verify|recover) _arguments -s $common ${(P)words[1]} '*:file:_files' ;;
  esac
}

_casefile "$@"
