#pragma once

#include "Filters_Events.h"
#include "reading/Counting_Task.h"
#include "recordings.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Events all over the detector, ascending in time, of which the filter keeps about two thirds.
inline constexpr std::size_t nSample_pieces = 128;
inline constexpr std::size_t nSample_events = nSample_pieces * events_per_piece;
const std::vector<Photon_Event>& sample_events();
std::span<const Photon_Event> sample_piece(std::size_t index);
const orven::Photon_Filter& sample_filter();

/// What the filter should do, in plain words.
inline bool is_kept(const Photon_Event& event) {
    return event.nPhotons >= 2 && event.nPhotons <= 17 && event.psd.value >= 0.1 &&
           event.psd.value <= 0.9;
}

/// Reports items and bytes per second; each iteration works on this much.
inline void report(benchmark::State& state, std::size_t items, std::size_t bytes) {
    const std::int64_t iterations = state.iterations();
    state.SetItemsProcessed(iterations * static_cast<std::int64_t>(items));
    state.SetBytesProcessed(iterations * static_cast<std::int64_t>(bytes));
}

/// An event file of the sample events, in the folder for temporary files (TMPDIR).
class Sample_File {
public:
    explicit Sample_File(std::span<const orven::Event_Time> triggers = {});

    [[nodiscard]] std::string path() const { return folder.path / "sample.orvenevent"; }

private:
    Folder folder;
};
