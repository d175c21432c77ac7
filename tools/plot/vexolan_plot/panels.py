"""The panels of the picture."""

import math

import numpy
from matplotlib import colormaps
from matplotlib.colors import LogNorm
from matplotlib.ticker import MaxNLocator

from vexolan_plot import histogram
from vexolan_plot.histogram import Histogram
from vexolan_plot.quantities import duration_text, power_of_thousand, time_unit, width_text

FILL, LINE, GREY, FRAME = "#a9c1dd", "#2b4c7e", "#666666", "#ff5a36"
COLOURS = "viridis"
FEW = 100  # events of a panel: fewer are drawn one by one
NARROWEST, LARGEST = 1e-280, 1e305  # the panel and the values for which matplotlib finds ticks


def draw_image(axes, image, frame):
    counts = numpy.asarray(image["counts"])
    block = 1
    if 0 < counts.sum() < FEW:
        rows, columns = counts.nonzero()
        largest, clipped = counts.max(), False
        axes.set(xlim=(0, image["columns"]), ylim=(image["rows"], 0), aspect="equal",
                 facecolor=colormaps[COLOURS](0))
        picture = axes.scatter(columns + 0.5, rows + 0.5, 12, counts[rows, columns], vmin=0,
                               vmax=largest, cmap=COLOURS)
    else:
        block = block_to_show(counts)
        shown = joined_pixels(counts, block)
        largest, (white, clipped) = shown.max(), white_level(shown)
        picture = axes.imshow(shown, vmin=0, vmax=white, cmap=COLOURS, interpolation="nearest",
                              extent=(0, image["columns"], image["rows"], 0))
    axes.spines[:].set_visible(True)
    label_x(axes, "x (detector pixels)", (image["outside"], "outside of the detector"))
    axes.set(title="Image", ylabel="y (detector pixels)",
             xticks=quarters(image["columns"]), yticks=quarters(image["rows"]))
    label = "events per detector pixel" if block == 1 else (
        f"events per {block} × {block} detector pixels")
    add_colour_bar(axes, picture, f"{label} (largest: {largest:,})" if clipped else label, clipped)
    if frame:
        x0, y0, x1, y1 = frame
        axes.plot([x0, x1, x1, x0, x0], [y0, y0, y1, y1, y0], color=FRAME, linewidth=1.2,
                  scalex=False, scaley=False)


def block_to_show(counts):
    """Side of the squares of pixels that are shown as one: single events are hard to see."""
    for block in (1, 2):
        shown = joined_pixels(counts, block)
        if shown.any() and numpy.median(shown[shown > 0]) > 1:
            return block
    return 4


