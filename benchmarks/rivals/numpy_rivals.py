"""Images over all time in numpy: `bincount` by those who know, `histogram2d` by most people.

Arguments: the way, the pixels along either axis, the bounds of photon count and PSD value, the
output, the input files.
"""

import sys

import numpy

EVENT = numpy.dtype(
    [("x", "<i4"), ("y", "<i4"), ("time", "<i8"), ("photons", "<u8"), ("psd", "<f8")]
)
BLOCK = numpy.dtype([("name", "S8"), ("size", "<u8")])
START_BYTES = 48


def read_events(path):
    """The events of a file: of its blocks after the start, the one of that name."""
    position = START_BYTES
    while True:
        name, size = numpy.fromfile(path, BLOCK, 1, offset=position)[0]
        position += BLOCK.itemsize
        if name == b"events":
            return numpy.fromfile(path, EVENT, int(size) // EVENT.itemsize, offset=position)
        position += int(size)


def image_by_bincount(events, keep, size):
    width = 256 * 65536 // size
    column = events["x"][keep] // width
    row = events["y"][keep] // width
    return numpy.bincount(row * size + column, minlength=size * size).reshape(size, size)


def image_by_histogram2d(events, keep, size):
    kept = events[keep]
    span = [[0, 256 * 65536], [0, 256 * 65536]]
    return numpy.histogram2d(kept["y"], kept["x"], bins=size, range=span)[0]


WAYS = {"bincount": image_by_bincount, "histogram2d": image_by_histogram2d}


def main():
    way, size, photons_min, photons_max, psd_min, psd_max, output, *files = sys.argv[1:]
    size = int(size)
    image = numpy.zeros((size, size))
    for path in files:
        events = read_events(path)
        keep = (
            (events["photons"] >= int(photons_min))
            & (events["photons"] <= int(photons_max))
            & (events["psd"] >= float(psd_min))
            & (events["psd"] <= float(psd_max))
        )
        image += WAYS[way](events, keep, size)
    image.astype("<u4").tofile(output)


if __name__ == "__main__":
    main()
