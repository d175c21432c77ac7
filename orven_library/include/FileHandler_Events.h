#pragma once

#include "Data_Events.h"
#include "Event.h"
#include "Event_File_Format.h"
#include "FileHandler_OrvenData.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace orven {

/// Reads event files as a whole: blocks "events" and "extTrigs", in any order and number.
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
    static_assert(std::is_same_v<Event, Photon_Event>, "the format has no other records");

private:
    Data read_implementationSpecific(std::ifstream& stream, std::streampos fileEnd) const override {
        const Stream_Bytes bytes(stream);
        const Event_File_Index index =
            Event_File_Format(bytes, position_of(stream), fileEnd).index_blocks();
        std::optional<std::vector<Time_Type>> extTriggers;
        if (index.extTriggers) {
            extTriggers = read_block<Time_Type>(bytes, *index.extTriggers);
        }
        return Data(read_block<Event>(bytes, index.events), std::move(extTriggers));
    }

    template <class Record>
    static std::vector<Record> read_block(const Byte_Source& bytes, const Record_Block& block) {
        std::vector<Record> records(block.nRecords);
        bytes.read_records(block.position, std::span(records));
        return records;
    }
};

/// The reader of whole event files.
using Photon_FileHandler =
    FileHandler_Events<Event_Length, Event_Time, PSD_Parameter_SumTimeDistToFirst,
                       sizeof(Event_Length), sizeof(Event_Time),
                       Event_File_Format::event_file_type>;

}  // namespace orven
