#pragma once

#include "Event.h"
#include "Event_File_Format.h"
#include "Input_File.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace orven {

/// An event file that has been opened and checked, once. Later reads fail only if the file itself
/// shrinks or can no longer be read.
/// Threads: any number of threads may share one object.
class Event_File {
public:
    /// Throws: as `Input_File` and `Event_File_Format` do.
    explicit Event_File(const std::string& path) : file(path), content(index_of(file)) {}

    /// What its blocks were found to be.
    [[nodiscard]] const Event_File_Index& index() const noexcept { return content; }

    /// Its number of bytes when it was opened.
    [[nodiscard]] std::int64_t size() const noexcept { return file.size(); }

    /// Reads the events from index `first` on, as many as `events` holds; all must exist.
    /// Throws: std::invalid_argument "Read Error!".
    void read_events(std::size_t first, std::span<Photon_Event> events) const {
        file.read_records(position_in(content.events, first, sizeof(Photon_Event)), events);
    }

    /// Reads the triggers from index `first` on, as many as `triggers` holds; the file must have a
    /// trigger block, and all must exist.
    /// Throws: std::invalid_argument "Read Error!".
    void read_extTriggers(std::size_t first, std::span<Event_Time> triggers) const {
        file.read_records(position_in(*content.extTriggers, first, sizeof(Event_Time)), triggers);
    }

private:
    static Event_File_Index index_of(const Input_File& file) {
        const Header_Bytes headers(file);
        Event_File_Format format(headers, 0, file.size());
        format.read_file_start(Event_File_Format::event_file_type);
        return format.index_blocks();
    }

    static std::int64_t position_in(const Record_Block& block, std::size_t first,
                                    std::size_t record_bytes) noexcept {
        return block.position + static_cast<std::int64_t>(first * record_bytes);
    }

    Input_File file;
    Event_File_Index content;
};

}  // namespace orven
