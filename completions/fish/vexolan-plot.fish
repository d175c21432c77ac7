complete -c vexolan-plot -k -a '(__fish_complete_suffix .orvenevent)'
complete -c vexolan-plot -s h -l help -d 'Print the options'
complete -c vexolan-plot -l version -d 'Print the version number'
complete -c vexolan-plot -s o -l output -rk -a '(__fish_complete_suffix .png)' -d 'The picture to write: .png, .pdf or .svg'