def joined_pixels(counts, block):
    rows, columns = (length // block for length in counts.shape)
    return counts.reshape(rows, block, columns, block).sum(axis=(1, 3))


def white_level(counts):
    """The count at the end of the colour scale, and whether there are larger ones.

    A few pixels that are far above all others do not turn these black.
    """
    largest = counts.max()
    usual = numpy.percentile(counts[counts > 0], 99.9) if largest > 0 else 1
    return (usual, True) if largest > 2 * usual else (max(largest, 1), False)


def quarters(n):
    return [n * i // 4 for i in range(5)]


def draw_over_time(axes, total):
    axes.set(title="Over time")
    series, time, period = (total["events_over_time"], total["summary"]["time"],
                            total["summary"]["trigger_period"])
    if not series:
        return leave_empty(axes, "no events")
    first, last = time["first_s"], time["last_s"]
    if first == last:
        return leave_empty(axes, f"all at {first:.9g} s")
    zero = first if abs(first) > 20 * (last - first) else 0  # a zero that is near
    name, seconds = time_unit(max(abs(first - zero), abs(last - zero)))
    bins = histogram.even_bins(series["start_s"] - zero, series["bin_s"], series["counts"])
    bars, width = histogram.over_time(bins, first - zero, last - zero,
                                      period and max(period["median_s"], 0))
    draw_bars(axes, bins, bars, width, duration_text(width), seconds)
    label_x(axes, f"time ({name})" if zero == 0 else f"time after {zero:.9g} s ({name})")
    if total["overlap"]:
        add_line(axes, "files from the same time are added up")


def draw_since_trigger(axes, total):
    axes.set(title="Since the trigger")
    series, period = total["events_since_trigger"], total["summary"]["trigger_period"]
    counts = numpy.trim_zeros(series["counts"], "b")
    notes = ((series["before_first"], "before the first trigger"),
             (series["after_last"], "after the last trigger"),
             (series["beyond"], f"after {duration_text(series['bin_s'] * len(series['counts']))}"))
    if len(counts) == 0:
        return leave_empty(axes, "no events", *notes)
    bins = histogram.even_bins(0, series["bin_s"], counts)
    bars = bins.in_groups()
    width = bars.edges[1]
    if (period and not bins.is_sparse(len(bars.counts))
            and bars.edges[-2] < period["median_s"] < bars.edges[-1]):
        bars = bars.ended_at(period["median_s"])
    name, seconds = time_unit(bars.width)
    draw_bars(axes, bins, bars, width, duration_text(width), seconds)
    label_x(axes, f"time since the trigger ({name})", *notes)


def draw_photons(axes, photons, sample):
    """Returns the bars that are drawn, if any."""
    axes.set(title="Photons")
    if not photons:
        return leave_empty(axes, "no events")
    if photons["smallest"] == photons["largest"]:
        return leave_empty(axes, f"all with {photons['smallest']:,}")
    bins = Histogram(**photons["counts"]).of_whole_numbers(photons["largest"])
    bars, below, above = shown_bars(bins, -0.5)
    width = bars.edges[1] - bars.edges[0]
    draw_bars(axes, bins, bars, width,
              "1 photon" if width == 1 else f"{width:{',.0f' if width < 1e6 else '.3g'}} photons",
              single=single_values(sample, "nPhotons"))
    label_x(axes, "photons per event", (below, f"below {bars.edges[0] + 0.5:,.0f} photons"),
            (above, f"above {bars.edges[-1] - 0.5:,.0f} photons"))
    axes.xaxis.set_major_locator(whole_numbers())
    return bars


def draw_psd(axes, psd, sample):
    """Returns the bars that are drawn, if any."""
    axes.set(title="PSD")
    if not psd:
        return leave_empty(axes, "no events")
    if psd["counts"] is None:
        return leave_empty(axes, "no numbers (NaN only)")
    nan, smallest, largest = (psd["nan"], "NaN"), psd["smallest"], psd["largest"]
    if smallest is not None and smallest == largest:
        return leave_empty(axes, f"all with {smallest:.9g}", nan)
    all_bins = Histogram(**psd["counts"])
    bins = all_bins.of_numbers(-math.inf if smallest is None else smallest,
                               math.inf if largest is None else largest)
    infinite = (all_bins.counts.sum() - bins.counts.sum(), "infinite")
    if not bins.counts.any():
        return leave_empty(axes, "no finite numbers")
    shown = bins.without_tails()
    if shown.width < NARROWEST or abs(shown.edges).max() > LARGEST:
        return leave_empty(axes, "cannot be drawn")
    bars, below, above = shown_bars(bins)
    width = bars.edges[1] - bars.edges[0]
    draw_bars(axes, bins, bars, width, width_text(width), single=single_values(sample, "psd"))
    label_x(axes, "pulse-shape value (PSD)", (below, f"below {bars.edges[0]:.4g}"),
            (above, f"above {bars.edges[-1]:.4g}"), infinite, nan)
    return bars


def single_values(sample, key):
    """The finite values of all events and how many have each, if the sample has all."""
    values = numpy.asarray(sample[key], float)
    if sample["one_in"] > 1:
        return None
    return numpy.unique(values[numpy.isfinite(values)], return_counts=True)


def shown_bars(bins, zero=0):
    shown = bins.without_tails()
    return bins.bars(shown.edges[0], shown.edges[-1], bins.most_bars(), zero)


def draw_photons_and_psd(axes, sample, photon_bars, psd_bars):
    """Events by both values, where both panels show different ones."""
    axes.set(title="Photons and PSD")
    if photon_bars is None or psd_bars is None:
        return leave_empty(axes, "no different values of both")
    photons, psd = (numpy.asarray(sample[key], float) for key in ("nPhotons", "psd"))
    if sample["one_in"] == 1 and len(psd) < FEW:
        picture = None
        axes.plot(photons, psd, "o", color=LINE, markersize=3)
    else:
        most = math.ceil(4 * len(psd) ** (1 / 4))
        edges = [fewer_edges(bars, most) for bars in (photon_bars, psd_bars)]
        counts, *_ = numpy.histogram2d(photons, psd, edges)
        picture = axes.pcolormesh(*edges, numpy.ma.masked_equal(counts.T, 0), cmap=COLOURS,
                                  norm=LogNorm(1, max(counts.max(), 2)), rasterized=True)
    axes.set(xlabel="photons per event", ylabel="PSD")
    axes.xaxis.set_major_locator(whole_numbers())
    if picture:
        bar = axes.figure.colorbar(picture, ax=axes, aspect=24, pad=0.03)
        bar.outline.set_linewidth(0.7)
        bar.set_label("events")
    if sample["one_in"] > 1:
        add_line(axes, f"one event in {sample['one_in']:,}")


def fewer_edges(bars, most):
    step = -(-len(bars.counts) // most)
    return bars.edges[0] + (bars.edges[1] - bars.edges[0]) * step * numpy.arange(
        -(-len(bars.counts) // step) + 1)


def draw_bars(axes, bins, bars, width, width_name, unit=1, single=None):
    """Bars from zero, with their outline; single events where there are few, at their values if
    these are known; in logarithms where one bar holds nearly all."""
    axes.set_xmargin(0.02)
    if bins.counts.sum() < FEW:
        values, counts = single or bins.single_events()
        axes.vlines(values / unit, 0, counts, color=LINE, linewidth=0.8)
        axes.plot(values / unit, counts, "o", color=LINE, markersize=3)
        axes.set(ylim=(0, 1.1 * counts.max()), ylabel="events",
                 xlim=padded(bars.edges[0] / unit, bars.edges[-1] / unit))
        axes.yaxis.set_major_locator(whole_numbers())
        return
    values = bars.per(width)
    power, written = power_of_thousand(values.max())
    bottom = 0
    if len(values) > 2 and bars.counts.max() > 0.8 * bars.counts.sum():
        axes.set_yscale("log", nonpositive="clip")
        power, written = 1, ""
        bottom = values[values > 0].min() / 2
    axes.stairs(values / power, bars.edges / unit, fill=True, color=FILL)
    axes.stairs(values / power, bars.edges / unit, color=LINE, linewidth=0.8)
    axes.autoscale_view()
    axes.set_ylim(bottom=bottom)
    label = f"events per {width_name}"
    axes.set_ylabel(f"{label} ({written})" if written else label)


def padded(low, high):
    return low - 0.02 * (high - low), high + 0.02 * (high - low)


def leave_empty(axes, text, *notes):
    axes.set(xticks=[], yticks=[])
    axes.text(0.5, 0.5, text, transform=axes.transAxes, ha="center", va="center", color=GREY)
    label_x(axes, "", *notes)


def label_x(axes, label, *notes):
    """The label, and below it how many events are not in the panel, and why."""
    axes.set_xlabel(label)
    for n, why in notes:
        if n:
            add_line(axes, f"{n:,.0f} {why}")


def put_powers_into_labels(axes):
    """A power of ten that belongs to all ticks would lie on the label or on the title."""
    for axis, locations in (axes.xaxis, axes.get_xticks()), (axes.yaxis, axes.get_yticks()):
        formatter = axis.get_major_formatter()
        formatter.format_ticks(locations)
        if power := formatter.get_offset():
            axis.get_offset_text().set_visible(False)
            label, *notes = axis.get_label_text().split("\n")
            axis.set_label_text("\n".join([f"{label} ({power})", *notes]))


def add_line(axes, text):
    axes.set_xlabel(f"{axes.get_xlabel()}\n{text}".lstrip())


def add_colour_bar(axes, picture, label, clipped):
    bar = axes.figure.colorbar(picture, ax=axes, extend="max" if clipped else "neither",
                               aspect=32, pad=0.02)
    bar.outline.set_linewidth(0.7)
    bar.locator = whole_numbers()
    bar.update_ticks()
    bar.set_label(label)


def whole_numbers():
    return MaxNLocator(nbins=6, integer=True, min_n_ticks=1, steps=[1, 2, 5, 10])
