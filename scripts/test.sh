#!/usr/bin/env bash
# The full test run: what CI calls and what the README tells you to type.
#
#   1. installs what the build needs (scripts/setup.sh);
#   2. builds and runs every test on Linux with AddressSanitizer and
#      UndefinedBehaviorSanitizer (preset linux-asan);
#   3. builds and runs the threaded tests under ThreadSanitizer (linux-tsan);
#   4. cross-builds for Windows and runs every test under Wine (windows);
#   In 2 to 4 the fuzz targets' corpora (fuzz/corpus) are replayed too, one
#   ctest entry per target (label "fuzz"), each input counting as one case;
#   5. checks the formatting of all C++ sources against .clang-format.
#
# It ends with one line "N passed, N failed" (GoogleTest cases plus the other
# checks) and exits non-zero on any failure.
set -u
cd "$(dirname "$0")/.."
root=$(pwd)

passed=0
failed=0
pass() { passed=$((passed + $1)); }
fail() { failed=$((failed + $1)); echo "FAILED: $2"; }

if ! bash scripts/setup.sh; then
    echo "setup failed"
    echo "0 passed, 1 failed"
    exit 1
fi

jobs=$(nproc 2>/dev/null || echo 2)

# Reads one GoogleTest XML report: prints "tests failures".
gtest_counts() {
    local head
    head=$(grep -m1 '<testsuites ' "$1")
    local tests failures errors
    tests=$(echo "$head" | sed -n 's/.* tests="\([0-9]*\)".*/\1/p')
    failures=$(echo "$head" | sed -n 's/.* failures="\([0-9]*\)".*/\1/p')
    errors=$(echo "$head" | sed -n 's/.* errors="\([0-9]*\)".*/\1/p')
    echo "${tests:-0} $(( ${failures:-0} + ${errors:-0} ))"
}

run_preset() {
    local preset=$1
    local dir="$root/build/$preset"
    echo "== $preset"
    # Benchmarks are built (not run) in every configuration, so they always compile.
    if ! cmake --preset "$preset" -DVANTRY_BUILD_BENCH=ON >"$root/build/$preset.configure.log" 2>&1; then
        cat "$root/build/$preset.configure.log"
        fail 1 "$preset: configure"
        return
    fi
    if ! cmake --build --preset "$preset" -j "$jobs" >"$root/build/$preset.build.log" 2>&1; then
        grep -E -B2 -A12 'error|FAILED' "$root/build/$preset.build.log" | head -n 80
        fail 1 "$preset: build"
        return
    fi
    rm -rf "$dir/test-results" "$dir/junit.xml"
    if [ "$preset" = windows ]; then
        # Create the Wine prefix once, before parallel tests race to do it.
        sh cmake/wine-emulator.sh cmd.exe /c exit 0 >/dev/null 2>&1
    fi
    ctest --preset "$preset" -j "$jobs" --output-junit "$dir/junit.xml"

    # One junit entry per ctest test. A GoogleTest program counts its cases;
    # a program that failed beyond its cases (crash, sanitizer report at exit)
    # counts one failure more. Other checks count one each.
    [ -f "$dir/junit.xml" ] || { fail 1 "$preset: no ctest report"; return; }
    while read -r name status; do
        local xml="$dir/test-results/$name.xml"
        if [ -f "$xml" ]; then
            read -r t f < <(gtest_counts "$xml")
            pass $((t - f))
            [ "$f" -gt 0 ] && fail "$f" "$preset: $name ($f cases)"
            if [ "$status" != "run" ] && [ "$f" -eq 0 ]; then
                fail 1 "$preset: $name (exit status)"
            fi
        elif [ "$status" = "run" ]; then
            pass 1
        else
            fail 1 "$preset: $name"
        fi
    done < <(sed -n 's/.*<testcase name="\([^"]*\)".*status="\([a-z]*\)".*/\1 \2/p' "$dir/junit.xml")
}

mkdir -p build
run_preset linux-asan
if [ -n "$(find tests -name '*ThreadedTest.cpp' -print -quit 2>/dev/null)" ]; then
    run_preset linux-tsan
fi
run_preset windows

echo "== format"
mapfile -t sources < <(git ls-files --cached --others --exclude-standard -- \
    '*.h' '*.cpp' | grep -v '^build/')
unformatted=()
for f in "${sources[@]}"; do
    [ -f "$f" ] || continue
    clang-format --dry-run --Werror "$f" >/dev/null 2>&1 || unformatted+=("$f")
done
if [ ${#unformatted[@]} -eq 0 ]; then
    pass 1
else
    printf '  not formatted: %s\n' "${unformatted[@]}"
    fail 1 "format"
fi

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
