#!/usr/bin/env bash
# Fault injection on the host with the fake plug-ins (POSIX, no root needed):
# links planted at output names, kill -9 during a collection, a file-size
# limit standing in for a full disk, two hosts on one output, FIFOs, folders
# and devices as input and configuration, a damaged length under a memory
# limit, names taken by folders, -l naming an input or output.
#
#   run_faults.sh FAKEHOST_DIR DATA_DIR WORK_DIR SANITIZED
#
# Each case checks the exact line(s) on standard error and the exit status,
# and that no file outside the output was touched.
set -u
fakehost=$1
data=$2
work=$3
sanitized=$4
vantry="$fakehost/vantry"

rm -rf "$work"
mkdir -p "$work"
cd "$work" || exit 1
cp -r "$data/tree" .

failures=0
fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# run NAME EXPECTED_STATUS EXPECTED_STDERR ARGS...: one run, its status and
# its whole standard error compared.
run() {
    local name=$1 status=$2 expected=$3
    shift 3
    timeout 60 "$vantry" "$@" >"$name.out" 2>"$name.err"
    local rc=$?
    local got
    got=$(cat "$name.err")
    if [ "$rc" -ne "$status" ]; then
        fail "$name: exit status $rc, expected $status; stderr: $got"
    elif [ "$got" != "$expected" ]; then
        fail "$name: stderr
  got:      $got
  expected: $expected"
    fi
}

victim_text="not yours to overwrite"
make_victim() {
    mkdir -p outside
    printf '%s' "$victim_text" >outside/victim
}
check_victim() {
    if [ "$(cat outside/victim)" != "$victim_text" ]; then
        fail "$1: a file outside the output was overwritten"
    fi
}

sim=(--source-root tree --simulate -f ticks -n 250)

# --- 1. Links at the output's names -----------------------------------------
make_victim
for name in linked.vtr linked.txt linked.list; do
    rm -f linked.*
    ln -s outside/victim "$name"
    run "link-$name" 1 "ERROR: cannot write \"$name\": it is a symbolic link" \
        "${sim[@]}" -t 1 -o linked -r sum,list
    check_victim "link at $name"
    [ -L "$name" ] || fail "link at $name: the link was removed"
    ls linked.vtr.*.partial >/dev/null 2>&1 && fail "link at $name: a collection was started"
done
rm -f linked.*
ln -s outside/victim linked.lock
run link-lock 1 "ERROR: cannot create linked.lock: is a symbolic link" "${sim[@]}" -t 1 -o linked
check_victim "link at linked.lock"
rm -f linked.*
ln -s outside/victim run.log
run link-log 2 "ERROR: cannot create the log file \"run.log\": is a symbolic link" \
    "${sim[@]}" -t 1 -o linked -l run.log
check_victim "link at the log"
rm -f run.log
# The names earlier releases used for their temporary files are not used.
for name in linked.vtr.samples.tmp linked.vtr.tmp linked.txt.tmp linked.list.tmp; do
    ln -s outside/victim "$name"
done
run link-old-temporaries 0 "" "${sim[@]}" -t 1 -o linked -r sum,list
check_victim "links at the old temporary names"
[ -f linked.vtr ] && [ -f linked.txt ] && [ -f linked.list ] || fail "old temporaries: outputs missing"
rm -f linked.*

# --- 2. kill -9 two seconds into a collection --------------------------------
"$vantry" --source-root tree -f ticks -n 100 -o killed >killed.out 2>&1 &
pid=$!
sleep 2
kill -9 "$pid"
wait "$pid" 2>/dev/null
partial=$(ls killed.vtr.*.partial 2>/dev/null | head -n 1)
if [ -z "$partial" ]; then
    fail "kill -9: no unfinished collection left"
