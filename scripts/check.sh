#!/usr/bin/env bash
# Checks what the tests do not: that everything compiles by clang without warnings, benchmarks
# included, the format, and clang-tidy.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build test check benchmark
cd "$project"
cmake --preset clang -DVEXOLAN_BENCHMARKS=ON
cmake --build --preset clang
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
# Findings are errors; the count of warnings that were switched off says nothing.
git ls-files '*.cpp' |
    xargs -P "$(nproc)" -n 1 clang-tidy -p build-clang --quiet 2> >(grep -v 'warnings\? generated' >&2)
