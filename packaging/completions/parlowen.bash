# The options are those of --help, read when they are asked for.
_parlowen() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
    --rehearse | --screenshot)
        _filedir
        return
        ;;
    --start)
        mapfile -t COMPREPLY < <(compgen -W "interview rehearsal" -- "$cur")
        return
        ;;
    --page)
        mapfile -t COMPREPLY < <(compgen -W "setup account settings about login" -- "$cur")
        return
        ;;
    --ui-language)
        mapfile -t COMPREPLY < <(compgen -W "en zh" -- "$cur")
        return
        ;;
    --interview)
        mapfile -t COMPREPLY < <(compgen -W "system microphone app:" -- "$cur")
        return
        ;;
    --data)
        _filedir -d
        return
        ;;
    --catalogue)
        _filedir json
        return
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$(_parse_help "$1")" -- "$cur")
} &&
    complete -F _parlowen parlowen parlowen-service
