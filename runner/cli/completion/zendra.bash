# shellcheck shell=bash
# Bash completion for zendra. The command itself prints the candidates.

_zendra() {
    # COMP_WORDS is also split at : and =; join the parts of a word.
    local word words=() line=" $COMP_LINE"
    for word in "${COMP_WORDS[@]:0:COMP_CWORD}"; do
        if [[ $line == [[:space:]]* ]]; then
            words+=("$word")
        else
            words[-1]+=$word
        fi
        line=${line#*"$word"}
    done
    # $2 is the current word without its opening quote, or = after the name of an option.
    local begun=${2#=} quoted=
    [[ ${COMP_WORDS[COMP_CWORD]} == [\'\"]* ]] && quoted=1 || begun=${begun//\\/}
    mapfile -t COMPREPLY < <("$1" --complete "${words[@]:1}" "$begun" 2>/dev/null)
    case ${COMPREPLY[0]-} in
        '') COMPREPLY=() ;;
        FILE)
            COMPREPLY=()
            compopt -o default
            ;;
        *)
            # Titles of windows may have blanks; bash quotes nothing by itself.
            [[ -n $quoted ]] || mapfile -t COMPREPLY < <(printf '%q\n' "${COMPREPLY[@]}")
            ;;
    esac
}

complete -F _zendra zendra
