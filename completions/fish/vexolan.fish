# Recordings and folders; after a comma, for the last part of the list.
function __vexolan_event_files
    set -l typed (commandline -ct | string replace -r -- '^(--inputFiles=|-i)' '')
    set -l before (string match -r -- '^.*,' $typed)
    set -l part (string replace -r -- '^.*,' '' $typed)
    set -l found (complete -C "__fish_command_without_completions $part")
    string match -r -- '^.*(?:/|\.orvenevent)$' $found | string replace -r -- '^' "$before"
end

complete -c vexolan -f
complete -c vexolan -s h -l help -d 'Print the options'
complete -c vexolan -l license -d 'Print the licence terms'
complete -c vexolan -l version -d 'Print the version number'
complete -c vexolan -s f -l paramsFile -rk -a '(__fish_complete_suffix .json)' -d 'Read settings from a JSON file'
complete -c vexolan -s i -l inputFiles -x -a '(__vexolan_event_files)' -d 'Event files, separated by commas'
complete -c vexolan -s I -l inputFolder -xa '(__fish_complete_directories)' -d 'All event files of a folder'
complete -c vexolan -l inputListFile -rF -d 'Text file with an event file per line'
complete -c vexolan -s o -l outputFile -rF -d 'The image to write'
complete -c vexolan -s x -l size_x -x -d 'Pixels along x, and along y without -y'
complete -c vexolan -s y -l size_y -x -d 'Pixels along y'
complete -c vexolan -s m -l nPhotons_min -x -d 'Smallest photon count'
complete -c vexolan -s M -l nPhotons_max -x -d 'Largest photon count'
complete -c vexolan -s E -l time_extTrigger -xa 'ignore reference frameSync' -d 'How triggers are used'
complete -c vexolan -s t -l time_res_s -x -d 'Length of a time bin in seconds'
complete -c vexolan -s T -l time_limit -x -d 'Number of pages'
complete -c vexolan -s p -l psd_min -x -d 'Smallest PSD value'
complete -c vexolan -s P -l psd_max -x -d 'Largest PSD value'
complete -c vexolan -l fileFormat -xa 'tiff_w4 tiff_w8' -d 'Format of the image'
complete -c vexolan -l parallel -xa 'true false' -d 'Count on all cores'
complete -c vexolan -l strict -xa 'true false' -d 'End the run at the first damaged file'
complete -c vexolan -l report -rk -a '(__fish_complete_suffix .json)' -d 'JSON file to write: what became of the run'
complete -c vexolan -l spectra -rF -d 'Text file to write: counts of each page'
complete -c vexolan -l upright -xa 'true false' -d 'Give pages the orientation of the 2-D image'
complete -c vexolan -l region -x -d 'Part of the detector to show: X0,Y0,X1,Y1 in detector pixels'
complete -c vexolan -l timeStart -x -d 'Where the first time bin starts, in seconds'
