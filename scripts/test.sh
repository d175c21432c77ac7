#!/usr/bin/env bash
# Builds everything with warnings as errors and runs all tests.
# Arguments are passed on to ctest, e.g. -R name or --verbose. With VEXOLAN_ALL_CALLS=1 in the
# environment every call that can fail does so in turn, instead of a sample of them.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

groups=(build mpi python test)
if ((EUID == 0)); then
    groups+=(cluster)  # only root can try one
fi
"$project/scripts/install_packages.sh" "${groups[@]}"
cd "$project"
cmake --preset test
cmake --build --preset test
ctest --preset test --parallel "$(nproc)" "$@"
