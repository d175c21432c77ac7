"""Makes one PNG picture of images and image sequences that vexolan wrote."""

import argparse
import pathlib

import numpy
import tifffile
from PIL import Image, ImageDraw

PICTURE_WIDTH = 800
PAGES_PER_ROW = 5
LABEL_HEIGHT = 16
GREY_LEVELS = 32  # more would only draw the noise of the counts, in a larger file


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("picture", help="PNG file to write")
    parser.add_argument("images", nargs="+", help="TIFF files; 2-D images share the first row")
    parser.add_argument("--time-bin", type=float, default=1.0, help="seconds per page")
    options = parser.parse_args()

    images, pages = [], []
    for path in options.images:
        counts = tifffile.imread(path)
        if counts.ndim == 2:
            images.append((pathlib.Path(path).stem, counts))
        else:
            pages += [(time_label(i, options.time_bin), page) for i, page in enumerate(counts)]
    rows = [draw_row(images, len(images))] if images else []
    for first in range(0, len(pages), PAGES_PER_ROW):
        rows.append(draw_row(pages[first : first + PAGES_PER_ROW], PAGES_PER_ROW))
    stack(rows).quantize(GREY_LEVELS).save(options.picture, optimize=True)


def time_label(page, time_bin):
    return f"{1000 * page * time_bin:g} to {1000 * (page + 1) * time_bin:g} ms"


def draw_row(labelled_counts, tiles_per_row):
    """Tiles side by side, each with its label above it."""
    tile_width = PICTURE_WIDTH // tiles_per_row
    tiles = [draw_tile(label, counts, tile_width) for label, counts in labelled_counts]
    row = Image.new("L", (sum(tile.width for tile in tiles), max(tile.height for tile in tiles)))
    x = 0
    for tile in tiles:
        row.paste(tile, (x, 0))
        x += tile.width
    return row


def draw_tile(label, counts, max_width):
    """Grey from 0 to nearly the highest count of this tile; row 0 is at the top, as stored.

    The number in the label is the sum of all counts.
    """
    white = max(numpy.percentile(counts, 99.5), 1)
    grey = numpy.clip(counts * (255 / white), 0, 255).astype(numpy.uint8)
    image = Image.fromarray(grey)
    image.thumbnail((max_width, image.height), Image.Resampling.BOX)
    tile = Image.new("L", (image.width, image.height + LABEL_HEIGHT))
    tile.paste(image, (0, LABEL_HEIGHT))
    text = f"{label}: {counts.sum():,}"
    ImageDraw.Draw(tile).text((4, 2), text, fill=255)
    return tile


def stack(rows):
    picture = Image.new("L", (max(row.width for row in rows), sum(row.height for row in rows)))
    y = 0
    for row in rows:
        picture.paste(row, (0, y))
        y += row.height
    return picture


if __name__ == "__main__":
    main()
