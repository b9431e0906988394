#!/usr/bin/env bash
# Tests of an installed tree: installed.sh CHECK BUILD SOURCE. What others build here sees the installation alone.
set -euo pipefail

readonly check=$1 build=$2 source=$3
readonly root=$build/installed
# Not where it was configured for: it must be relocatable.
readonly prefix=$root/tree/opt/zendra

fail() {
    echo "$*" >&2
    exit 1
}

skip() {
    echo "skipped: a program that $check needs is not installed"
    exit 77
}

installed() { compgen -G "$prefix/$1" >/dev/null || fail "not installed: $1"; }

start_display() {
    coproc Xvfb -displayfd 1 -screen 0 640x480x24 -noreset -nolisten tcp 2>/dev/null
    trap 'kill "$COPROC_PID"' EXIT
    read -r DISPLAY <&"${COPROC[0]}"
    export DISPLAY=:$DISPLAY
}

example() {
    cmake -S "$source/examples/$1" -B "$root/$1" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build "$root/$1" >/dev/null
}

case $check in
    tree)
        rm -rf "$root"
        DESTDIR=$root/tree cmake --install "$build" --prefix /opt/zendra >/dev/null
        while read -r file; do
            [[ -z $file || $file == '#'* ]] || installed "$file"
        done <"$source/tests/installed/files.txt"
        ! grep -rlF -e "$build" -e "$source" "$prefix/lib" "$prefix/share" --include='*.cmake' --include='*.pc' \
            || fail "these name the folder of the build"
        ;;
    exports)
        # The names that plug-ins and hosts link; a change is a change of the ABI.
        nm -DC --defined-only "$(readlink -f "$build/lib/libzendrahook.so")" | cut -c20- | grep Zendra | LC_ALL=C sort -u \
            | diff -u "$source/hook/core/exports.txt" - \
            || fail "the ABI of libzendrahook has changed: if that is meant, update hook/core/exports.txt"
        ;;
    command)
        # Two installations side by side: each uses its own libraries.
        rm -rf "$root/other" && cp -a "$prefix" "$root/other"
        for place in "$prefix" "$root/other"; do
            "$place/bin/zendra" --version --json | grep -qF "\"folder\":\"$(echo "$place"/lib*)/zendra\""
            find "$place" -name '*.so' -exec ldd {} + | grep -F libzendrahook.so | grep -vF "$place/" \
                && fail "these libraries are not its own"
        done
        cd "$root"
        "$prefix/bin/zendra" --headless=640x480 run --script /dev/stdin -- xterm <<<'wait-window xterm*'
        "$prefix/bin/zendra" --headless=640x480 record --for 0.2 "$root/movie.mp4" && test -s "$root/movie.mp4"
        ;;
    manual)
        command -v groff >/dev/null && command -v pandoc >/dev/null && command -v xsltproc >/dev/null || skip
        for page in man1/zendra.1 man5/zendra-script.5 man5/zrle.5 man7/org.zendra.Hook1.7; do
            installed "share/man/$page"
            warnings=$(groff -ww -man -Tutf8 -t -k -z "$prefix/share/man/$page" 2>&1)
            [[ -z $warnings ]] || fail "$page: $warnings"
        done
        for name in $("$prefix/bin/zendra" --complete ''); do
            grep -qxF ".SS \"${name//-/\\-}\"" "$prefix/share/man/man1/zendra.1" || fail "no section for $name"
        done
        grep -q PointerDragAndDropBegin "$prefix/share/man/man7/org.zendra.Hook1.7"
        ;;
    bash | zsh | fish)
        command -v "$check" >/dev/null && python3 -c 'import pexpect' || skip
        start_display
        rm -rf "$root/$check" && mkdir -m 700 "$root/$check" && cd "$root/$check"
        export XDG_RUNTIME_DIR=$PWD PATH=$prefix/bin:$PATH
        zendra run -- xterm -T 'Two "Words' 2>/dev/null &
        zendra wait-window 'Two "Words' --timeout 30
        python3 "$source/tests/installed/completion.py" "$check" "$prefix/share" "$(basename zendra/[0-9]*)"
        zendra close-window 'Two "Words'
        ;;
    host)
        example host
        start_display
        "$root/host/host" hello "$root/host.png" | grep -qx 640x480
        # The same with pkg-config alone.
        export PKG_CONFIG_PATH
        PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zendra-hook.pc)")
        # shellcheck disable=SC2046
        c++ -std=c++17 -fPIC -o "$root/host-pc" "$source/examples/host/main.cpp" $(pkg-config --cflags --libs zendra-hook)
        ;;
    plugin)
        example plugin
        test "$(env -u DISPLAY "$prefix/bin/zendra" --platform "$root/plugin/echo.so" type 'hé')" \
            = $'typeCharacter h\ntypeCharacter é'
        test "$(env -u DISPLAY ZENDRA_PLATFORM="$root/plugin/echo.so" "$prefix/bin/zendra" click 3 4 | head -n 1)" \
            = 'pointerMove 3 4'
        cd "$root"
        c++ -shared -o libabsent.so.7 -Wl,-soname,libabsent.so.7 -xc++ /dev/null
        c++ -shared -o libneedy.so -xc++ /dev/null -Wl,--no-as-needed -xnone libabsent.so.7
        rm libabsent.so.7
        ! "$prefix/bin/zendra" --platform ./libneedy.so where 2>error
        grep -q 'Debian package libabsent7' error
        ;;
esac
