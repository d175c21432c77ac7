#pragma once

#include "FileHandler_OrvenData.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ios>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

namespace orven {

/// The events of one open event file, read in pieces into memory of the caller's.
/// The constructor walks and checks all block headers, so later reads fail only if the file itself
/// can no longer be read. Of several blocks of one kind the last one counts.
template <class FileHandler, class Event_Type>
class Event_Stream {
public:
    using Event = Event_Type;
    using Time = typename Event_Type::Time;
    using IO_Block = typename FileHandler::IO_Block;

    /// Walks the blocks from the stream's position, just after the build block, to `fileEnd`.
    /// The stream must outlive this object.
    /// Throws: std::invalid_argument with the message of the first check that fails;
    /// std::length_error or std::bad_alloc for a block size that no file can have.
    Event_Stream(std::ifstream& stream_, std::streampos fileEnd) : stream(&stream_) {
        while (position_of(*stream) != fileEnd) {
            read_block(fileEnd);
        }
        if (!events.present) {
            throw std::invalid_argument("File does not contain event data!");
        }
    }

    [[nodiscard]] std::size_t nEvents() const noexcept { return events.nRecords; }

    /// All trigger times in file order; empty optional if the file holds no trigger block.
    /// Throws: std::invalid_argument "Read Error!".
    [[nodiscard]] std::optional<std::vector<Time>> read_extTriggers() {
        if (!extTriggers.present) {
            return std::nullopt;
        }
        std::vector<Time> times(extTriggers.nRecords);
        next_position = -1;
        stream->seekg(extTriggers.position);
        read_records(*stream, std::span(times));
        return times;
    }

    /// Reads the events from index `first` on, as many as `piece` holds; all must exist.
    /// Throws: std::invalid_argument "Read Error!".
    void read_events(std::size_t first, std::span<Event> piece) {
        const std::streampos position =
            events.position + static_cast<std::streamoff>(first * sizeof(Event));
        if (position != next_position) {
            stream->seekg(position);
        }
        next_position = -1;
        read_records(*stream, piece);
        next_position = position + static_cast<std::streamoff>(piece.size_bytes());
    }

private:
    /// Where the records of the last block of one kind lie in the file, if there is any.
    struct Record_Block {
        bool present = false;
        std::streampos position;
        std::size_t nRecords = 0;
    };

    void read_block(std::streampos fileEnd) {
        const IO_Block block = IO_Block::read_header(*stream, fileEnd);
        if (block.identifier == block_identifier("extTrigs")) {
            extTriggers =
                locate_records<Time>(block, fileEnd, "File contains partial external triggers!");
        } else if (block.identifier == block_identifier("events")) {
            events = locate_records<Event>(block, fileEnd, "File contains partial events!");
        } else {
            throw std::invalid_argument("Block identifier not recognized!");
        }
    }

    /// Checks the block's size and moves the stream past its payload.
    template <class Record>
    Record_Block locate_records(const IO_Block& block, std::streampos fileEnd,
                                const char* partial_message) {
        if (block.size % sizeof(Record) != 0) {
            throw std::invalid_argument(partial_message);
        }
        const std::size_t nRecords = block.size / sizeof(Record);
        const std::streampos position = position_of(*stream);
        if (fileEnd < position || block.size > static_cast<std::uint64_t>(fileEnd - position)) {
            reject_unholdable<Record>(nRecords);
        }
        if (block.size != 0) {
            stream->seekg(static_cast<std::streamoff>(block.size), std::ios::cur);
        }
        return {true, position, nRecords};
    }

    /// Fails as a vector of so many records would, for a size that wrapped past the header check.
    template <class Record>
    [[noreturn]] static void reject_unholdable(std::size_t nRecords) {
        if (nRecords > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Record)) {
            throw std::length_error("vector::reserve");
        }
        throw std::bad_alloc();
    }

    std::ifstream* stream;
    Record_Block events;
    Record_Block extTriggers;
    std::streampos next_position = -1;  ///< where the stream stands, if events were read last
};

}  // namespace orven
