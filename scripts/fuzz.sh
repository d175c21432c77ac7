#!/usr/bin/env bash
# Runs all fuzzers in turn, SECONDS in all, and says what each has done.
# Usage: fuzz.sh SECONDS [fuzzer...]; inputs that led on stay in build-fuzz/corpus for the next time.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

seconds=${1:?usage: fuzz.sh SECONDS [fuzzer...]}
shift
fuzzers=("$@")
if ((${#fuzzers[@]} == 0)); then
    fuzzers=(event_reader settings_file differential)
fi
each=$((seconds / ${#fuzzers[@]}))

"$project/scripts/install_packages.sh" build test fuzz
build=$project/build-fuzz
cmake -S "$project" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEXOLAN_FUZZERS=ON \
    -DVEXOLAN_SANITIZERS=address,undefined -DVEXOLAN_WARNINGS_AS_ERRORS=ON
cmake --build "$build" --target fuzz/all
"$python" -B "$project/fuzz/make_corpus.py" "$build/corpus"

count_files() {
    find "$1" -type f | wc -l
}

declare -i found=0
report=()
for fuzzer in "${fuzzers[@]}"; do
    corpus=$build/corpus/$fuzzer
    findings=$build/findings/$fuzzer
    log=$build/$fuzzer.log
    mkdir -p "$findings"
    before=$(count_files "$findings")
    options=(-max_total_time="$each" -timeout=20 -rss_limit_mb=4096 -max_len=4096
        -use_value_profile=1 -print_final_stats=1 -artifact_prefix="$findings/"
        -dict="$corpus.dict"
        -close_fd_mask=3) # what the program writes for users is of no interest here
    echo "Fuzzing $fuzzer for $each s, log in $log"
    "$build/fuzz/fuzz_$fuzzer" "$corpus" "${options[@]}" >"$log" 2>&1 || true
    if ! grep -q number_of_executed_units "$log"; then
        cat "$log" >&2
        exit 1
    fi
    new=$(($(count_files "$findings") - before))
    found+=new
    report+=("$(awk -v name="$fuzzer" -v new="$new" '
        $2 == "INITED" { start = $4 }
        $3 == "cov:" { last = $4 }
        /number_of_executed_units/ { executed = $2 }
        END { printf "%-14s %12d %9d %+9d %9d", name, executed, last, last - start, new }' "$log")")
done

echo
printf '%-14s %12s %9s %9s %9s\n' fuzzer executions coverage new findings
printf '%s\n' "${report[@]}"
((found == 0)) || echo "Replay a finding: $build/fuzz/fuzz_NAME FILE" >&2
exit $((found > 0))
