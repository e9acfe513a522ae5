# bash completion for fennoria: subcommands, each subcommand's options (as
# its --help gives them), the config actions and names, and files or
# folders where a subcommand takes them. Uses plain bash only.

_fennoria() {
    local cur prev command i
    COMPREPLY=()
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD-1]}

    command=
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -*) ;;
            *) command=${COMP_WORDS[i]}; break ;;
        esac
    done

    if [[ -z $command ]]; then
        COMPREPLY=($(compgen -W 'cat dvd demux ifo info chapters config help --help --version' -- "$cur"))
        return 0
    fi

    if [[ $command == help ]]; then
        ((COMP_CWORD == i + 1)) &&
            COMPREPLY=($(compgen -W 'cat dvd demux ifo info chapters config' -- "$cur"))
        return 0
    fi

    local options
    case $command in
        cat) options='-o --output -q --quiet -h --help' ;;
        dvd) options='-t --title --chapters --audio -T --titleset -p --pgc -c --cell --range --playback-order --ac3 --mpeg -o --output -q --quiet -h --help' ;;
        demux) options='-t --title --chapters --audio --subtitle --subtitle-view -T --titleset -p --pgc -c --cell --range --playback-order --ac3 --mpeg --dts --lpcm --sub --vobsub --video --timing -q --quiet -h --help' ;;
        ifo) options='-q --quiet -h --help' ;;
        info) options='-t --title --chains --json -q --quiet -h --help' ;;
        chapters) options='-t --title --chapters -T --titleset -p --pgc --format -o --output -q --quiet -h --help' ;;
        config) options='-h --help' ;;
        *) return 0 ;;
    esac

    # A stream option's K=FILE: file names after the "=", whether bash cut
    # the word there (prev is "=") or not (cur is "K=...").
    local streams='--ac3 --mpeg --dts --lpcm --sub --vobsub'
    if [[ $prev == = && " $streams " == *" ${COMP_WORDS[COMP_CWORD-3]} "* ]]; then
        COMPREPLY=($(compgen -f -- "$cur"))
        return 0
    fi
    if [[ $cur == *=* && " $streams " == *" $prev "* ]]; then
        COMPREPLY=($(compgen -f -P "${cur%%=*}=" -- "${cur#*=}"))
        return 0
    fi

    # An option's value.
    case $prev in
        -o|--output|--video)
            COMPREPLY=($(compgen -f -- "$cur"))
            return 0 ;;
        --format)
            [[ $command == chapters ]] && COMPREPLY=($(compgen -W 'ogm ffmetadata json' -- "$cur"))
            return 0 ;;
        --subtitle-view)
            COMPREPLY=($(compgen -W '4:3 wide letterbox pan-scan' -- "$cur"))
            return 0 ;;
        -t|--title|--chapters|-T|--titleset|-p|--pgc|-c|--cell|--audio|--subtitle|--ac3|--mpeg|--dts|--lpcm|--sub|--vobsub)
            return 0 ;;
    esac

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return 0
    fi

    case $command in
        cat)
            COMPREPLY=($(compgen -f -- "$cur")) ;;
        dvd|ifo|info|chapters)
            # A VIDEO_TS folder, or a disc image.
            COMPREPLY=($(compgen -d -- "$cur")
                       $(compgen -f -X '!*.[iI][sS][oO]' -- "$cur")
                       $(compgen -f -X '!*.[iI][mM][gG]' -- "$cur")) ;;
        demux)
            COMPREPLY=($(compgen -f -- "$cur")) ;;
        config)
            local words=() n=0
            for ((i = i + 1; i < COMP_CWORD; i++)); do
                [[ ${COMP_WORDS[i]} == -* ]] || words[n++]=${COMP_WORDS[i]}
            done
            if ((n == 0)); then
                COMPREPLY=($(compgen -W 'get set unset list' -- "$cur"))
            elif ((n == 1)) && [[ ${words[0]} =~ ^(get|set|unset)$ ]]; then
                local names='DvdReadMode DvdTitle DvdPgc DvdAudio DvdPlaybackOrder DvdTitleNumber DvdChapterFirst DvdChapterLast DvdAudioTrack ShowProgress StandardReads SettingsPage' m v
                for m in GLOBAL fennoria.dll; do
                    for v in TIMING TRACE MEMORY LOCKING ERROR CUSTOM1 CUSTOM2 CUSTOM3 \
                             CUSTOM4 CUSTOM5 TIMEOUT LogToFile; do
                        names+=" log.$m.$v"
                    done
                done
                COMPREPLY=($(compgen -W "$names" -- "$cur"))
            fi ;;
    esac
    return 0
}
complete -o filenames -o bashdefault -F _fennoria fennoria
