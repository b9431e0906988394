#!/usr/bin/env bash
# Installs the packages of a folder in a clean Debian, uses them, builds against them, and removes them again.
# package.sh FOLDER; as root, with mmdebstrap.
set -euo pipefail

packages=$(realpath "$1")
readonly packages
source=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly source
root=$(mktemp -d "${TMPDIR:-/var/tmp}/zendra-debian.XXXXXX")
readonly root
trap 'rm -rf --one-file-system "$root"' EXIT

inside() {
    unshare --pid --fork --kill-child --mount-proc="$root/proc" chroot "$root" /usr/bin/env -i \
        PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TMPDIR=/tmp LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

install() {
    inside apt-get install -y -qq --no-install-recommends "$@" >/dev/null 2>>"$root/apt.log" || fail "apt-get install $*"
}

fail() {
    echo "package: $*" >&2
    tail -n 5 "$root/apt.log" >&2
    exit 1
}

# expect TEXT COMMAND...: the command fails with a line that has the text
expect() {
    local text=$1 output
    shift
    ! output=$(inside "$@" 2>&1) || fail "$* does not fail"
    [[ $output == *"$text"* ]] || fail "$* says '$output', not '$text'"
}

mmdebstrap --quiet --variant=minbase bookworm "$root"
touch "$root/apt.log"
cp "$packages"/*.deb "$root/tmp/"
inside apt-get update -qq
version=$(dpkg-deb -f "$packages"/zendra_*.deb Version)
architecture=$(dpkg-deb -f "$packages"/zendra_*.deb Architecture)
deb() { echo "/tmp/$1_${version}_$architecture.deb"; }

install "$(deb zendra)"
[[ $(inside zendra --version) == "zendra $version" ]] || fail "zendra --version"
# Without what the package only recommends.
expect 'the package xvfb' zendra --headless where
install xvfb xauth
expect 'the package xsel' zendra --headless clipboard set x
expect 'install the Debian package lib' zendra --headless record --for 0.1 /tmp/movie.mp4
[[ ! -e $root/tmp/movie.mp4 ]] || fail "a recording that fails leaves a file"
inside zendra --headless=640x480 screenshot /tmp/screen.png && [[ -s $root/tmp/screen.png ]] || fail screenshot
cp "$source/docs/images/highlight.png" "$root/tmp/"
expect 'install the Debian package lib' zendra --headless=640x480 move image:/tmp/highlight.png
inside zendra --headless=640x480 type 'hello é' || fail type

# With them.
read -ra recommended < <(dpkg-deb -f "$root$(deb zendra)" Recommends | sed 's/([^)]*)//g; s/|[^,]*//g; s/,//g')
install "${recommended[@]}" x11-apps
inside zendra --headless=640x480 record --for 0.2 /tmp/movie.mp4 && [[ -s $root/tmp/movie.mp4 ]] || fail record
inside zendra --headless=640x480 clipboard set x || fail clipboard
inside sh -c "printf 'wait-window xclock\nscreenshot /tmp/clock.png\nmove image:/tmp/clock.png\n' | zendra --headless=640x480 run --script /dev/stdin -- xclock" || fail run

# What others build.
install "$(deb libzendrahook-dev)" g++ make cmake pkg-config
cp -r "$source/examples/plugin" "$source/examples/host" "$root/tmp/"
inside sh -ec 'cd /tmp; for example in plugin host; do cmake -S $example -B b-$example; cmake --build b-$example; done' >/dev/null
[[ $(inside zendra --platform /tmp/b-plugin/echo.so type h) == 'typeCharacter h' ]] || fail "examples/plugin"
inside sh -c 'pkg-config --exists "zendra-hook >= 0.2"' || fail pkg-config

inside apt-get purge -y -qq zendra libzendrahook-dev >/dev/null 2>>"$root/apt.log"
rm -rf "$root"/tmp/*
left=$(find "$root" -mindepth 1 -xdev -iname '*zendra*' -printf '/%P\n')
[[ -z $left ]] || fail "removal leaves $left"
echo "package: zendra $version works in a clean Debian, and leaves nothing behind"
