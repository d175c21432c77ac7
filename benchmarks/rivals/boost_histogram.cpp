// Boost.Histogram as fast as it goes: bulk fills of whole filtered pieces, and either one histogram
// with thread-safe counters (`counters=shared`) or one for each thread, added up at the end
// (`counters=private`). With `axes=regular` the library places the events; with `axes=integer`
// their pixels are worked out beforehand, and the library only counts.

#include "Work.h"

#include <boost/core/span.hpp>
#include <boost/histogram.hpp>

#include <array>

namespace {

namespace bh = boost::histogram;

using Integer = bh::axis::integer<int, bh::axis::null_type, bh::axis::option::none_t>;
using Regular =
    bh::axis::regular<double, bh::use_default, bh::axis::null_type, bh::axis::option::none_t>;

/// Places a position on an axis whose bins are the pixels' numbers.
struct By_Pixel {
    using Axis = Integer;
    using Coordinate = int;
    explicit By_Pixel(const Work& work) : pixel(work) {}
    static Axis axis(const Work& work) { return {0, static_cast<int>(work.size)}; }
    [[nodiscard]] int operator()(std::int32_t position) const {
        return static_cast<int>(pixel(position));
    }
    Pixels pixel;
};

/// Leaves a position as it is: the axis divides the detector into pixels.
struct By_Position {
    using Axis = Regular;
    using Coordinate = double;
    explicit By_Position(const Work& /*work*/) {}
    static Axis axis(const Work& work) {
        const auto size = static_cast<unsigned>(work.size);
        return {size, 0, static_cast<double>(work.pixel_width()) * size};
    }
    [[nodiscard]] double operator()(std::int32_t position) const { return position; }
};

/// The coordinates of those events of a piece that pass the filter.
template <class Placing>
class Coordinates {
public:
    using Coordinate = typename Placing::Coordinate;

    explicit Coordinates(const Work& work) : bounds(work.bounds), placing(work) {}

    [[nodiscard]] std::array<boost::span<const Coordinate>, 2> of(
        std::span<const Photon_Event> piece) {
        std::size_t size = 0;
        for (const Photon_Event& event : piece) {
            columns[size] = placing(event.x.value);
            rows[size] = placing(event.y.value);
            size += bounds.contain(event) ? 1 : 0;
        }
        return {boost::span<const Coordinate>(columns.data(), size),
                boost::span<const Coordinate>(rows.data(), size)};
    }

private:
    Bounds bounds;
    Placing placing;
    std::array<Coordinate, piece_events> columns;
    std::array<Coordinate, piece_events> rows;
};

template <class Placing, bool thread_safe>
void fill(const Work& work) {
    using Storage = bh::dense_storage<bh::accumulators::count<unsigned, thread_safe>>;
    const auto empty = bh::make_histogram_with(Storage(), Placing::axis(work), Placing::axis(work));
    std::vector histograms(thread_safe ? 1 : work.threads, empty);
    std::vector coordinates(work.threads, Coordinates<Placing>(work));
    for_each_piece(work, [&](std::size_t thread, std::span<const Photon_Event> piece) {
        histograms[thread_safe ? 0 : thread].fill(coordinates[thread].of(piece));
    });
    for (std::size_t i = 1; i < histograms.size(); ++i) {
        histograms[0] += histograms[i];
    }
    std::vector<std::uint32_t> image;
    image.reserve(work.nCells());
    for (const auto& counter : histograms[0]) {  // the first axis varies fastest
        image.push_back(counter.value());
    }
    write_raw(work.output, image);
}

}  // namespace

int main(int argc, char** argv) {
    const Work work(argc, argv);
    const bool thread_safe = work.counters == "shared";
    if (work.axes == "regular") {
        thread_safe ? fill<By_Position, true>(work) : fill<By_Position, false>(work);
    } else {
        thread_safe ? fill<By_Pixel, true>(work) : fill<By_Pixel, false>(work);
    }
}
