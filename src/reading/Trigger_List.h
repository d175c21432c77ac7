#pragma once

#include "Event.h"
#include "Event_File.h"

#include <array>
#include <cstddef>
#include <span>

/// So many triggers are in memory at a time: few enough to stay in a core's cache beside a piece
/// of events.
inline constexpr std::size_t triggers_per_window = 2048;

/// Whether the triggers of a file ascend in time, equal ones included. Reads all of them, in one
/// pass through a window.
/// Throws: std::invalid_argument "Read Error!".
[[nodiscard]] bool triggers_ascend(const orven::Event_File& file);

/// The triggers of one file, seen through a window of fixed size that moves on with the reader.
/// Threads: one object per task.
class Trigger_List {
public:
    /// The file must hold triggers and outlive this object.
    Trigger_List(const orven::Event_File& file_, bool ascending_) noexcept;

    [[nodiscard]] std::size_t size() const noexcept { return nTriggers; }

    /// The trigger with this index, which must exist.
    /// Throws: std::invalid_argument "Read Error!".
    [[nodiscard]] orven::Event_Time at(std::size_t index) {
        if (index - first >= nShown) {  // an index below `first` wraps
            show(index);
        }
        return window[index - first];
    }

    /// The index of the first trigger from `index` on that is later than `time`; `size()` if there
    /// is none. Where triggers ascend, those beyond the window are searched, not walked.
    /// Throws: std::invalid_argument "Read Error!".
    [[nodiscard]] std::size_t first_after(orven::Event_Time time, std::size_t index);

private:
    /// Moves the window so that it starts with this trigger.
    void show(std::size_t index);
    [[nodiscard]] std::size_t search(orven::Event_Time time, std::size_t index) const;

    const orven::Event_File* file;
    bool ascending;
    std::size_t nTriggers;
    std::size_t first = 0;  ///< the index of the window's first trigger
    std::size_t nShown = 0;
    std::array<orven::Event_Time, triggers_per_window> window;
};
