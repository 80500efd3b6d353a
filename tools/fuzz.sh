#!/usr/bin/env bash
# A timed fuzzing campaign: builds the harnesses of fuzz/ with clang, libFuzzer,
# AddressSanitizer and UndefinedBehaviorSanitizer in build-fuzz/, then runs
# each for the given time, two at a time, starting from its committed corpus.
#   tools/fuzz.sh [seconds per harness, default 600] [harness...]
# New inputs go to build-fuzz/work/<harness>/corpus (the committed corpus is
# never written); a crash, leak, timeout or out-of-memory input is kept as
# build-fuzz/work/<harness>/<kind>-<hash>, and the summary prints how to
# replay it.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

seconds=${1:-600}
shift || true
harnesses=("$@")
[ ${#harnesses[@]} -gt 0 ] || harnesses=(fuzz_pkr fuzz_pkr_json fuzz_scene_data fuzz_clipboard fuzz_directives)
case "$seconds" in ''|*[!0-9]*) echo "error: seconds must be a number, got '$seconds'" >&2; exit 2 ;; esac

EXTRA_PACKAGES="clang ccache" PACKAGES_ONLY=1 source tools/setup.sh

build=build-fuzz
echo "== Configuring $build (clang, libFuzzer, ASan, UBSan)"
gen=()
[ -f "$build/CMakeCache.txt" ] || gen=(-G Ninja)
cmake -S . -B "$build" "${gen[@]}" -DQUILL_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >"$build.configure.log" 2>&1 || {
    cat "$build.configure.log"; echo "error: configuring $build failed" >&2; exit 1; }
echo "== Building ${harnesses[*]} (log: $build.build.log)"
cmake --build "$build" -j "$(nproc)" --target "${harnesses[@]}" >"$build.build.log" 2>&1 || {
    tail -n 60 "$build.build.log"; echo "error: building the harnesses failed" >&2; exit 1; }

work=$root/$build/work
export QT_QPA_PLATFORM=offscreen
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:symbolize=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tools/lsan_suppressions.txt:print_suppressions=0"

run_one() {
    local name=$1 dir=$work/$1
    mkdir -p "$dir/corpus" "$dir/tmp"
    # The harness keeps its scratch folder under TMPDIR; a crash leaves it here.
    TMPDIR="$dir/tmp" "$root/$build/fuzz/$name" "$dir/corpus" "$root/fuzz/corpus/$name" \
        -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -max_len=65536 \
        -print_final_stats=1 -artifact_prefix="$dir/" >"$dir/log.txt" 2>&1 || true
}

echo "== Fuzzing ${#harnesses[@]} harnesses for ${seconds}s each, two at a time (logs: $build/work/<harness>/log.txt)"
running=0
for name in "${harnesses[@]}"; do
    rm -f "$work/$name"/{crash,leak,timeout,oom,slow-unit}-* 2>/dev/null || true
    run_one "$name" &
    running=$((running + 1))
    if [ $running -ge 2 ]; then wait -n; running=$((running - 1)); fi
done
wait

echo "== Results"
status=0
for name in "${harnesses[@]}"; do
    dir=$work/$name
    execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$dir/log.txt" | grep -o '[0-9]*$' || true)
    cov=$(grep -o 'cov: [0-9]*' "$dir/log.txt" | tail -n 1 || true)
    found=$(ls "$dir" | grep -E '^(crash|leak|timeout|oom)-' || true)
    printf '%-18s executions %-10s %s, corpus %s inputs\n' "$name" "${execs:-?}" "${cov:-cov: ?}" \
        "$(ls "$dir/corpus" | wc -l)"
    if [ -n "$found" ]; then
        status=1
        for f in $found; do
            echo "    finding: $dir/$f"
            echo "    replay:  $build/fuzz/$name $dir/$f"
        done
        grep -m 1 -E 'ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error:' "$dir/log.txt" | sed 's/^/    /' || true
        grep -m 6 -E '^ +#[0-9]+ ' "$dir/log.txt" | sed 's/^/    /' || true
    fi
done
[ $status = 0 ] && echo "== No findings" || echo "== Findings above (full reports in the logs)"
exit $status
