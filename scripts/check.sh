#!/usr/bin/env bash
# Checks what the tests do not: that clang compiles without warnings, the format, and clang-tidy.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build test check
cd "$project"
cmake --preset clang
cmake --build --preset clang
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
git ls-files 'src/*.cpp' 'tools/*.cpp' |
    xargs -P "$(nproc)" -n 1 clang-tidy -p build-clang --quiet
