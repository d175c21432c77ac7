#pragma once

#include "Byte_Source.h"
#include "Event.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orven {

/// The value of a block identifier: up to 8 ASCII characters, padded with zero bytes.
[[nodiscard]] constexpr std::uint64_t block_identifier(std::string_view name) {
    std::array<char, 8> bytes{};
    for (std::size_t i = 0; i < name.size(); ++i) {
        bytes.at(i) = name[i];
    }
    return std::bit_cast<std::uint64_t>(bytes);
}

/// The header of a block: what the block is, and the number of payload bytes that follow.
struct Block_Header {
    std::uint64_t identifier;
    std::uint64_t size;
};
static_assert(sizeof(Block_Header) == 16);

/// Where the records of one block lie in a file.
struct Record_Block {
    std::int64_t position = 0;
    std::size_t nRecords = 0;
};

/// Where events and triggers lie in an event file: all that one walk over its blocks finds out.
struct Event_File_Index {
    Record_Block events;
    /// Empty if the file holds no trigger block: it was recorded without trigger input.
    std::optional<Record_Block> extTriggers;

    /// The number of trigger intervals: none with fewer than two triggers.
    [[nodiscard]] std::size_t nIntervals() const noexcept {
        const std::size_t nTriggers = extTriggers ? extTriggers->nRecords : 0;
        return nTriggers == 0 ? 0 : nTriggers - 1;
    }
};

/// Thrown for the size of a block for which there can be no memory: that is a fault of the file,
/// while any other std::bad_alloc is none.
class Impossible_Size : public std::bad_alloc {};

/// The format of ORVEN files, and the walk over the blocks of one. Nobody else knows the layout.
/// A file is one block "ORVEN" that holds the block "build" and then those of the file type.
class Event_File_Format {
public:
    static constexpr std::uint64_t file_identifier = block_identifier("ORVEN");
    static constexpr std::uint64_t build_identifier = block_identifier("build");
    static constexpr std::uint64_t triggers_identifier = block_identifier("extTrigs");
    static constexpr std::uint64_t events_identifier = block_identifier("events");
    static constexpr std::uint64_t version = 0;
    static constexpr std::uint64_t event_file_type = 3;

    /// What stands before the blocks of the file type.
    struct File_Start {
        Block_Header file;
        Block_Header build;
        std::uint64_t version;
        std::uint64_t fileType;
    };

    /// The start of an event file whose blocks, their headers included, have so many bytes.
    [[nodiscard]] static constexpr File_Start file_start(std::uint64_t blocks_bytes) {
        constexpr std::uint64_t start_bytes = sizeof(File_Start) - sizeof(Block_Header);
        return {{file_identifier, start_bytes + blocks_bytes},
                {build_identifier, build_size},
                version,
                event_file_type};
    }

    /// Walks through `bytes` from `position` to `fileEnd`. `bytes` must outlive this object.
    Event_File_Format(const Byte_Source& bytes_, std::int64_t position_, std::int64_t fileEnd_)
        : bytes(&bytes_), next(position_), fileEnd(fileEnd_) {}

    /// Reads a block header and goes on to its payload. A size close to 2^63 or above wraps in the
    /// signed sum and passes: what a payload may hold is for its reader to check.
    /// Throws: std::invalid_argument "Read Error!", or the block size message if the payload runs
    /// past the end of the file.
    Block_Header read_header();

    /// Reads and checks what stands before the blocks of the file type.
    /// Throws: std::invalid_argument with the message of the first check that fails.
    void read_file_start(std::uint64_t file_type);

    /// Walks the blocks of an event file up to its end. Of several blocks of one kind the last one
    /// counts.
    /// Throws: std::invalid_argument with the message of the first check that fails;
    /// std::length_error or Impossible_Size for a block size that no file can have.
    Event_File_Index index_blocks();

private:
    static constexpr std::uint64_t build_size = 16;

    std::uint64_t read_number() {
        std::uint64_t number{};
        bytes->read_records(next, std::span(&number, 1));
        next += static_cast<std::int64_t>(sizeof(number));
        return number;
    }

    static void require(bool condition, const char* message) {
        if (!condition) {
            throw std::invalid_argument(message);
        }
    }

    /// Checks the block's size and goes on past its payload.
    template <class Record>
    Record_Block pass_records(const Block_Header& block, const char* partial_message);

    const Byte_Source* bytes;
    std::int64_t next;
    std::int64_t fileEnd;
};
static_assert(sizeof(Event_File_Format::File_Start) == 48);

inline Block_Header Event_File_Format::read_header() {
    const std::uint64_t identifier = read_number();
    const std::uint64_t size = read_number();
    const auto payload_end = static_cast<std::int64_t>(static_cast<std::uint64_t>(next) + size);
    if (fileEnd < payload_end) {
        throw std::invalid_argument("Block size is indicated as " + std::to_string(size) +
                                    " but only " + std::to_string(fileEnd - next) +
                                    " bytes are left in the file!");
    }
    return {identifier, size};
}

inline void Event_File_Format::read_file_start(std::uint64_t file_type) {
    const Block_Header file = read_header();
    require(file.identifier == file_identifier, "Not a valid ORVEN file!");
    require(static_cast<std::uint64_t>(next) + file.size == static_cast<std::uint64_t>(fileEnd),
            "File size mismatch!");
    const Block_Header build = read_header();
    require(build.identifier == build_identifier, "File is missing build information!");
    require(build.size == build_size, "Build info size missmatch! File corrupted?");
    const std::uint64_t found_version = read_number();
    const std::uint64_t found_type = read_number();
    require(found_version == version, "File has wrong version!");
    require(found_type == file_type, "File has wrong type!");
}

inline Event_File_Index Event_File_Format::index_blocks() {
    std::optional<Record_Block> events;
    std::optional<Record_Block> extTriggers;
    while (next != fileEnd) {
        const Block_Header block = read_header();
        if (block.identifier == triggers_identifier) {
            extTriggers =
                pass_records<Event_Time>(block, "File contains partial external triggers!");
        } else if (block.identifier == events_identifier) {
            events = pass_records<Photon_Event>(block, "File contains partial events!");
        } else {
            throw std::invalid_argument("Block identifier not recognized!");
        }
    }
    require(events.has_value(), "File does not contain event data!");
    return {*events, extTriggers};
}

template <class Record>
Record_Block Event_File_Format::pass_records(const Block_Header& block,
                                             const char* partial_message) {
    require(block.size % sizeof(Record) == 0, partial_message);
    const std::size_t nRecords = block.size / sizeof(Record);
    // A size that wrapped past the check of the header fails as a vector of so many records would.
    if (nRecords > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Record)) {
        throw std::length_error("vector::reserve");
    }
    if (fileEnd < next || block.size > static_cast<std::uint64_t>(fileEnd - next)) {
        throw Impossible_Size();
    }
    const Record_Block found{next, nRecords};
    next += static_cast<std::int64_t>(block.size);
    return found;
}

}  // namespace orven
