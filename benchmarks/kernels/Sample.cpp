#include "Sample.h"

#include "write_event_file.h"

#include <algorithm>
#include <random>

const std::vector<Photon_Event>& sample_events() {
    static const std::vector<Photon_Event> events = [] {
        constexpr long end_ticks = 100'000'000;
        constexpr int detector = orven::detector_pixels * orven::Event_Length::units_per_pixel;
        std::mt19937_64 random(1);
        const auto below = [&random](std::uint64_t limit) { return random() % limit; };
        std::vector<Photon_Event> made;
        made.reserve(nSample_events);
        for (std::size_t i = 0; i < nSample_events; ++i) {
            made.emplace_back(orven::Event_Length(static_cast<int>(below(detector))),
                              orven::Event_Length(static_cast<int>(below(detector))),
                              orven::Event_Time(static_cast<long>(below(end_ticks))), below(20),
                              static_cast<double>(below(1000)) * 1e-3);
        }
        std::ranges::sort(made, {}, &Photon_Event::time);
        return made;
    }();
    return events;
}

std::span<const Photon_Event> sample_piece(std::size_t index) {
    return std::span(sample_events()).subspan(index * events_per_piece, events_per_piece);
}

const orven::Photon_Filter& sample_filter() {
    static const orven::Photon_Filter filter({2, 17}, {0.1, 0.9});
    return filter;
}

namespace {

/// Hands out the records one after another.
template <class Record>
Record_Source<Record> source_of(std::span<const Record> records) {
    return {records.size(), [records](std::span<Record> piece) mutable {
                std::ranges::copy(records.first(piece.size()), piece.begin());
                records = records.subspan(piece.size());
            }};
}

}  // namespace

Sample_File::Sample_File(std::span<const orven::Event_Time> triggers) {
    write_event_file(path(), source_of(triggers), source_of(std::span(sample_events())));
}
