#pragma once

#include "Event.h"
#include "Event_File.h"

#include <cstddef>
#include <memory>
#include <span>

/// Whether the triggers of a file ascend in time, equal ones included. Reads all of them, in one
/// pass through memory of fixed size.
/// Throws: std::invalid_argument "Read Error!".
[[nodiscard]] bool triggers_ascend(const orven::Event_File& file);

/// The triggers of one file, seen through a window of fixed size that moves on with the reader.
/// Threads: one object per task.
class Trigger_List {
public:
    /// The file must hold triggers and outlive this object.
    /// Throws: std::bad_alloc.
    Trigger_List(const orven::Event_File& file_, bool ascending_);

    [[nodiscard]] std::size_t size() const noexcept { return nTriggers; }

    /// The trigger with this index, which must exist.
    /// Throws: std::invalid_argument "Read Error!".
    [[nodiscard]] orven::Event_Time at(std::size_t index);

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
    std::unique_ptr<orven::Event_Time[]> memory;
    std::size_t first = 0;                  ///< the index of the window's first trigger
    std::span<orven::Event_Time> window{};  ///< those read from the file
};
