# shellcheck shell=bash
# Completion of the command zendra in bash. What fits is known to the command itself, so there is no list here
# that could grow old.

_zendra() {
    # COMP_WORDS is split at : and = as well; here what stands together is one word.
    local word words=() line=" $COMP_LINE"
    for word in "${COMP_WORDS[@]:0:COMP_CWORD}"; do
        if [[ $line == [[:space:]]* ]]; then
            words+=("$word")
        else
            words[-1]+=$word
        fi
        line=${line#*"$word"}
    done
    # The word at the cursor comes without its opening quote in $2, and as = after an option's name.
    mapfile -t COMPREPLY < <("$1" --complete "${words[@]:1}" "${2#=}" 2>/dev/null)
    case ${COMPREPLY[0]-} in
        '') COMPREPLY=() ;;
        FILE)
            COMPREPLY=()
            compopt -o default
            ;;
    esac
}

complete -F _zendra zendra
