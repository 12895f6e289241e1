# bash completion for gssip-dump: options, their values, and files.

_gssip_dump() {
    local word="${COMP_WORDS[COMP_CWORD]}" previous="${COMP_WORDS[COMP_CWORD - 1]}"
    COMPREPLY=()
    case "$previous" in
        -b | --baud)
            mapfile -t COMPREPLY < <(
                compgen -W "9600 19200 38400 57600 115200 230400 460800 921600" -- "$word")
            return
            ;;
        -p | --parity)
            mapfile -t COMPREPLY < <(compgen -W "none odd even" -- "$word")
            return
            ;;
        --color)
            mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$word")
            return
            ;;
    esac
    if [ "${word:0:1}" = - ] && [ "$previous" != -d ] && [ "$previous" != --device ]; then
        mapfile -t COMPREPLY < <(compgen -W \
            "--device --baud --parity --queue --verbose --json --color --help" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}
complete -o filenames -F _gssip_dump gssip-dump
