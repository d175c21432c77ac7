#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian, installs them into a clean Debian 12, runs
# what they bring, and removes them. Needs root, a Debian mirror, and 2 GB in $TMPDIR.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build mpi python package try_package
cd "$project"
rm -f build-package/*.deb
cmake --workflow --preset package
lintian --fail-on error,warning --allow-root build-package/*.deb

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
mmdebstrap --variant=apt --include=man-db bookworm "$root"
cp build-package/*.deb "$root/tmp"

in_root() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@"
}
# Without what is the system's own or the trial's: logs, caches and package lists.
list_files() {
    in_root find / -xdev \( -path /var -o -path /tmp -o -path /proc -o -path /sys \) -prune \
        -o -print | sort
}

# What the packages need comes first: then they alone make the difference to the root.
needed=$(for package in build-package/*.deb; do dpkg-deb --field "$package" Depends; done |
    grep . | paste --serial --delimiters ,)
in_root apt-get update
in_root apt-get satisfy --yes --no-install-recommends "$needed"
list_files >"$work/before"
in_root sh -c 'dpkg --install /tmp/*.deb'

for program in vexolan vexolan-info vexolan-mpi vexolan-plot vexolan-simulate; do
    in_root "$program" --version
    in_root man "$program" | grep -F "$program - "
done
in_root man 5 orvenevent | grep -F 'orvenevent - '
in_root sh -ec '
    cd /tmp
    vexolan-simulate -o recording -n 100k --files 2 --triggers
    vexolan-info recording
    vexolan -I recording -o image.tif --strict true
    vexolan -I recording -E reference -t 0.0005 -T 20 -o sequence.tif --strict true
    test -s image.tif -a -s sequence.tif
    export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
    mpirun -n 2 --oversubscribe --bind-to none vexolan-mpi -I recording -o image-mpi.tif
    cmp image.tif image-mpi.tif
    python3 -c "import vexolan
vexolan.open(\"recording\").image().save(\"image-python.tif\")"
    cmp image.tif image-python.tif'
if in_root vexolan-plot /tmp/recording -o /tmp/recording.png 2>"$work/message"; then
    echo 'vexolan-plot needs no matplotlib?' >&2
    exit 1
fi
grep python3-matplotlib "$work/message"

in_root dpkg --purge vexolan vexolan-mpi python3-vexolan liborven-dev
list_files >"$work/after"
diff "$work/before" "$work/after"

# As users install it, and with what is recommended.
in_root sh -ec '
    apt-get install --yes --no-install-recommends python3-matplotlib /tmp/vexolan_*.deb
    vexolan-plot /tmp/recording -o /tmp/recording.png
    test -s /tmp/recording.png'
echo 'The packages were built, checked, installed, run and removed; nothing of them was left.'
