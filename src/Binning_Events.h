#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "Bin_Axis.h"
#include "Binning_Events_Base.h"
#include "Cell_Counter.h"
#include "Counting_Image.h"
#include "File_Tasks.h"
#include "Image_Geometry.h"
#include "Offered_Events.h"
#include "Parameters.h"

/// Counts events into one image over all time: `x` selects the column, `y` the row.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_TimeIntegrated final : public Binning_Events_Base<mode> {
    static_assert(mode != Parameters::frameSync, "a frame-synchronised image is time-resolved");

public:
    using Base = Binning_Events_Base<mode>;
    using typename Base::Event;
    using typename Base::Time;

    /// Throws: std::invalid_argument for sizes that give no image, std::bad_alloc.
    explicit Binning_Events_TimeIntegrated(const Parameters& parameters)
        : Base(1, parameters),
          columns(pixel_axis(parameters.size_x)),
          rows(pixel_axis(parameters.size_y)),
          image({parameters.size_y, parameters.size_x}) {
        assert(!parameters.time_res_s.has_value());
        assert(!parameters.time_max_binNumber.has_value());
    }

    void add_singleEvent(const Event& event, const Time& /*time*/,
                         std::size_t /*frameIndex*/) override {
        const std::size_t column = columns.bin_of(event.x.value);
        const std::size_t row = rows.bin_of(event.y.value);
        if (rows.contains(row) && columns.contains(column)) {
            image[{row, column}].fetch_add(1);
        }
    }

    void find_cells(const Offered_Events& offered, Cell_List& cells) const noexcept override {
        cells.size = 0;
        for (std::size_t i = 0; i < offered.size; ++i) {
            const std::size_t column = columns.bin_of(offered.x[i]);
            const std::size_t row = rows.bin_of(offered.y[i]);
            cells.append_if(rows.contains(row) & columns.contains(column),
                            row * columns.size() + column);
        }
    }

    [[nodiscard]] std::span<Counter> counters() noexcept override { return image.get_content(); }

private:
    Bin_Axis<std::int32_t> columns;
    Bin_Axis<std::int32_t> rows;

public:
    Counting_Image<2> image;
};

/// Counts events into one page per time bin, or per frame in mode `frameSync`. Against the image
/// integrated over time the axes are crossed: `y` selects the column, `x` the row.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_TimeResolved final : public Binning_Events_Base<mode> {
public:
    using Base = Binning_Events_Base<mode>;
    using typename Base::Event;
    using typename Base::Time;

    /// Throws: std::bad_optional_access without a number of time bins, std::invalid_argument for
    /// sizes or a time resolution that give no image, std::length_error, std::bad_alloc.
    explicit Binning_Events_TimeResolved(const Parameters& parameters)
        : Base(static_cast<std::size_t>(parameters.time_max_binNumber.value()), parameters),
          time_res(time_bin_length(parameters.time_res_s.value())),
          columns(pixel_axis(parameters.size_x)),
          rows(pixel_axis(parameters.size_y)),
          pages(time_res.value, static_cast<std::size_t>(parameters.time_max_binNumber.value())),
          image({pages.size(), parameters.size_y, parameters.size_x}) {
        assert(parameters.time_res_s.has_value());
        if (!parameters.time_max_binNumber.has_value()) {
            throw "Automatic determination of number of bins not yet implemented!";  // NOLINT
        }
    }

    void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) override {
        const std::size_t column = columns.bin_of(event.y.value);
        const std::size_t row = rows.bin_of(event.x.value);
        const std::size_t page = page_of(time.value, frameIndex);
        if (pages.contains(page) && rows.contains(row) && columns.contains(column)) {
            image[{page, row, column}].fetch_add(1);
        }
    }

    void find_cells(const Offered_Events& offered, Cell_List& cells) const noexcept override {
        cells.size = 0;
        for (std::size_t i = 0; i < offered.size; ++i) {
            const std::size_t column = columns.bin_of(offered.y[i]);
            const std::size_t row = rows.bin_of(offered.x[i]);
            const std::size_t page = page_of(offered.time[i], offered.frameIndex[i]);
            cells.append_if(pages.contains(page) & rows.contains(row) & columns.contains(column),
                            (page * rows.size() + row) * columns.size() + column);
        }
    }

    [[nodiscard]] std::span<Counter> counters() noexcept override { return image.get_content(); }

private:
    /// The page of an event; no page of the image if there is none.
    [[nodiscard]] std::size_t page_of(std::int64_t time, std::size_t frameIndex) const noexcept {
        if constexpr (mode == Parameters::frameSync) {
            return time >= 0 && time < time_res.value ? frameIndex : pages.size();
        } else {
            return pages.bin_of(time);
        }
    }

    Time time_res;
    Bin_Axis<std::int32_t> columns;
    Bin_Axis<std::int32_t> rows;
    Bin_Axis<std::int64_t> pages;

public:
    Counting_Image<3> image;
};
