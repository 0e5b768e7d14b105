#!/usr/bin/env bash
# Runs every fuzz target of a build for a bounded time, two at a time, each
# from a fresh copy of its seed corpus, and prints executions per second and
# in total per target. Fails when any target finds something (a crash, a
# sanitizer report, a leak, a failed model check, a time-out); the input that
# found it is kept in <build>/fuzz-runs/<target>/, with the target's log.
#
#     tests/fuzz/RunFuzzers.sh build/sanitize [seconds per target, default 60]
set -uo pipefail
build=$(cd "${1:?usage: RunFuzzers.sh <build dir> [seconds]}" && pwd)
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
runs=$build/fuzz-runs
rm -rf "$runs"
mkdir -p "$runs"

# Sizes no heap can give are refused by operator new (bad_alloc), as in the
# tests; leaks are findings.
export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1

run_one() {
    local name=$1 dir=$runs/$1
    mkdir -p "$dir/corpus"
    cp "$here/corpus/$name/"* "$dir/corpus/" 2>/dev/null
    "$build/tests/fuzz/lumcore_fuzz_$name" -max_total_time="$seconds" -timeout=20 -max_len=2048 \
        -print_final_stats=1 -artifact_prefix="$dir/" "$dir/corpus" >"$dir/log" 2>&1
    echo $? >"$dir/status"
}

targets=(flat_program text slice tree cbor json)
for ((i = 0; i < ${#targets[@]}; i += 2)); do
    run_one "${targets[i]}" &
    [ -n "${targets[i + 1]:-}" ] && run_one "${targets[i + 1]}" &
    wait
done

status=0
printf '%-14s %12s %14s %s\n' target "execs/s" "execs" result
for name in "${targets[@]}"; do
    dir=$runs/$name
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$dir/log" | tail -1)
    total=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -1)
    if [ "$(cat "$dir/status")" = 0 ]; then
        result=clean
    else
        result="FOUND SOMETHING: $(grep -m1 -E 'ERROR|model check failed|runtime error' "$dir/log")"
        status=1
    fi
    printf '%-14s %12s %14s %s\n' "$name" "${rate:-?}" "${total:-?}" "$result"
done
if [ $status != 0 ]; then
    for name in "${targets[@]}"; do
        [ "$(cat "$runs/$name/status")" = 0 ] || { echo "--- $name"; tail -60 "$runs/$name/log"; }
    done
fi
exit $status
