# Completion of casefile's commands, options and file names for fish.

# Whether the command, the first word, is one of these: a later word may be a file of that name.
function __casefile_does
    set -l words (commandline -opc)
    contains -- "$words[2]" $argv
end

# Whether the next word is the one that help tells about.
function __casefile_asks_help
    __casefile_does help; and test (count (commandline -opc)) -eq 2
end

complete -c casefile -n __fish_use_subcommand -f -a pack -d 'Make a compressed data file of an uncompressed one'
complete -c casefile -n __fish_use_subcommand -f -a append -d 'Put more case data behind what is there'
complete -c casefile -n __fish_use_subcommand -f -a unpack -d 'Make the uncompressed file again'
complete -c casefile -n __fish_use_subcommand -f -a cat -d 'Write case data to standard output'
complete -c casefile -n __fish_use_subcommand -f -a info -d 'Tell what a compressed file holds'
complete -c casefile -n __fish_use_subcommand -f -a verify -d 'Check heading, table and every block'
complete -c casefile -n __fish_use_subcommand -f -a recover -d 'Rebuild heading and table from the blocks alone'
complete -c casefile -n __fish_use_subcommand -f -a help -d 'Tell about the program or one command'
complete -c casefile -n '__casefile_does help' -f
complete -c casefile -n __casefile_asks_help -f -a 'pack append unpack cat info verify recover help'

complete -c casefile -n __fish_use_subcommand -s h -l help -d 'Print help'
complete -c casefile -n __fish_use_subcommand -s V -l version -d 'Print the version'

complete -c casefile -n '__casefile_does pack append unpack cat info verify recover help' -s h -l help -d 'Print help'
complete -c casefile -n '__casefile_does pack append unpack cat info verify recover' -s q -l quiet -d 'Say only what is wrong'
complete -c casefile -n '__casefile_does pack append unpack cat info verify recover' -s v -l verbose -d 'Say what is found and done on the way too'
complete -c casefile -n '__casefile_does pack append unpack cat info verify recover' -l progress -d 'Show progress, terminal or not'
complete -c casefile -n '__casefile_does pack append unpack cat info verify recover' -l no-progress -d 'Show no progress'
complete -c casefile -n '__casefile_does pack append unpack cat info verify recover' -l row0 -x -d 'Row-0 position'

complete -c casefile -n '__casefile_does pack append unpack cat verify recover' -s j -l threads -x -d 'Threads to work on'
complete -c casefile -n '__casefile_does pack append unpack cat verify recover' -l jobs -x -d 'Threads to work on'
complete -c casefile -n '__casefile_does unpack cat info verify' -l swap -d 'The file has the other byte order'
complete -c casefile -n '__casefile_does pack unpack recover' -s f -l force -d 'Replace the output if it is there'
complete -c casefile -n '__casefile_does pack unpack recover' -l no-sync -d 'Do not wait until the output is on the disk'
complete -c casefile -n '__casefile_does pack unpack' -l no-preserve -d 'Do not give the output the rights and times of the input'
complete -c casefile -n '__casefile_does pack unpack recover' -s o -l output -r -d 'File to make'
complete -c casefile -n '__casefile_does pack append' -l header-lines -x -d 'Lines of the dictionary part'
complete -c casefile -n '__casefile_does pack append' -l encoder -x -a 'auto zlib libdeflate isal fast' -d 'What compresses'
complete -c casefile -n '__casefile_does pack' -l dictionary -r -d 'The dictionary part is this file'
complete -c casefile -n '__casefile_does cat' -l dictionary -d 'Begin with the dictionary part'
complete -c casefile -n '__casefile_does cat' -l from -x -d 'First logical position'
complete -c casefile -n '__casefile_does cat' -l bytes -x -d 'How many bytes'
complete -c casefile -n '__casefile_does info' -l blocks -d 'A row for each block'
complete -c casefile -n '__casefile_does info' -l json -d 'As JSON, for programs'
complete -c casefile -n '__casefile_does recover' -l holes -x -a 'stop skip zero' -d 'What becomes of sound blocks behind damage'
complete -c casefile -n '__casefile_does recover' -l partial -d 'Write plain data, up to the first damage'
