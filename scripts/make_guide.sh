#!/usr/bin/env bash
# Runs all that docs/guide.md and docs/python.md show, and puts the pictures that come out of it into
# docs/pictures.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

"$project/scripts/install_packages.sh" build python demo
cd "$project"
cmake --preset release
cmake --build --preset release

export PYTHONPATH=$project/build/python PYTHONDONTWRITEBYTECODE=1

folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
mkdir "$folder"/{guide,python}
"$python" scripts/run_document.py docs/guide.md --programs build --folder "$folder/guide"
"$python" scripts/run_document.py docs/python.md --programs build --folder "$folder/python" --session

# Few colours make small files, and leave the noise of the counts as it looks.
"$python" - "$folder" docs/pictures <<'END'
import pathlib
import sys

from PIL import Image

folder, pictures = map(pathlib.Path, sys.argv[1:])
for path in folder.glob("*/*.png"):
    picture = Image.open(path).convert("RGB")
    picture.thumbnail((1800, 1800), Image.Resampling.LANCZOS)
    picture = picture.quantize(64, Image.Quantize.MAXCOVERAGE)
    picture.save(pictures / f"{path.parent.name}-{path.name}", optimize=True)
END
ls -l docs/pictures
