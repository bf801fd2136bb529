#!/usr/bin/env bash
# Builds Vantry for Linux (installing what the build needs on first use) and
# runs the main program. Until the reference host exists that is the example
# program, which builds a small entity tree and prints it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target vantry-example >/dev/null
exec build/linux/bin/vantry-example "$@"
