# The options are those of --help, read when they are asked for.
function __parlowen_options --argument-names program
    env LC_ALL=C $program --help 2>/dev/null |
        string replace --filter --regex '^ +(--[a-z][a-z-]*)( \S+)* *(?:  (\S.*)|)$' '$1\t$3'
end

for program in parlowen parlowen-service
    complete -c $program -n 'string match -q -- "-*" (commandline -ct)' -f -a "(__parlowen_options $program)"
end
complete -c parlowen -n '__fish_prev_arg_in --start' -f -a 'interview rehearsal'
complete -c parlowen -n '__fish_prev_arg_in --page' -f -a 'setup account settings about login'
complete -c parlowen -n '__fish_prev_arg_in --ui-language' -f -a 'en zh'
complete -c parlowen -n '__fish_prev_arg_in --interview' -f -a 'system microphone app:'
complete -c parlowen-service -n '__fish_prev_arg_in --data' -f -a '(__fish_complete_directories)'
complete -c parlowen-service -n '__fish_prev_arg_in --catalogue' -f -a '(__fish_complete_suffix .json)'