else
    timeout 60 "$vantry" -i "$partial" -r sum >recovered.out 2>recovered.err
    rc=$?
    err=$(cat recovered.err)
    seconds=$(printf '%s' "$err" |
        sed -n "s/^WARNING: $partial: recovered \([0-9.]*\) s of a collection that did not finish$/\1/p")
    if [ "$rc" -ne 0 ] || [ -z "$seconds" ]; then
        fail "kill -9: -i $partial: status $rc, stderr: $err"
    elif ! awk -v s="$seconds" 'BEGIN { exit !(s >= 1.0) }'; then
        fail "kill -9: only $seconds s recovered"
    fi
    [ -f killed.txt ] || fail "kill -9: no report from the unfinished collection"
    # Asked for by its output name, it is pointed to.
    run killed-by-name 1 "ERROR: cannot read the collection \"killed.vtr\": No such file or directory; $partial holds one that did not finish (vantry -i $partial reads it)" \
        -i killed
    grep -q "^  FAKE_COUNT: [1-9][0-9]* records" killed.txt ||
        fail "kill -9: the report holds no readings"
fi

# --- 3. A file-size limit standing in for a full disk ------------------------
# During the collection: 4 KiB hold the head and some polls, not 250 s of them.
(
    ulimit -f 4
    exec timeout 60 "$vantry" "${sim[@]}" -t 250 -o limited >limited.out 2>limited.err
)
rc=$?
partial=$(ls limited.vtr.*.partial 2>/dev/null | head -n 1)
err=$(cat limited.err)
if [ "$rc" -ne 1 ] || [ -z "$partial" ] ||
    ! printf '%s' "$err" | grep -Eq "^ERROR: cannot write $partial: File too large; the collection stopped after [0-9.]+ s and what was written is kept \(vantry -i $partial reads it\)$" ||
    [ "$(printf '%s\n' "$err" | wc -l)" -ne 1 ]; then
    fail "file-size limit while collecting: status $rc, stderr: $err"
fi
[ -e limited.vtr ] && fail "file-size limit: an incomplete file got the final name"
if [ -n "$partial" ]; then
    timeout 60 "$vantry" -i "$partial" -o limited-again -r list >/dev/null 2>limited-again.err
    rc=$?
    grep -Eq "^WARNING: $partial: recovered [0-9.]+ s of a collection that did not finish$" \
        limited-again.err && [ "$rc" -eq 0 ] ||
        fail "file-size limit: the kept part does not read back: $rc $(cat limited-again.err)"
fi
# While writing the reports: the collection fits, its 1.4 kB report does not.
run reports-first 0 "" "${sim[@]}" -t 1 -o smallreport --no-post-processing
(
    ulimit -f 1
    exec timeout 60 "$vantry" -i smallreport -r sum >small.out 2>small.err
)
rc=$?
[ "$rc" -eq 1 ] && [ "$(cat small.err)" = "ERROR: Cannot write result file smallreport.txt: File too large" ] ||
    fail "file-size limit while reporting: status $rc, stderr: $(cat small.err)"
[ -e smallreport.txt ] && fail "file-size limit while reporting: a cut report got its name"
ls smallreport.txt.*.tmp >/dev/null 2>&1 && fail "file-size limit while reporting: temporary left"

# The output folder removed during the collection: noticed at the next sync
# (within a second), not at the planned end.
mkdir gone
"$vantry" --source-root tree -f ticks -n 100 -t 30 -o gone/run >gone.out 2>gone.err &
pid=$!
sleep 1.5
rm -rf gone
start=$(date +%s)
wait "$pid"
rc=$?
took=$(($(date +%s) - start))
grep -Eq "^ERROR: cannot write gone/run\.vtr\.[0-9a-f]{16}\.partial: the file was removed \(or its folder\); the collection stopped after [0-9.]+ s$" gone.err &&
    [ "$rc" -eq 1 ] && [ "$took" -le 5 ] ||
    fail "folder removed while collecting: status $rc after $took s: $(cat gone.err)"

# --- 4. Two hosts on one output ----------------------------------------------
timeout 60 "$vantry" --source-root tree -f ticks -n 100 -t 3 -o shared -r list \
    >first.out 2>first.err &
first=$!
sleep 1
run second 1 "ERROR: another vantry is writing shared; wait for it to end or choose another -o" \
    --source-root tree --simulate -f ticks -t 1 -o shared -r list
