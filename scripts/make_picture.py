"""Makes one picture of images and image sequences that vexolan wrote, in the style of
vexolan-plot."""

import argparse
import pathlib
import sys

import tifffile
from matplotlib.figure import Figure

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tools/plot"))
sys.dont_write_bytecode = True

from vexolan_plot import figure as style
from vexolan_plot.panels import COLOURS, white_level

WIDTH = 9  # inches
PAGES_PER_ROW = 5


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("picture", help="PNG file to write")
    parser.add_argument("images", nargs="+", help="TIFF files; 2-D images share the first row")
    parser.add_argument("--time-bin", type=float, default=1.0, help="seconds per page")
    options = parser.parse_args()

    all_counts = {pathlib.Path(path).stem: tifffile.imread(path) for path in options.images}
    images = [{name: counts} for name, counts in all_counts.items() if counts.ndim == 2]
    groups = [images] if images else []
    groups += [[{time_text(page, options.time_bin): counts for page, counts in enumerate(pages)}]
               for pages in all_counts.values() if pages.ndim == 3]
    style.prepare()
    draw(groups).savefig(options.picture, dpi=150)


def time_text(page, time_bin):
    return f"{1000 * page * time_bin:g} to {1000 * (page + 1) * time_bin:g} ms"


def draw(groups):
    """Groups below each other. In a group are sets of tiles beside each other; the tiles of a set
    have one scale of colours."""
    heights = [height_of(group) for group in groups]
    figure = Figure(figsize=(WIDTH, sum(heights)), layout="constrained")
    rows = figure.subfigures(len(groups), height_ratios=heights, squeeze=False)[:, 0]
    for row, group in zip(rows, groups):
        for part, tiles in zip(row.subfigures(1, len(group), squeeze=False)[0], group):
            draw_tiles(part, tiles)
    return figure


def height_of(group):
    sides = len(group) if len(group) > 1 else min(len(group[0]), PAGES_PER_ROW)
    return 0.92 * WIDTH / sides * -(-max(map(len, group)) // PAGES_PER_ROW)


def draw_tiles(part, tiles):
    columns = min(len(tiles), PAGES_PER_ROW)
    axes = part.subplots(-(-len(tiles) // columns), columns, squeeze=False).ravel()
    white, clipped = max(map(white_level, tiles.values()))
    for panel in axes:
        panel.axis("off")
    for panel, (name, counts) in zip(axes, tiles.items()):
        picture = panel.imshow(counts, vmin=0, vmax=white, cmap=COLOURS)
        panel.set_title(f"{name}: {counts.sum():,}", size=8)
    part.colorbar(picture, ax=axes.tolist(), extend="max" if clipped else "neither", pad=0.02,
                  aspect=30).set_label("events per pixel")


if __name__ == "__main__":
    main()
