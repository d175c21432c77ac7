#!/usr/bin/env bash
# Builds the Debian packages, looks at them with lintian, installs them into a clean Debian 12, runs
# what they bring, and removes them. Needs root and some 400 MB in $TMPDIR; takes a few minutes.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build package try_package
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
# Logs, caches and the package lists of /var are the system's own; /tmp is the trial's.
list_files() {
    in_root find / -xdev \( -path /var -o -path /tmp -o -path /proc -o -path /sys \) -prune \
        -o -print | sort
}

# All that the packages ask for, so that afterwards the root differs by the packages alone.
needed=$(for package in build-package/*.deb; do
    dpkg-deb --field "$package" Depends Recommends | sed 's/^[^:]*: //'
done | paste -sd, -)
in_root apt-get update
in_root apt-get satisfy --yes --no-install-recommends "$needed"
list_files >"$work/before"

in_root sh -c 'dpkg --install /tmp/*.deb'
programs=$(in_root dpkg --listfiles vexolan | sed -n 's,^/usr/bin/,,p')
for program in $programs; do
    in_root "$program" --version 2>&1 | grep -F "$(in_root vexolan --version 2>&1)"
    in_root man "$program" | grep -F "$program - "
done
in_root man 5 orvenevent | grep -F 'orvenevent - '
in_root sh -ec '
    cd /tmp
    vexolan-simulate -o recording -n 100k --files 2 --triggers
    vexolan -I recording -o image.tif --strict true
    vexolan -I recording -E reference -t 0.0005 -T 20 -o sequence.tif --strict true
    ls -l image.tif sequence.tif'
if grep -q vexolan-info <<<"$programs"; then
    in_root vexolan-info /tmp/recording
fi

in_root dpkg --purge vexolan liborven-dev
list_files >"$work/after"
diff "$work/before" "$work/after"
echo "The packages were built, checked, installed, run and removed; nothing of them is left."
