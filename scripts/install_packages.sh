#!/usr/bin/env bash
# Installs the Debian packages of the given groups that are not installed yet.
# Usage: install_packages.sh GROUP..., with the groups below
set -euo pipefail

declare -A packages_of=(
    [build]="g++ cmake ninja-build libtiff-dev rapidjson-dev libdivide-dev libhwy-dev libcli11-dev"
    [mpi]="libopenmpi-dev openmpi-bin"
    [python]="pybind11-dev python3-dev python3-numpy"
    [demo]="python3 python3-matplotlib python3-numpy python3-pil python3-tifffile"
    [test]="libgtest-dev libtiff-tools pkg-config python3 python3-matplotlib python3-numpy
        python3-pytest python3-tifffile"
    [cluster]="munge slurm-client slurmctld slurmd"
    [check]="clang clang-format clang-tidy"
    [benchmark]="libbenchmark-dev libboost1.81-dev python3 python3-numpy python3-tifffile"
    [fuzz]="clang libclang-rt-14-dev llvm python3"
    [package]="dpkg-dev go-md2man"
    [try_package]="lintian mmdebstrap"
)

is_installed() {
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

missing=()
for group in "$@"; do
    for package in ${packages_of[$group]}; do
        is_installed "$package" || missing+=("$package")
    done
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

if ((EUID == 0)); then
    as_root=(env)
elif command -v sudo >/dev/null; then
    as_root=(sudo env)
else
    echo "Please install these packages as root, then try again: ${missing[*]}" >&2
    exit 1
fi
echo "Installing: ${missing[*]}"
as_root+=(DEBIAN_FRONTEND=noninteractive)
"${as_root[@]}" apt-get update
"${as_root[@]}" apt-get install --yes --no-install-recommends "${missing[@]}"
