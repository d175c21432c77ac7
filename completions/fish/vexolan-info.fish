complete -c vexolan-info -f -a '(complete -C "__fish_command_without_completions "(commandline -ct) | string match -r "^.*(?:/|\.orvenevent)\$")'
complete -c vexolan-info -s h -l help -d 'Print the options'
complete -c vexolan-info -l version -d 'Print the version number'
complete -c vexolan-info -l json -d 'Write JSON instead of text'
