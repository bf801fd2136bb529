#!/usr/bin/env bash
# Runs one fuzz target with libFuzzer for a given time.
#
#   scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]
#
# TARGET is a corpus name under fuzz/corpus (metadata, system_metadata,
# top_tree, ...), with or without the "_fuzz" suffix. The script installs what
# the build needs, builds the target with the "fuzz" preset (clang,
# -fsanitize=fuzzer,address,undefined) in build/fuzz (or $VANTRY_FUZZ_BUILD),
# and runs it on one core: new inputs go to build/fuzz/work/TARGET/corpus,
# the kept corpus fuzz/corpus/TARGET is read only, and a crashing input lands
# in build/fuzz/work/TARGET/ as crash-*, leak-*, timeout-* or oom-*. Copy it
# into fuzz/corpus/TARGET/ once the fault is fixed, so that every test run
# replays it. The last lines give the executions per second and in total.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

if [ $# -lt 2 ]; then
    echo "usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options...]" >&2
    exit 2
fi
name=${1%_fuzz}
seconds=$2
shift 2
if [ ! -d "fuzz/corpus/$name" ]; then
    echo "fuzz.sh: no target $name (targets: $(ls fuzz/corpus | tr '\n' ' '))" >&2
    exit 2
fi

bash scripts/setup.sh
build=${VANTRY_FUZZ_BUILD:-$root/build/fuzz}
cmake --preset fuzz -B "$build" >"$build.configure.log" 2>&1 || {
    cat "$build.configure.log"
    exit 1
}
cmake --build "$build" --target "${name}_fuzz" -j 2

work="$build/work/$name"
mkdir -p "$work/corpus"
cd "$work"
rm -f fuzz-0.log
# One job on one worker: the machine's cores are shared. Standard output and
# error of the target are closed (the parsers report bad lines there); the
# sanitizers' reports still reach the log.
# The configuration languages' keywords help the fuzzer past the tokenizer.
dict=()
if [ -f "$root/fuzz/dict/$name.dict" ]; then
    dict=(-dict="$root/fuzz/dict/$name.dict")
fi
status=0
"$build/bin/${name}_fuzz" "${dict[@]}" -jobs=1 -workers=1 -max_total_time="$seconds" -timeout=20 \
    -rss_limit_mb=2048 -close_fd_mask=3 -print_final_stats=1 -artifact_prefix="$work/" \
    "$@" "$work/corpus" "$root/fuzz/corpus/$name" || status=$?
log="$work/fuzz-0.log"
[ -f "$log" ] || log=/dev/null
grep -E '^(==[0-9]+==ERROR|SUMMARY|artifact_prefix|Test unit written|FUZZ CHECK)' "$log" || true
grep -E '^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)' "$log" || true
if grep -qE 'Test unit written|^==[0-9]+==ERROR' "$log"; then
    echo "fuzz.sh: $name found a failing input (see $log)"
    exit 1
fi
exit "$status"
