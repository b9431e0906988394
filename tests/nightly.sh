#!/usr/bin/env bash
# What takes too long for each change: sanitizers, fuzzing, all faults, a soak, measurements and repeated tests.
# All steps run, also behind one that fails; the status is 1 where one did. --dry-run only looks whether each exists.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit

steps=(
    './dev build'
    './dev asan'
    './dev fuzz 60'
    './dev faults'
    './dev soak 30'
    './dev bench'
    './dev package --check'
    './dev variants'
    'ctest --preset release --repeat until-fail:20 -j8'
)
failed=()
for step in "${steps[@]}"; do
    read -ra words <<<"$step"
    if [[ ${1:-} == --dry-run ]]; then
        if [[ ${words[0]} == ./dev ]]; then
            ./dev help | grep -q "^  ${words[1]} " || failed+=("$step")
        else
            "${words[@]}" --show-only >/dev/null || failed+=("$step")
        fi
        continue
    fi
    printf '\n=== %s\n' "$step"
    SECONDS=0
    "${words[@]}" || failed+=("$step")
    printf '=== %s: %d s\n' "$step" "$SECONDS"
done
((${#failed[@]})) || exit 0
printf 'failed: %s\n' "${failed[@]}" >&2
exit 1
