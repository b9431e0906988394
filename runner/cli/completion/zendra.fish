# Fish completion for zendra. The command itself prints the candidates.

function __zendra_candidates
    set -l words (commandline -opc)
    set -l begun (string unescape -- (commandline -ct); or commandline -ct | string trim -l -c '\'"')
    set -l option
    if string match -qr -- '^--[^=]*=' $begun
        set option (string replace -r -- '=.*' '=' $begun)
        set begun (string replace -r -- '^[^=]*=' '' $begun)
    end
    set -l candidates ($words[1] --complete $words[2..-1] $option $begun 2>/dev/null)
    if test "$candidates" = FILE
        __fish_complete_path $begun
    else
        string replace -r -- '^' "$option" $candidates
    end
end

complete -c zendra -f -a '(__zendra_candidates)'
