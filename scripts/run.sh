#!/usr/bin/env bash
# Builds Vantry for Linux where anything is missing (installing what the
# build needs on first use), then runs a 5-second collection of every feature
# this machine offers and shows the summary. The reports and the result file
# land in build/results/ (VantryOutput.txt, VantryOutput.vtr). Arguments
# replace the default ones: scripts/run.sh -f cstate -t 10 -r sum,csv
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target vantry vantry_collectors vantry_features vantry_writers \
    >/dev/null
mkdir -p build/results
cd build/results
if [ $# -eq 0 ]; then
    set -- -f all -t 5
fi
exec ../linux/bin/vantry "$@"
