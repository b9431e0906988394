#!/usr/bin/env bash
# Runs the fuzz targets of a build folder for some seconds each: run.sh FOLDER SECONDS [TARGET]. What they find is left in
# FOLDER/fuzz; the seeds in the tree stay as they are.
set -euo pipefail
folder=$1 seconds=$2
cd "$(dirname "${BASH_SOURCE[0]}")"
status=0
for seeds in seeds/"${3:-*}"; do
    target=$(basename "$seeds")
    [[ -d $seeds ]] || { echo "There is no target '$target'; choose from: $(ls seeds | tr '\n' ' ')" >&2; exit 2; }
    mkdir -p "$folder/fuzz/$target"
    printf '\n=== %s, %s s\n' "$target" "$seconds"
    "$folder/bin/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -verbosity=0 \
        -artifact_prefix="$folder/fuzz/$target-" "$folder/fuzz/$target" "$seeds" || status=1
done
exit $status
