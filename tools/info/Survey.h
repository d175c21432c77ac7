#pragma once

#include "Bounds.h"
#include "Distribution.h"
#include "Event.h"
#include "Extent.h"
#include "Sample.h"
#include "Time_Histogram.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What is found of recordings: values that can be added up.

/// The times of events or triggers in the order of the file.
struct Time_Order {
    Extent<std::int64_t> times;
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::uint64_t nSteps_back = 0;    ///< times that are smaller than the one before
    std::uint64_t furthest_back = 0;  ///< by how much a time is smaller than one before, at most

    /// From the smallest time to the largest, in ticks.
    [[nodiscard]] std::uint64_t span() const noexcept {
        return static_cast<std::uint64_t>(times.largest) -
               static_cast<std::uint64_t>(times.smallest);
    }

    /// Adds the times that follow in the file.
    void append(const Time_Order& next) noexcept;

    /// Adds those of another file: order is a matter of each file.
    void add(const Time_Order& other) noexcept;
};

/// Some values of many, by which their median is known.
class Value_Sample {
public:
    static constexpr std::size_t most = std::size_t{1} << 20;

    /// Samples that are added up must have different numbers.
    explicit Value_Sample(std::size_t number = 0) noexcept : next(std::uint64_t{number} << 40U) {}

    void add(std::int64_t value) { sample.add(next++, value); }
    void add(const Value_Sample& other) { sample.add(other.sample); }
    [[nodiscard]] bool empty() const noexcept { return sample.values().empty(); }
    /// There must be values.
    [[nodiscard]] std::int64_t median() const;

private:
    Sample<std::int64_t> sample{most};
    std::uint64_t next;  ///< the number of the next value
};

/// The trigger pulses of a file, or of all files.
struct Trigger_Summary {
    std::uint64_t nPulses = 0;
    Time_Order order;
    Extent<std::int64_t> period;  ///< ticks from each pulse to the next; empty with fewer than two
    std::int64_t median_period = 0;
    /// Pulses that the median period lets expect and nobody saw; empty if pulses are not in order.
    std::optional<std::uint64_t> nMissing = 0;
};

/// The events of a file, or of all files.
struct Event_Summary {
    std::uint64_t nEvents = 0;
    Extent<std::int32_t> x;  ///< 1/65536 of a detector pixel
    Extent<std::int32_t> y;
    Extent<std::uint64_t> nPhotons;
    Extent<double> psd;      ///< of the values that are numbers
    std::uint64_t nNaN = 0;  ///< PSD values that are none

    void add(const Event_Summary& other) noexcept;
};

/// All that is told of a file, or of all files together.
struct Summary {
    Event_Summary events;         ///< those within the bounds
    std::uint64_t nRejected = 0;  ///< events outside of the bounds
    Time_Order order;
    std::optional<double> rate;               ///< events per second; empty where there is none
    std::optional<Trigger_Summary> triggers;  ///< empty if none were recorded
    std::optional<Quantiles> nPhotons;        ///< empty without values
    std::optional<Quantiles> psd;
};

/// One file, or why it could not be read.
struct File_Survey {
    std::string path;
    std::optional<std::string> fault;
    std::int64_t bytes = 0;
    Summary summary;
};

/// The events of an image over all time, in pixels as wide as the detector's.
struct Survey_Image {
    static constexpr std::size_t size = orven::detector_pixels;

    std::vector<std::uint64_t> counts = std::vector<std::uint64_t>(size * size);  ///< row by row
    std::uint64_t nOutside = 0;

    void add(const Survey_Image& other) noexcept;
};

/// The events over the time since the trigger before them.
struct Since_Trigger {
    static constexpr std::size_t nBins = std::size_t{1} << 14;

    int shift = 0;  ///< bins are 2^shift ticks wide
    std::vector<std::uint64_t> counts = std::vector<std::uint64_t>(nBins);
    std::uint64_t nBeyond = 0;  ///< later than all bins
    std::uint64_t nBefore = 0;  ///< before the first trigger
    std::uint64_t nAfter = 0;   ///< not before the last trigger

    /// The bins of `other` must be as wide.
    void add(const Since_Trigger& other) noexcept;
};

/// What a filter sees of an event.
struct Photons_And_Psd {
    std::uint64_t nPhotons;
    double psd;
};

/// Some of all events, to see how photon counts and PSD values go together.
struct Event_Sample : Sample<Photons_And_Psd> {
    Event_Sample() noexcept : Sample(std::size_t{1} << 16) {}
};

/// What is found of all files that can be read.
struct Survey {
    Bounds bounds;
    std::vector<File_Survey> files;  ///< as they were given
    Summary total;
    bool overlap = false;  ///< events of a file are from the time between those of another
    Distribution nPhotons;
    Distribution psd;  ///< of the values that are numbers
    Event_Sample sample;
    Survey_Image image;
    Time_Histogram over_time;
    std::optional<Since_Trigger> since_trigger;  ///< empty without trigger intervals

    [[nodiscard]] std::size_t nFaulty() const noexcept;
    [[nodiscard]] std::int64_t bytes() const noexcept;  ///< of the files that can be read
};
