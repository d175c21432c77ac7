#!/usr/bin/env bash
# Builds vexolan, simulates a recording and makes images and pictures of it, all in demo/.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

run() {
    echo "> $*"
    "$@"
}

"$project/scripts/install_packages.sh" build demo
cd "$project"
cmake --preset release
cmake --build --preset release

rm -rf demo
run build/vexolan-simulate -o demo/recording -n 6M --files 4 --triggers
run build/vexolan-plot -o demo/recording.png demo/recording
run build/vexolan -I demo/recording -o demo/image.tif
run build/vexolan -I demo/recording -m 6 -p 0.4 -o demo/signal.tif
run build/vexolan -I demo/recording -M 5 -P 0.4 -o demo/background.tif
run build/vexolan -I demo/recording -E reference -t 0.001 -T 10 -x 256 --upright true \
    -o demo/sequence.tif

for name in image signal background sequence; do
    "$python" scripts/make_picture.py "demo/$name.png" "demo/$name.tif" --time-bin 0.001
done
"$python" scripts/make_picture.py demo/overview.png --time-bin 0.001 \
    demo/{image,signal,background,sequence}.tif

echo
echo "The recording, its images (.tif) and pictures of them (.png):"
find "$project/demo" -type f | sort
