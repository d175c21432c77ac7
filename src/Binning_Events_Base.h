#pragma once

#include "Cell_Counter.h"
#include "Event.h"
#include "Filters_Events.h"
#include "Image_Geometry.h"
#include "Parameters.h"
#include "Trigger_Walk.h"

#include <atomic>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

/// Counts events into an image. The derived classes own the image and know where an event belongs.
template <Parameters::ExtTrigger_Mode mode>
class Binning_Events_Base {
public:
    using Event = orven::Photon_Event;
    using Time = Event::Time;
    using Filter = orven::Photon_Filter;

    /// Counts one event, placed by `time` and `frameIndex` where the image has time bins; drops it
    /// if it lies outside the image.
    /// Threads: may be called from several at once.
    virtual void add_singleEvent(const Event& event, const Time& time, std::size_t frameIndex) = 0;

    /// Counts the events of all files that pass the filter.
    /// With `concurrent`, one task per hardware thread takes files in list order, and a file that
    /// fails is logged at level `error` and left; otherwise the calling thread takes one file
    /// after another.
    /// Throws: std::bad_alloc; concurrent: std::system_error if a thread cannot be started; not
    /// concurrent: what reading a file throws, and std::invalid_argument for a file without
    /// trigger data where the mode needs it.
    template <class Filter_Type, bool concurrent>
    void add_data_filtered_files(const std::vector<std::string>& files, const Filter_Type& filter);

    /// The number of trigger intervals processed so far, over all files.
    std::atomic<std::size_t> nTriggers{0};

    /// Appends the cells of those events that pass the filter and lie in the image: where
    /// `add_singleEvent` would count them with their time and frame in this interval.
    virtual void find_cells(std::span<const Event> events, const Filter& filter,
                            const Interval& interval, Cell_List& found) const noexcept = 0;

    /// The cells of the image, in storage order.
    [[nodiscard]] virtual std::span<Counter> counters() noexcept = 0;

protected:
    /// Throws: std::invalid_argument for an image without pixels or beyond 64 bits.
    Binning_Events_Base(std::size_t nPages, const Parameters& parameters) {
        check_image_size(nPages, parameters.size_x, parameters.size_y);
    }
    Binning_Events_Base(const Binning_Events_Base&) = delete;
    Binning_Events_Base& operator=(const Binning_Events_Base&) = delete;
    ~Binning_Events_Base() = default;
};