wait "$first"
rc=$?
[ "$rc" -eq 0 ] && [ ! -s first.err ] || fail "two hosts: the first ended with $rc: $(cat first.err)"
run first-reads-back 0 "" -i shared -o shared-again -r list
[ -e shared.lock ] && fail "two hosts: the lock file was left behind"

# --- 5. FIFOs, folders and devices as input and as configuration ------------
mkfifo fifo.vtr
mkdir folder.vtr
run fifo-input 1 "ERROR: cannot read the collection \"fifo.vtr\": is not a regular file" -i fifo.vtr
run folder-input 1 "ERROR: cannot read the collection \"folder.vtr\": is a folder" -i folder.vtr
run zero-input 1 "ERROR: cannot read the collection \"/dev/zero\": is not a regular file" \
    -i /dev/zero -o zero
mkdir -p hosts
for kind in fifo folder zero; do
    dir="hosts/$kind"
    mkdir -p "$dir"
    cp "$vantry" "$dir/"
    cp -r "$fakehost/plugins" "$fakehost/config" "$dir/"
    platform=$(ls "$dir/config" | grep -v output | head -n 1)
    rm -f "$dir/config/$platform"
    case $kind in
        fifo) mkfifo "$dir/config/$platform"; why="is not a regular file" ;;
        folder) mkdir "$dir/config/$platform"; why="is a folder" ;;
        zero) ln -s /dev/zero "$dir/config/$platform"; why="is not a regular file" ;;
    esac
    timeout 60 "$dir/vantry" "${sim[@]}" -t 1 -o "config-$kind" >cfg.out 2>cfg.err
    rc=$?
    expected="ERROR: cannot read the configuration file \"$PWD/$dir/config/$platform\": $why"
    [ "$rc" -eq 1 ] && [ "$(cat cfg.err)" = "$expected" ] ||
        fail "$kind as configuration: status $rc, stderr: $(cat cfg.err)"
done

# --- 6. A length field that claims 4 GiB, read under a 512 MiB limit --------
run damaged-source 0 "" "${sim[@]}" -t 1 -o big --no-post-processing
# The first SAMPLES frame follows the head frame: 8 bytes of prefix, then
# kind (1 byte), length (4 bytes), body, CRC (4 bytes).
head_length=$(od -An -tu4 -j9 -N4 big.vtr | tr -d ' ')
samples_at=$((8 + 5 + head_length + 4))
printf '\xf0\xff\xff\xff' | dd of=big.vtr bs=1 seek=$((samples_at + 1)) conv=notrunc 2>/dev/null
limit() {
    if [ "$sanitized" = "ON" ]; then
        # The sanitizer reserves terabytes of address space; it stops any
        # single allocation above the limit instead.
        ASAN_OPTIONS="${ASAN_OPTIONS:-}:max_allocation_size_mb=512:allocator_may_return_null=0" "$@"
    else
        (ulimit -v 524288 && exec "$@")
    fi
}
limit timeout 60 "$vantry" -i big -o big-again -r list >big.out 2>big.err
rc=$?
[ "$rc" -eq 0 ] && [ "$(cat big.err)" = "WARNING: big.vtr: the file is damaged at byte $samples_at; recovered 0.0 s of the collection" ] ||
    fail "4 GiB length: status $rc, stderr: $(cat big.err)"
# The same in the head: nothing to report from.
printf '\xf0\xff\xff\xff' | dd of=big.vtr bs=1 seek=9 conv=notrunc 2>/dev/null
limit timeout 60 "$vantry" -i big -o big-again -r list >big.out 2>big.err
rc=$?
[ "$rc" -eq 1 ] && [ "$(cat big.err)" = "ERROR: cannot read the collection \"big.vtr\": the metadata is damaged" ] ||
    fail "4 GiB head length: status $rc, stderr: $(cat big.err)"
# The first release's format: a record length of 4 GiB.
cp "$data/release1.vtr" old.vtr
old_head=$(od -An -tu4 -j8 -N4 old.vtr | tr -d ' ')
printf '\xf0\xff\xff\xff' | dd of=old.vtr bs=1 seek=$((12 + old_head)) conv=notrunc 2>/dev/null
limit timeout 60 "$vantry" -i old -o old-again -r list >old.out 2>old.err
rc=$?
[ "$rc" -eq 0 ] && [ "$(cat old.err)" = "WARNING: old.vtr: the file is cut at byte $((12 + old_head)); it holds 0.0 s of a 1.0 s collection" ] ||
    fail "4 GiB record length (first format): status $rc, stderr: $(cat old.err)"
