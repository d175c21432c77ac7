complete -c vexolan-info -k -a '(__fish_complete_suffix .orvenevent)'
complete -c vexolan-info -s h -l help -d 'Print the options'
complete -c vexolan-info -l version -d 'Print the version number'
complete -c vexolan-info -l json -d 'Write JSON instead of text'
