# bash completion for zephonctl: subcommands, options, files, and the verbs of the server.

_zephonctl() {
    local word="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
    local subcommand="${COMP_WORDS[1]}"
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "send verbs watch --help" -- "$word")
        return
    fi
    case "$previous" in
        -c | --config)
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
            ;;
        --as)
            mapfile -t COMPREPLY < <(compgen -W "hmi" -- "$word")
            return
            ;;
        --timeout | --discovery | --answers)
            return
            ;;
    esac
    local words=""
    case "$subcommand" in
        send)
            words="--config --as --timeout --discovery --answers --yes --json --help"
            [ "${word:0:1}" = - ] || words=$("${COMP_WORDS[0]}" verbs --names 2>/dev/null)
            ;;
        verbs) words="--json --names --help" ;;
        watch) words="events responses all --config --json --help" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _zephonctl zephonctl
