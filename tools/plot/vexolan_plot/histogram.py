"""Numbers of events, put into the bars of a panel."""

import math

import numpy

from vexolan_plot.quantities import binary_width, decimal_width

MOST_BARS = 250  # of a panel: narrower ones could not be seen
SPARSE = 100  # events of a bar: with fewer, a scaled one would show parts of events
NARROW = 20  # bins of a bar: with fewer, all bars must have the same number of them
ROUNDING = 1e-9
TAIL = 5e-4  # the share of all events that may lie beyond each side of a panel


class Histogram:
    """Numbers of events between edges, which ascend and may be at unequal distances."""

    def __init__(self, edges, counts):
        self.edges = numpy.asarray(edges, float)
        self.counts = numpy.asarray(counts, float)

    @property
    def width(self):
        return self.edges[-1] - self.edges[0]

    def per(self, width):
        """The counts as if all bars were so wide."""
        widths = numpy.diff(self.edges) / width
        return self.counts / numpy.where(numpy.isclose(widths, 1), 1, widths)

    def most_bars(self):
        """As many bars as the number of events makes worth looking at (Rice's rule)."""
        return min(MOST_BARS, math.ceil(2 * self.counts.sum() ** (1 / 3)))

    def is_sparse(self, n_bars):
        """Whether so many bars hold too few events to be scaled: their numbers are to be seen."""
        return self.counts.sum() < SPARSE * n_bars

    def single_events(self):
        """The starts of bins with events, and how many there are."""
        return self.edges[:-1][self.counts > 0], self.counts[self.counts > 0]

    def joined(self, edges):
        """The same events between fewer of the edges, from the first to the last."""
        first_bins = numpy.searchsorted(self.edges, edges[:-1])
        return Histogram(edges, numpy.add.reduceat(self.counts, first_bins))

    def between(self, edges):
        """The events between other edges, of which the outer ones hold all that is left: a bin
        belongs where its middle is, and is not divided."""
        bar_of = numpy.searchsorted(edges[1:-1], (self.edges[:-1] + self.edges[1:]) / 2)
        return Histogram(edges, numpy.bincount(bar_of, self.counts, len(edges) - 1))

    def of_whole_numbers(self, largest):
        """For values that are whole numbers: bins begin half below a number."""
        edges = numpy.append(numpy.ceil(self.edges[:-1]), largest + 1) - 0.5
        return Histogram(edges, self.counts).joined(numpy.unique(edges))

    def of_numbers(self, smallest, largest):
        """Without the bins that go on to infinity, and only where there are values."""
        finite = numpy.isfinite(self.edges)
        edges = numpy.clip(self.edges[finite], smallest, largest)
        return Histogram(edges, self.counts[finite[:-1] & finite[1:]])

    def in_groups(self):
        """For bins of one width from zero on: the same number of them in each bar."""
        step = -(-len(self.counts) // self.most_bars())
        n_bars = -(-len(self.counts) // step)
        return self.joined(numpy.append(self.edges[:-1:step], self.edges[1] * step * n_bars))

    def ended_at(self, last):
        """For bars of one width, the last of which is covered in part: its edge is moved to where
        data ends; less than half a bar becomes part of its neighbour."""
        inner = self.edges[:-1]
        inner = inner[(inner == 0) | (inner <= last - self.edges[1] / 2)]
        ended = self.joined(numpy.append(inner, self.edges[-1:]))
        ended.edges[-1] = last
        return ended

    def without_tails(self):
        """What is worth a panel: all, unless few events make it much wider."""
        below = numpy.cumsum(self.counts) / self.counts.sum()
        first = numpy.searchsorted(below, TAIL, side="right")
        last = numpy.searchsorted(below, 1 - TAIL) + 1
        part = Histogram(self.edges[first : last + 1], self.counts[first:last])
        return part if 0 < part.width < 0.75 * self.width else self

    def bars(self, low, high, most, zero=0):
        """Bars of one width over all from `low` to `high`, and the numbers of events below and
        above them. A width that is a power of two, from `zero` on, divides no bin."""
        shown = (self.edges[1:] > low) & (self.edges[:-1] < high) & (self.counts > 0)
        width = binary_width(max((high - low) / most, numpy.diff(self.edges)[shown].max()))
        first, end = math.floor((low - zero) / width), math.ceil((high - zero) / width)
        bar_of = numpy.floor((self.edges[:-1] - zero) / width)
        bar_of[(bar_of == end) & (self.edges[:-1] == zero + width * end)
               & (self.edges[1:] == self.edges[:-1])] = end - 1  # a value at the very end
        inside = (bar_of >= first) & (bar_of < end)
        counts = numpy.bincount((bar_of[inside] - first).astype(int), self.counts[inside],
                                end - first)
        bars = Histogram(zero + width * numpy.arange(first, end + 1), counts)
        return bars, self.counts[bar_of < first].sum(), self.counts[bar_of >= end].sum()


def even_bins(start, width, counts):
    return Histogram(start + width * numpy.arange(len(counts) + 1), counts)


def over_time(bins, first, last, period):
    """Bars of the course from `first` to `last`, and their width. Wide ones hold whole trigger
    periods, narrow ones divide a period: so they do not beat against the pulses. Only the last of
    wide ones may hold fewer or more periods."""
    least = (last - first) / bins.most_bars()
    if period and least > period / 8:
        return over_periods(bins, first, last, period, math.ceil(least / period))
    if period and least >= period / 20:
        width = period / math.floor(period / least)
        start = quiet_start(bins, first, width, width)
    else:
        width, start = even_width(bins, first, last, least), first
    n_bars = max(1, math.ceil((last - start) / width * (1 - ROUNDING)))
    return bins.between(start + width * numpy.arange(n_bars + 1)), width


def over_periods(bins, first, last, period, each):
    """Bars of so many trigger periods, each of which counts as a whole one if it has begun."""
    n_periods = max(1, math.ceil((last - first) / period * (1 - ROUNDING)))
    start = quiet_start(bins, first, n_periods * period - (last - first), each * period)
    n_bars, left = divmod(n_periods, each)
    if bins.is_sparse(n_bars + 1):
        ends = each * numpy.arange(n_bars + (left > 0) + 1)
    else:
        n_bars = max(1, n_bars + (2 * left >= each and left > 0))
        ends = numpy.append(each * numpy.arange(n_bars), n_periods)
    return bins.between(start + period * ends), each * period


def even_width(bins, first, last, least):
    """About a round width of which a whole number fits, or a whole number of narrow bins."""
    bin_width = bins.edges[1] - bins.edges[0]
    if least < NARROW * bin_width:
        return bin_width * math.ceil(least / bin_width)
    return (last - first) / max(1, round((last - first) / decimal_width(least)))


def quiet_start(bins, first, most, width):
    """Where bars start, not later than `first` and by less than `most` before it, so that none of
    their edges lies in a flash."""
    starts = first - most * numpy.linspace(0, 1, 64, endpoint=False)
    bin_width = bins.edges[1] - bins.edges[0]

    def events_at_edges(start):
        edges = numpy.arange(start + width, bins.edges[-1], width)
        return bins.counts[((edges - bins.edges[0]) / bin_width).astype(int)].sum()

    at_edges = numpy.array([events_at_edges(start) for start in starts])
    few = 2 * at_edges.min() + 10
    return starts[numpy.argmax(at_edges <= few)]
