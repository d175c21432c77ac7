#pragma once

#include "Event.h"
#include "Filters_Events.h"
#include "reading/Counting_Task.h"
#include "settings/Parameters.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

using orven::Photon_Event;

/// Events all over the detector, ascending in time, of which the filter keeps about two thirds.
inline constexpr std::size_t nSample_pieces = 512;
inline constexpr std::size_t nSample_events = nSample_pieces * events_per_piece;
inline constexpr long sample_ticks = 100'000'000;
const std::vector<Photon_Event>& sample_events();
std::span<const Photon_Event> sample_piece(std::size_t index);
const orven::Photon_Filter& sample_filter();

/// What the filter should do, in plain words.
inline bool is_kept(const Photon_Event& event) {
    return event.nPhotons >= 2 && event.nPhotons <= 17 && event.psd.value >= 0.1 &&
           event.psd.value <= 0.9;
}

/// The settings that these arguments of the command line give.
Parameters parameters_from(std::vector<std::string> arguments);

/// Reports items and bytes per second; each iteration works on this much.
inline void report(benchmark::State& state, std::size_t items, std::size_t bytes) {
    const std::int64_t iterations = state.iterations();
    state.SetItemsProcessed(iterations * static_cast<std::int64_t>(items));
    state.SetBytesProcessed(iterations * static_cast<std::int64_t>(bytes));
}

/// A file in the folder for temporary files (TMPDIR), removed at the end.
struct Temporary_File {
    explicit Temporary_File(const std::string& name)
        : path(std::filesystem::temp_directory_path() / name) {}
    Temporary_File(const Temporary_File&) = delete;
    Temporary_File& operator=(const Temporary_File&) = delete;
    ~Temporary_File() { std::filesystem::remove(path); }

    const std::string path;
};

/// An event file with the sample events.
struct Sample_File : Temporary_File {
    explicit Sample_File(std::span<const orven::Event_Time> triggers = {});
};
