# Completion of options and files: bash-completion reads the options from what --help prints.
complete -F _longopt korvani-beacons korvani-fleet korvani-replay korvani-service
