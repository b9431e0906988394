#!/usr/bin/env bash
# Runs the fuzz targets of a build folder for some seconds each: run.sh FOLDER SECONDS [TARGET]. What they find, and their
# logs, are left in FOLDER/fuzz; the seeds in the tree stay as they are.
set -euo pipefail
folder=$1 seconds=$2
cd "$(dirname "${BASH_SOURCE[0]}")"
status=0
targets=("${@:3}")
((${#targets[@]})) || mapfile -t targets < <(ls seeds)
for target in "${targets[@]}"; do
    seeds=seeds/$target
    [[ -d $seeds ]] || { echo "There is no target '$target'; choose from:" seeds/* >&2; exit 2; }
    corpus=$folder/fuzz/$target log=$folder/fuzz/$target.log options=()
    mkdir -p "$corpus"
    [[ -f $target.dict ]] && options+=("-dict=$target.dict")
    printf '\n=== %s, %s s\n' "$target" "$seconds"
    if ! "$folder/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$corpus-" "${options[@]}" "$corpus" "$seeds" >"$log" 2>&1; then
        status=1
        grep -v '^#' "$log"
    fi
    # Edges ("cov") and counters ("ft") of the product's code: how far the seeds and the corpus kept from earlier runs
    # reach, and how far this run came.
    grep -E '^INFO: Loaded|^#[0-9]+[[:space:]]+(INITED|DONE)|^stat::(number|average|peak)' "$log" || status=1
done
exit $status