# A head cut inside the system record: one line, not the reader's warnings
# beside it.
cp "$data/release1.vtr" cut.vtr
printf '\x40\x00\x00\x00' | dd of=cut.vtr bs=1 seek=8 conv=notrunc 2>/dev/null
run cut-head 1 "ERROR: cannot read the collection \"cut.vtr\": metadata record 1 cannot be read" -i cut

# --- 7. -l naming the -i file or an output -----------------------------------
run logged-source 0 "" "${sim[@]}" -t 1 -o logged --no-post-processing
cp logged.vtr logged.copy
run log-is-input 2 "ERROR: -l names the collection that -i reads (\"logged.vtr\"); give the log another name" \
    -i logged -l logged.vtr
cmp -s logged.vtr logged.copy || fail "-l naming the input changed it"
run log-is-output 2 "ERROR: -l names the output \"logged.txt\"; give the log another name" \
    -i logged -l logged.txt

# --- 8. Names taken by folders -----------------------------------------------
mkdir taken.vtr
run result-folder 1 "ERROR: cannot write \"taken.vtr\": it is a folder" "${sim[@]}" -t 100 -o taken
ls taken.vtr.*.partial >/dev/null 2>&1 && fail "a result name taken by a folder: collection started"
rmdir taken.vtr
mkdir taken.txt
run report-folder 1 "ERROR: cannot write \"taken.txt\": it is a folder" "${sim[@]}" -t 1 -o taken
[ -d taken.txt ] || fail "an empty folder under a report's name was removed"

# --- 9. Output folders that cannot take the files ----------------------------
run missing-folder 1 "ERROR: cannot write the output \"nowhere/out\": nowhere: No such file or directory" \
    "${sim[@]}" -t 1 -o nowhere/out
if [ "$(id -u)" -ne 0 ]; then
    mkdir locked && chmod 555 locked
    run read-only-folder 1 "ERROR: cannot write the output \"locked/out\": locked: Permission denied" \
        "${sim[@]}" -t 1 -o locked/out
    chmod 755 locked
fi

# --- 10. A broken output configuration costs nothing collected ---------------
dir=hosts/badoutput
mkdir -p "$dir"
cp "$vantry" "$dir/"
cp -r "$fakehost/plugins" "$fakehost/config" "$dir/"
output=$(ls "$dir/config" | grep output | head -n 1)
echo "THIS_IS_NOT_A_VALID_LINE" >>"$dir/config/$output"
timeout 60 "$dir/vantry" "${sim[@]}" -t 100 -o badoutput >bad.out 2>bad.err
rc=$?
[ "$rc" -eq 1 ] && tail -n 1 bad.err | grep -q "^ERROR: the output configuration in \".*config\" is invalid$" ||
    fail "broken output configuration: status $rc, stderr: $(cat bad.err)"
ls badoutput.vtr* >/dev/null 2>&1 && fail "broken output configuration: a collection was made"

# An empty (or cut) platform configuration is named as such.
dir=hosts/emptyplatform
mkdir -p "$dir"
cp "$vantry" "$dir/"
cp -r "$fakehost/plugins" "$fakehost/config" "$dir/"
platform=$(ls "$dir/config" | grep -v output | head -n 1)
: >"$dir/config/$platform"
timeout 60 "$dir/vantry" "${sim[@]}" -t 1 -o emptyplatform >empty.out 2>empty.err
rc=$?
[ "$rc" -eq 1 ] && [ "$(cat empty.err)" = "ERROR: the platform configuration in \"$PWD/$dir/config\" declares no feature; a configuration file there may be empty or cut short" ] ||
    fail "empty platform configuration: status $rc, stderr: $(cat empty.err)"

if [ "$failures" -ne 0 ]; then
    echo "$failures fault case(s) failed"
    exit 1
fi
echo "all fault cases passed"
