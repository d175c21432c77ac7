#!/usr/bin/env bash
# Checks what the tests do not: that clang compiles everything without warnings, the format, and
# clang-tidy. With the warnings, clang-tidy shows those of clang for all sources, so that only the
# programs are built besides.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build mpi python test benchmark check
cd "$project"
cmake --preset clang -DVEXOLAN_BENCHMARKS=ON
cmake --build --preset clang --target vexolan vexolan-info vexolan-simulate
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
# clang-tidy counts what it finds in the headers of others, and prints nothing else of it.
git ls-files '*.cpp' ':!tests/consumer' | # which includes what is installed
    xargs -P "$(nproc)" -n 1 clang-tidy -p build-clang --quiet 2>&1 |
    sed -E '/^[0-9]+ (warning|error)s? .*(generated|treated as errors?)\.?$/d'
