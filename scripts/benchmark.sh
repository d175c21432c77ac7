#!/usr/bin/env bash
# Compares vexolan with other ways to do the same work, and prints tables of the results.
# Arguments are passed on: --help lists them; --quick takes a tenth of the time.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build python benchmark >&2
cd "$project"
build=build-benchmarks
{
    cmake --preset release -B "$build" -DVEXOLAN_BENCHMARKS=ON
    cmake --build "$build"
} >&2
"$python" benchmarks/compare.py --build "$build" "$@"
