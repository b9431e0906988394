#!/usr/bin/env bash
# Drives a terminal and the example form on a screen of its own, compares what the two applications received with
# what was sent, and leaves pictures in the folder given (demo-output when none is).
set -euo pipefail

examples=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=${ZENDRA_BUILD:-$examples/../build}
pictures=${1:-demo-output}
work=$(mktemp -d)
processes=()
readonly examples build pictures work

# The place of the form's window; star.zs draws on its canvas.
readonly form_place=420,60,560,400

# --- Help for what follows -----------------------------------------------------------------------------------

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
    maim --format png "$pictures/failed.png" 2>/dev/null && echo "demo: see $pictures/failed.png" >&2
    exit 1
}

# background NAME COMMAND ...: starts a command that ends with the demo at the latest.
background() {
    "${@:2}" 2>"$work/$1.err" >&2 &
    processes+=($!)
}

# await WHAT COMMAND ...: waits until the command succeeds, 10 seconds at most.
await() {
    local until=$((SECONDS + 10))
    while ! "${@:2}"; do
        ((SECONDS < until)) || fail "waited in vain for $1"
        sleep 0.05
    done
}

# Runs the command under demonstration, and shows how.
zendra() {
    local word line='    zendra'
    for word; do
        [[ $word =~ ^[[:alnum:]/.,-]+$ ]] || word=${word@Q}
        line+=" $word"
    done
    printf '%s\n' "$line"
    timeout 30 "$build/bin/zendra" "$@" || fail "zendra $1 ended with status $?"
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

# After a click: the window manager holds it back until it has had a look at it. Keys do not wait for that, and on a
# busy machine a second click that comes too soon may be lost in between.
settle() { arrived "the postcard" "$work/form.expected" "$work/form.received"; }

# prove WHAT EXPECTED RECEIVED
prove() {
    arrived "$@"
    say "  $1 received exactly what was sent: $(wc -l <"$3") lines"
}

picture() {
    maim --format png "$pictures/$1.png"
    say "  picture: $pictures/$1.png"
}

# --- What the form should log --------------------------------------------------------------------------------

expect() { printf '%s\n' "$*" >>"$work/form.expected"; }

# expect_typing WIDGET TEXT: the widget's text grows by one character at a time.
expect_typing() {
    local typed length
    for ((length = 1; length <= ${#2}; length++)); do
        typed=${2:0:length}
        typed=${typed//\\/\\\\}
        expect "$1 text ${typed//$'\n'/\\n}"
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

# at WIDGET DX DY COMMAND ...: runs zendra with a place in a widget as the last two arguments.
at() {
    local x y
    read -r x y < <(jq -r --arg widget "$1" '.[$widget] | "\(.x) \(.y)"' "$work/form.widgets")
    zendra "${@:4}" "$((x + $2))" "$((y + $3))"
}

# area WIDGET: its place on screen as X,Y,W,H
area() { jq -r --arg widget "$1" '.[$widget] | "\(.x),\(.y),\(.width),\(.height)"' "$work/form.widgets"; }

# --- The scenes ----------------------------------------------------------------------------------------------

start_screen() {
    local number
    exec {server_says}< <(exec Xvfb -noreset -displayfd 1 -screen 0 1000x500x24 -nolisten tcp 2>"$work/Xvfb.err")
    processes+=($!)
    read -r -t 20 -u "$server_says" number || fail "Xvfb did not start"
    export DISPLAY=:$number LC_ALL=C.UTF-8 QT_QPA_PLATFORM=xcb
    xsetroot -solid '#56707f'
    background openbox openbox
    await "the window manager" window_manager_runs
    say "A screen of its own: display $DISPLAY"
}

type_into_terminal() {
    say "A terminal that runs cat: capitals, punctuation, and Ctrl+U takes a line back"
    # shellcheck disable=SC2016 # the inner shell expands $1
    background xterm xterm -title Terminal -geometry 44x9+24+60 -fa 'DejaVu Sans Mono' -fs 10 \
        -e sh -c ': >"$1/cat.ready"; exec cat >"$1/cat.received"' sh "$work"
    terminal=$!
    await "the terminal" window_is_active Terminal
    await "cat" test -e "$work/cat.ready"
    zendra keys 'this line is taken back<Ctrl+u>Hello, World!<Enter>'
    zendra keys '~{[("Punctuation & CAPITALS: #1 @ 100%")]}~<Enter>'
    printf '%s\n' 'Hello, World!' '~{[("Punctuation & CAPITALS: #1 @ 100%")]}~' >"$work/cat.expected"
    prove "cat" "$work/cat.expected" "$work/cat.received"
    picture 1-terminal
}

open_form() {
    say "A postcard, made with Qt Widgets"
    background form "$build/bin/zendra-example-form" -style fusion --place "$form_place" \
        --log "$work/form.received" --widgets "$work/form.widgets"
    form=$!
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
    zendra keys 'Ms. Ada (12, St. James Square)'
    expect_typing name 'Ms. Ada (12, St. James Square)'
    at message 100 60 click
    expect "message focus"
    settle
    zendra keys 'Dear Ada,<Enter>it types: 100% of "A-Z", {a|b}, c:\d & ~!'
    expect_typing message $'Dear Ada,\nit types: 100% of "A-Z", {a|b}, c:\\d & ~!'

    say "Rolling the wheel, choosing what it brought up, clicking"
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

    say "Dragging, from a script"
    zendra script "$examples/star.zs"
    expect_drags "$examples/star.zs"
    at canvas 40 60 click --button right
    expect "canvas press right 40,60"
    expect "canvas release right 40,60"
    prove "the postcard" "$work/form.expected" "$work/form.received"
    picture 2-postcard
}

frame_widget() {
    say "Framing a widget for two seconds"
    local area width height x y
    area=$(area message)
    IFS=, read -r x y width height <<<"$area"
    snapshot() { maim --hidecursor --format png --geometry "$((width + 8))x$((height + 8))+$((x - 4))+$((y - 4))" "$work/$1.png"; }
    frame_is_up() { snapshot during && ! cmp -s "$work/before.png" "$work/during.png"; }
    frame_is_gone() { snapshot after && cmp -s "$work/before.png" "$work/after.png"; }
    snapshot before
    zendra highlight "$area" --for 2 &
    local highlighter=$!
    processes+=("$highlighter")
    await "the frame" frame_is_up
    picture 3-highlight
    wait "$highlighter"
    await "the frame to leave no trace" frame_is_gone
    say "  the frame came, and went without a trace"
}

close_all() {
    say "Closing both with the keyboard"
    zendra keys '<Ctrl+q>'
    expect "window action Quit"
    expect "window closed"
    await "the postcard to close at Ctrl+Q" ended "$form"
    prove "the postcard" "$work/form.expected" "$work/form.received"
    await "the terminal" window_is_active Terminal
    zendra keys 'The last line<Enter><Ctrl+d>'
    printf '%s\n' 'The last line' >>"$work/cat.expected"
    await "the terminal to end at Ctrl+D" ended "$terminal"
    prove "cat" "$work/cat.expected" "$work/cat.received"
}

mkdir -p "$pictures"
start_screen
type_into_terminal
open_form
fill_form_in
frame_widget
close_all
say "All arrived. Pictures of the screen are in $(cd "$pictures" && pwd)"
