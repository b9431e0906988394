#!/usr/bin/env bash
# Drives a terminal and the example form, each with the hook loaded, on a virtual display, compares what they received
# with what was sent, and writes screenshots and a movie to the given folder (default demo-output).
set -euo pipefail

examples=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=${ZENDRA_BUILD:-$examples/../build}
pictures=${1:-demo-output}
work=$(mktemp -d)
processes=()
app= # the process for --app; empty for the display itself
readonly examples build pictures work

# The position of the form's window; star.zs draws on its canvas.
readonly form_place=420,60,560,400
readonly name='Ms. Ada (12, St. James Square)'

# --- Helpers -------------------------------------------------------------------------------------------------

clean_up() {
    local status=$?
    trap - EXIT
    if ((${#processes[@]})); then
        kill "${processes[@]}" 2>/dev/null || true
        wait "${processes[@]}" 2>/dev/null || true
    fi
    rm -rf "$work"
    exit "$status"
}
trap clean_up EXIT
trap 'exit 130' INT TERM HUP

say() { printf '\033[1m%s\033[0m\n' "$*"; }

fail() {
    printf 'demo: FAILED: %s\n' "$*" >&2
    tail -n 5 "$work"/*.err >&2 2>/dev/null || true
    app='' quietly screenshot "$pictures/failed.png" 2>/dev/null && echo "demo: see $pictures/failed.png" >&2
    exit 1
}

# background NAME COMMAND ...: starts a command that is killed at the end of the demo.
background() {
    "${@:2}" 2>"$work/$1.err" >&2 &
    processes+=($!)
}

# await WHAT COMMAND ...: waits until the command succeeds, 10 seconds at most.
await() {
    local until=$((SECONDS + 10))
    while ! "${@:2}"; do
        ((SECONDS < until)) || fail "timeout waiting for $1"
        sleep 0.05
    done
}

# Prints and runs the command.
zendra() {
    local word line='    zendra'
    for word in ${app:+--app "$app"} "$@"; do
        [[ $word =~ ^[[:alnum:]/.,-]+$ ]] || word=${word@Q}
        line+=" $word"
    done
    printf '%s\n' "$line"
    quietly "$@" || fail "zendra $1 ended with status $?"
}

quietly() { timeout 30 "$build/bin/zendra" ${app:+--app "$app"} "$@"; }

# start NAME PROGRAM ...: starts a program with the hook loaded. The following commands act in it.
start() {
    printf '    zendra --json run -- %s ... &\n' "${2##*/}"
    "$build/bin/zendra" --json run -- "${@:2}" >"$work/$1.json" 2>"$work/$1.err" &
    processes+=($!)
    await "the hook in the $1" test -s "$work/$1.json"
    app=$(jq .pid "$work/$1.json")
}

# window_is_active TITLE
window_is_active() {
    local id
    id=$(xprop -root _NET_ACTIVE_WINDOW 2>/dev/null | grep -o '0x[0-9a-f]*$') || return 1
    xprop -id "$id" WM_NAME 2>/dev/null | grep -qF "\"$1\""
}

window_manager_runs() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; }
ended() { ! kill -0 "$1" 2>/dev/null; }

# arrived WHAT EXPECTED RECEIVED: waits until the files are the same, or fails with the difference.
arrived() {
    local until=$((SECONDS + 10))
    until cmp -s "$2" "$3"; do
        if ((SECONDS >= until)); then
            diff -u --label sent "$2" --label received "$3" >&2 || true
            fail "$1 did not receive what was sent"
        fi
        sleep 0.05
    done
}

# Waits until the postcard has received everything so far.
settle() { arrived "the postcard" "$work/form.expected" "$work/form.received"; }

# prove WHAT EXPECTED RECEIVED
prove() {
    arrived "$@"
    say "  $1 received exactly what was sent: $(wc -l <"$3") lines"
}

# An application draws after it has received its input.
picture() {
    sleep 0.2
    zendra screenshot "$pictures/$1.png"
}

# --- What the form should log --------------------------------------------------------------------------------

expect() { printf '%s\n' "$*" >>"$work/form.expected"; }

# expect_text WIDGET TEXT: the widget's text becomes this one.
expect_text() {
    local text=${2//\\/\\\\}
    expect "$1 text ${text//$'\n'/\\n}"
}

# expect_typing WIDGET TEXT: the widget's text grows by one character at a time.
expect_typing() {
    local length
    for ((length = 1; length <= ${#2}; length++)); do
        expect_text "$1" "${2:0:length}"
    done
}

# expect_drags SCRIPT: every drag of a script, from press to release, in the coordinates of the canvas.
expect_drags() {
    local command x y dx dy option
    while read -r command x y dx dy option; do
        [[ $command == drag ]] || continue
        option=${option:+${option#--}+}
        expect "canvas press ${option}left $((x - canvas_x)),$((y - canvas_y))"
        expect "canvas release ${option}left $((x + dx - canvas_x)),$((y + dy - canvas_y))"
    done <"$1"
}

# place WIDGET DX DY: a position in a widget, as X and Y on the screen
place() {
    jq -r --arg widget "$1" --argjson dx "$2" --argjson dy "$3" \
        '.[$widget] | "\(.x + $dx) \(.y + $dy)"' "$work/form.widgets"
}

# at WIDGET DX DY COMMAND ...: runs zendra with a position in a widget as the last two arguments.
at() {
    local x y
    read -r x y < <(place "$1" "$2" "$3")
    zendra "${@:4}" "$x" "$y"
}

# drop_at WIDGET DX DY WIDGET DX DY [OPTION]: drags from one position and drops at another.
drop_at() {
    local x1 y1 x2 y2
    read -r x1 y1 < <(place "$1" "$2" "$3")
    read -r x2 y2 < <(place "$4" "$5" "$6")
    zendra drop "${@:7}" "$x1" "$y1" "$x2" "$y2"
}

# area WIDGET: its area on the screen as X,Y,W,H
area() { jq -r --arg widget "$1" '.[$widget] | "\(.x),\(.y),\(.width),\(.height)"' "$work/form.widgets"; }

# --- Scenes --------------------------------------------------------------------------------------------------

start_screen() {
    local number
    exec {server_says}< <(exec Xvfb -noreset -displayfd 1 -screen 0 1000x500x24 -nolisten tcp 2>"$work/Xvfb.err")
    processes+=($!)
    read -r -t 20 -u "$server_says" number || fail "Xvfb did not start"
    export DISPLAY=:$number LC_ALL=C.UTF-8 QT_QPA_PLATFORM=xcb
    xsetroot -solid '#56707f'
    background openbox openbox
    await "the window manager" window_manager_runs
    say "A virtual display: $DISPLAY"
}

start_recording() {
    say "Recording a movie"
    printf '    zendra --json record %s/demo.mp4 &\n' "$pictures"
    "$build/bin/zendra" --json record "$pictures/demo.mp4" >"$work/movie.json" 2>"$work/record.err" &
    recorder=$!
    processes+=("$recorder")
    await "the recording to begin" test -s "$pictures/demo.mp4"
}

end_recording() {
    say "Ending the movie"
    kill -TERM "$recorder"
    wait "$recorder" || fail "zendra record ended with status $?"
    jq -er '"  \(.seconds) seconds, \(.frames) frames, \(.bytes) bytes"' "$work/movie.json" ||
        fail "zendra record printed no result"
}

type_into_terminal() {
    say "A terminal that runs cat: capitals, punctuation, Ctrl+U as a key and as text"
    # shellcheck disable=SC2016 # the inner shell expands $1
    start terminal xterm -title Terminal -geometry 44x9+24+60 -fa 'DejaVu Sans Mono' -fs 10 \
        -e sh -c ': >"$1/cat.ready"; exec cat >"$1/cat.received"' sh "$work"
    terminal=$app
    await "the terminal" window_is_active Terminal
    await "cat" test -e "$work/cat.ready"
    zendra keys 'this line is taken back<Ctrl+u>Hello, World!<Enter>'
    zendra type $'~{[("Punctuation & <Ctrl+u>: #1 @ 100%")]}~\n'
    printf '%s\n' 'Hello, World!' '~{[("Punctuation & <Ctrl+u>: #1 @ 100%")]}~' >"$work/cat.expected"
    prove "cat" "$work/cat.expected" "$work/cat.received"
    picture 1-terminal
}

open_form() {
    say "A postcard, made with Qt Widgets"
    start postcard "$build/bin/zendra-example-form" -style fusion --place "$form_place" \
        --log "$work/form.received" --widgets "$work/form.widgets"
    form=$app
    await "the postcard" window_is_active Postcard
    expect "window active"
    expect "name focus"
    settle
    read -r canvas_x canvas_y < <(jq -r '.canvas | "\(.x) \(.y)"' "$work/form.widgets")
}

fill_form_in() {
    say "Typing, with clicks to change the field"
    at message 100 60 click
    expect "message focus"
    settle
    at name 20 15 click
    expect "name focus"
    settle
    zendra type "$name"
    expect_typing name "$name"
    at message 100 60 click
    expect "message focus"
    settle
    zendra keys 'Dear Ada,<Enter>100% of "A-Z", {a|b}, c:\d & ~!<Enter>'
    message=$'Dear Ada,\n100% of "A-Z", {a|b}, c:\\d & ~!\n'
    expect_typing message "$message"

    say "Turning the wheel, choosing an item, clicking"
    at stamps 60 40 move
    zendra wheel -4
    local notch
    for notch in -120 -120 -120 -120 120; do
        expect "stamps wheel $notch"
    done
    zendra wheel 1
    at stamps 60 12 click
    expect "stamps focus"
    expect "stamps chosen Daisy"
    settle
    at post 100 18 click
    expect "post focus"
    expect "post posted 1"
    settle
    at post 100 18 click
    expect "post posted 2"
    settle
    zendra keys '<Ctrl+p>'
    expect "window action Post"
    expect "post posted 3"
    settle
}

draw() {
    say "Dragging, from a script"
    zendra script "$examples/star.zs"
    expect_drags "$examples/star.zs"
    at canvas 40 60 click --button right
    expect "canvas press right 40,60"
    expect "canvas release right 40,60"
    prove "the postcard" "$work/form.expected" "$work/form.received"
}

drag_and_drop() {
    say "Dropping a stamp on the card: without a modifier it moves, with Ctrl it is copied"
    drop_at stamps 60 12 canvas 46 53
    expect "stamps focus"
    expect "canvas drop move Daisy 46,53"
    expect "stamps chosen Elder"
    expect "stamps gone Daisy"
    settle
    drop_at stamps 60 12 canvas 120 53 --ctrl
    expect "canvas drop copy Elder 120,53"
    settle

    say "Dragging text from one field to the end of another"
    at name 20 15 click
    expect "name focus"
    settle
    zendra keys '<Ctrl+a>'
    drop_at name 100 15 message 100 110 --ctrl # not where the click was: that would make it a double click
    message+=$name
    expect_text message "$message"
    prove "the postcard" "$work/form.expected" "$work/form.received"
}

use_clipboard() {
    say "Pasting what the clipboard was given, letters that no key has among them"
    local text='Grüße, привет, 12 €'
    zendra clipboard set "$text"
    at message 100 110 click
    expect "message focus"
    settle
    zendra keys '<Ctrl+End><Enter><Ctrl+v>'
    expect_text message "$message"$'\n'
    expect_text message "$message"$'\n'"$text"
    prove "the postcard" "$work/form.expected" "$work/form.received"

    say "Reading what the form copied"
    at name 20 15 click
    expect "name focus"
    settle
    zendra keys '<Ctrl+a><Ctrl+c>'
    copied() { [[ $(quietly clipboard get) == "$name" ]]; }
    await "the form to copy" copied
    zendra --json clipboard get
    picture 2-postcard
}

frame_widget() {
    say "Framing a widget, with a tooltip, for two seconds"
    snapshot() { quietly screenshot "$work/$1.png"; }
    frame_is_up() { snapshot during && ! cmp -s "$work/before.png" "$work/during.png"; }
    frame_is_gone() { snapshot after && cmp -s "$work/before.png" "$work/after.png"; }
    at message 30 88 move
    snapshot before
    zendra highlight "$(area message)" --tooltip 'Here is what the card says' --for 2 &
    local highlighter=$!
    processes+=("$highlighter")
    await "the frame" frame_is_up
    picture 3-highlight
    wait "$highlighter"
    await "the frame to leave no trace" frame_is_gone
    say "  the frame came, and went without a trace"
}

close_all() {
    say "Closing both with the keyboard, from outside: a command in an application that ends would tell of a loss"
    app='' zendra keys '<Ctrl+q>'
    expect "window action Quit"
    expect "window closed"
    await "the postcard to close at Ctrl+Q" ended "$form"
    prove "the postcard" "$work/form.expected" "$work/form.received"
    await "the terminal" window_is_active Terminal
    app=$terminal
    zendra send-to Terminal 'The last line'
    app='' zendra keys '<Enter><Ctrl+d>'
    printf '%s\n' 'The last line' >>"$work/cat.expected"
    await "the terminal to end at Ctrl+D" ended "$terminal"
    prove "cat" "$work/cat.expected" "$work/cat.received"
}

mkdir -p "$pictures"
rm -f "$pictures/demo.mp4"
start_screen
start_recording
type_into_terminal
open_form
fill_form_in
draw
drag_and_drop
use_clipboard
frame_widget
close_all
end_recording
say "All arrived. Pictures of the screen and a movie are in $(cd "$pictures" && pwd)"
