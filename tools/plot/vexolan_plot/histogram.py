"""Numbers of events, put into the bars of a panel."""

import math

import numpy

from vexolan_plot.quantities import binary_width, decimal_width

MOST_BARS = 250  # of a panel: narrower ones could not be seen
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
        return self.counts * width / numpy.diff(self.edges)

    def most_bars(self):
        """As many bars as the number of events makes worth looking at (Rice's rule)."""
        return min(MOST_BARS, math.ceil(2 * self.counts.sum() ** (1 / 3)))

    def single_events(self):
        """The middles of bins with events, and how many there are."""
        middles = (self.edges[:-1] + self.edges[1:]) / 2
        return middles[self.counts > 0], self.counts[self.counts > 0]

    def joined(self, edges):
        """The same events between fewer of the edges, from the first to the last."""
        first_bins = numpy.searchsorted(self.edges, edges[:-1])
        return Histogram(edges, numpy.add.reduceat(self.counts, first_bins))

    def divided(self, edges):
        """The events between other edges, of which the outer ones hold all that is left: a bin that
        an edge divides is divided evenly."""
        below = numpy.interp(edges, self.edges, numpy.append(0, numpy.cumsum(self.counts)))
        below[0], below[-1] = 0, self.counts.sum()
        return Histogram(edges, numpy.diff(below))

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
        """For bins of one width: the same number of them in each bar but the last."""
        step = -(-len(self.counts) // self.most_bars())
        return self.joined(numpy.append(self.edges[:-1:step], self.edges[-1]))

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
        inside = (bar_of >= first) & (bar_of < end)
        counts = numpy.bincount((bar_of[inside] - first).astype(int), self.counts[inside],
                                end - first)
        bars = Histogram(zero + width * numpy.arange(first, end + 1), counts)
        return bars, self.counts[bar_of < first].sum(), self.counts[bar_of >= end].sum()


def even_bins(start, width, counts):
    return Histogram(start + width * numpy.arange(len(counts) + 1), counts)


def over_time(bins, first, last, period):
    """Bars of the course from `first` to `last`, and their width; the last one may be up to half
    wider or narrower. Wide ones hold whole trigger periods, narrow ones divide a period: so they do
    not beat against the pulses, and the last one is not less full than the others."""
    least = (last - first) / bins.most_bars()
    if not period or least < period / 20:
        width, start, end = decimal_width(least), first, last
    elif least > period / 8:
        width = period * math.ceil(least / period)
        start = quiet_start(bins, first, period, width)
        end = start + period * max(1, round((last - start) / period))
    else:
        width = period / math.floor(period / least)
        start, end = quiet_start(bins, first, width, width), last
    n_bars = max(1, round((end - start) / width))
    return bins.divided(numpy.append(start + width * numpy.arange(n_bars), end)), width


def quiet_start(bins, first, period, width):
    """Where bars start, not later than `first`, so that none of their edges lies in a flash, in a
    bin that cannot be divided evenly."""
    starts = first - period * numpy.linspace(0, 1, 64, endpoint=False)
    bin_width = bins.edges[1] - bins.edges[0]

    def events_at_edges(start):
        edges = numpy.arange(start + width, bins.edges[-1], width)
        return bins.counts[((edges - bins.edges[0]) / bin_width).astype(int)].sum()

    at_edges = numpy.array([events_at_edges(start) for start in starts])
    few = 2 * at_edges.min() + 10
    return starts[numpy.argmax(at_edges <= few)]
