#pragma once

#include "Data_Events.h"
#include "Event.h"
#include "Event_Stream.h"
#include "FileHandler_OrvenData.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <optional>
#include <utility>
#include <vector>

namespace orven {

/// Reads event files: blocks "events" and "extTrigs", in any order and number.
/// Threads: no state; calls for different files may run at the same time.
template <class Length_Type, class Time_Type, class PSD_Type, std::size_t length_bytes,
          std::size_t time_bytes, std::uint64_t file_type_index>
class FileHandler_Events final
    : public FileHandler_OrvenData<file_type_index,
                                   Data_Events<Event<Length_Type, Time_Type, PSD_Type>>> {
public:
    static_assert(sizeof(Length_Type) == length_bytes && sizeof(Time_Type) == time_bytes);

    using Event = orven::Event<Length_Type, Time_Type, PSD_Type>;
    using Data = Data_Events<Event>;
    using Stream = Event_Stream<FileHandler_OrvenData<file_type_index, Data>, Event>;

private:
    Data read_implementationSpecific(std::ifstream& stream, std::streampos fileEnd) const override {
        Stream content(stream, fileEnd);
        std::optional<std::vector<Time_Type>> extTriggers = content.read_extTriggers();
        std::vector<Event> events(content.nEvents());
        content.read_events(0, events);
        return Data(std::move(events), std::move(extTriggers));
    }
};

/// The reader of the event files.
using Photon_FileHandler =
    FileHandler_Events<Event_Length, Event_Time, PSD_Parameter_SumTimeDistToFirst, 4, 8, 3>;

}  // namespace orven
