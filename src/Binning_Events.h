#pragma once

#include "Bin_Axis.h"
#include "Binning_Events_Base.h"
#include "Branchless.h"
#include "Cell_Counter.h"
#include "Counting_Image.h"
#include "File_Tasks.h"
#include "Image_Geometry.h"
#include "Parameters.h"
#include "Trigger_Walk.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// Appends the cells of the events that pass the filter and lie inside the image;
/// `cell_of(event, cell)` sets the cell and tells whether the event lies inside. The filter and
/// `cell_of` are copies: the compiler could not know that writing cells leaves the originals as
/// they are, and would load them again for each event.
template <class Filter, class Cell_Of>
void append_cells(std::span<const orven::Photon_Event> events, Filter filter, Cell_Of cell_of,
                  Cell_List& found) {
    std::size_t size = found.size;
    for (const orven::Photon_Event& event : events) {
        const bool inside = cell_of(event, found.cells[size]);
        size += orven::all_hold(inside, filter.accepts(event)) ? 1 : 0;
    }
    found.size = size;
}

/// Counts events into one image over all time: `x` selects the column, `y` the row.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_TimeIntegrated final : public Binning_Events_Base<mode> {
    static_assert(mode != Parameters::frameSync, "a frame-synchronised image is time-resolved");

public:
    using Base = Binning_Events_Base<mode>;
    using typename Base::Event;
    using typename Base::Filter;
    using typename Base::Time;

    /// Throws: std::invalid_argument for sizes that give no image, std::bad_alloc.
    explicit Binning_Events_TimeIntegrated(const Parameters& parameters)
        : Base(1, parameters),
          grid{pixel_axis(parameters.size_x), pixel_axis(parameters.size_y)},
          image({parameters.size_y, parameters.size_x}) {
        assert(!parameters.time_res_s.has_value());
        assert(!parameters.time_max_binNumber.has_value());
    }

    void add_singleEvent(const Event& event, const Time& /*time*/,
                         std::size_t /*frameIndex*/) override {
        const auto [inside, row, column] = grid.place(event);
        if (inside) {
            image[{row, column}].fetch_add(1);
        }
    }

    void find_cells(std::span<const Event> events, const Filter& filter,
                    const Interval& /*interval*/, Cell_List& found) const noexcept override {
        append_cells(
            events, filter,
            [grid = grid](const Event& event, std::size_t& cell) {
                const auto [inside, row, column] = grid.place(event);
                cell = row * grid.columns.size() + column;
                return inside;
            },
            found);
    }

    [[nodiscard]] std::span<Counter> counters() noexcept override { return image.get_content(); }

private:
    struct Place {
        bool inside;
        std::size_t row;
        std::size_t column;
    };

    struct Grid {
        Pixel_Axis columns;
        Pixel_Axis rows;

        [[nodiscard]] Place place(const Event& event) const noexcept {
            const std::uint32_t column = columns.bin_of(event.x.value);
            const std::uint32_t row = rows.bin_of(event.y.value);
            return {orven::all_hold(rows.contains(row), columns.contains(column)), row, column};
        }
    };

    Grid grid;

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
    using typename Base::Filter;
    using typename Base::Time;

    /// Throws: std::bad_optional_access without a number of time bins, std::invalid_argument for
    /// sizes or a time resolution that give no image, std::length_error, std::bad_alloc.
    explicit Binning_Events_TimeResolved(const Parameters& parameters)
        : Base(static_cast<std::size_t>(parameters.time_max_binNumber.value()), parameters),
          grid(parameters),
          image({grid.pages.size(), parameters.size_y, parameters.size_x}) {
        assert(parameters.time_res_s.has_value());
        if (!parameters.time_max_binNumber.has_value()) {
            throw "Automatic determination of number of bins not yet implemented!";  // NOLINT
        }
    }

    void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) override {
        const auto [inside, page, row, column] = grid.place(event, time, frameIndex);
        if (inside) {
            image[{page, row, column}].fetch_add(1);
        }
    }

    void find_cells(std::span<const Event> events, const Filter& filter, const Interval& interval,
                    Cell_List& found) const noexcept override {
        append_cells(
            events, filter,
            [grid = grid, interval](const Event& event, std::size_t& cell) {
                const auto [inside, page, row, column] =
                    grid.place(event, interval.relative(event.time), interval.frameIndex);
                cell = (page * grid.rows.size() + row) * grid.columns.size() + column;
                return inside;
            },
            found);
    }

    [[nodiscard]] std::span<Counter> counters() noexcept override { return image.get_content(); }

private:
    struct Place {
        bool inside;
        std::size_t page;
        std::size_t row;
        std::size_t column;
    };

    struct Grid {
        Time time_res;
        Pixel_Axis columns;
        Pixel_Axis rows;
        Time_Axis pages;

        explicit Grid(const Parameters& parameters)
            : time_res(time_bin_length(parameters.time_res_s.value())),
              columns(pixel_axis(parameters.size_x)),
              rows(pixel_axis(parameters.size_y)),
              pages(time_res.value,
                    static_cast<std::size_t>(parameters.time_max_binNumber.value())) {}

        [[nodiscard]] Place place(const Event& event, Time time,
                                  std::size_t frameIndex) const noexcept {
            const std::uint32_t column = columns.bin_of(event.y.value);
            const std::uint32_t row = rows.bin_of(event.x.value);
            const std::size_t page = page_of(time, frameIndex);
            const bool inside = orven::all_hold(is_in_time(time), pages.contains(page),
                                                rows.contains(row), columns.contains(column));
            return {inside, page, row, column};
        }

        [[nodiscard]] std::size_t page_of(Time time, std::size_t frameIndex) const noexcept {
            return mode == Parameters::frameSync ? frameIndex : pages.bin_of(time.value);
        }

        /// Frames take times from 0 up to the time resolution: one comparison, as a negative time
        /// wraps to a large one. Time bins are tested as pages.
        [[nodiscard]] bool is_in_time(Time time) const noexcept {
            return mode != Parameters::frameSync || static_cast<std::uint64_t>(time.value) <
                                                        static_cast<std::uint64_t>(time_res.value);
        }
    };

    Grid grid;

public:
    Counting_Image<3> image;
};
