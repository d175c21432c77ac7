#pragma once

#include "binning/Binning_Events_Base.h"
#include "binning/Placement.h"
#include "binning/from_settings.h"
#include "counting/Counting_Image.h"
#include "settings/Parameters.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

/// Adds 1 to the cell of an image, if the place lies inside.
template <std::size_t nDims>
void count_at(const Place& place, Counting_Image<nDims>& image) noexcept {
    if (place.inside != 0) {
        image[place.cell].fetch_add(1);
    }
}

/// Counts events into one image over all time: `x` selects the column, `y` the row.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_TimeIntegrated final : public Binning_Events_Base<mode> {
    static_assert(mode != Parameters::frameSync, "a frame-synchronised image is time-resolved");

public:
    using typename Binning_Events_Base<mode>::Event;
    using typename Binning_Events_Base<mode>::Time;

    /// Throws: std::invalid_argument for sizes that give no image, std::bad_alloc.
    explicit Binning_Events_TimeIntegrated(const Parameters& parameters)
        : Binning_Events_Base<mode>(parameters),
          placement(page_sizes(parameters)),
          image({parameters.size_y, parameters.size_x}) {
        assert(!parameters.time_res_s.has_value());
        assert(!parameters.time_max_binNumber.has_value());
    }

    void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) override {
        count_at(placement.place(event, time, frameIndex), image);
    }

    /// Shape: {rows, columns}.
    [[nodiscard]] const Counting_Image<2>& get_image() const noexcept { return image; }

private:
    [[nodiscard]] Placement get_placement() const noexcept override { return placement; }
    [[nodiscard]] std::span<Counter> get_cells() noexcept override { return image.get_content(); }

    Integrated_Placement placement;
    Counting_Image<2> image;
};

/// Counts events into one page per time bin, or per frame in mode `frameSync`. Against the image
/// over all time the axes are crossed, unless that is not wanted: `y` selects the column, `x` the
/// row.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_TimeResolved final : public Binning_Events_Base<mode> {
public:
    using typename Binning_Events_Base<mode>::Event;
    using typename Binning_Events_Base<mode>::Time;

    /// Throws: std::bad_optional_access without a number of time bins, std::invalid_argument for
    /// sizes or a time resolution that give no image, std::length_error, std::bad_alloc.
    explicit Binning_Events_TimeResolved(const Parameters& parameters)
        : Binning_Events_Base<mode>(parameters),
          placement(page_sizes(parameters), page_times(parameters)),
          image({static_cast<std::size_t>(parameters.time_max_binNumber.value()), parameters.size_y,
                 parameters.size_x}) {
        assert(parameters.time_res_s.has_value());
        // Not reached, as `value` has thrown before: the place for a number worked out from the
        // data.
        if (!parameters.time_max_binNumber.has_value()) {
            throw "Automatic determination of number of bins not yet implemented!";  // NOLINT
        }
    }

    void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) override {
        count_at(placement.place(event, time, frameIndex), image);
    }

    /// Shape: {pages, rows, columns}.
    [[nodiscard]] const Counting_Image<3>& get_image() const noexcept { return image; }

private:
    [[nodiscard]] Placement get_placement() const noexcept override { return placement; }
    [[nodiscard]] std::span<Counter> get_cells() noexcept override { return image.get_content(); }

    std::conditional_t<mode == Parameters::frameSync, Frame_Placement, Time_Bin_Placement>
        placement;
    Counting_Image<3> image;
};
