// Any bytes as an event file: read as a whole through a stream, and opened once and read in pieces,
// both against a walk through the bytes.

#include "Event_File.h"
#include "FileHandler_Events.h"
#include "fuzz_input.h"
#include "recordings.h"

#include <limits>
#include <optional>
#include <stdexcept>

namespace {

using namespace std::string_view_literals;

/// A walk through the bytes of a file.
class Model {
public:
    std::optional<std::string_view> events;
    std::optional<std::string_view> triggers;

    explicit Model(std::string_view file_) : file(file_) {}

    /// Throws: the first fault.
    void read() {
        std::string_view name = take(8);
        std::uint64_t size = take_size();
        require(name == "ORVEN\0\0\0"sv, "Not a valid ORVEN file!");
        require(size == file.size() - position, "File size mismatch!");
        name = take(8);
        size = take_size();
        require(name == "build\0\0\0"sv, "File is missing build information!");
        require(size == 16, "Build info size missmatch! File corrupted?");
        const std::uint64_t version = take_number();
        const std::uint64_t type = take_number();
        require(version == 0, "File has wrong version!");
        require(type == 3, "File has wrong type!");
        while (position < file.size()) {
            name = take(8);
            size = take_size();
            require(name == "extTrigs"sv || name == "events\0\0"sv,
                    "Block identifier not recognized!");
            if (name == "extTrigs"sv) {
                triggers = take_records(size, 8, "File contains partial external triggers!");
            } else {
                events = take_records(size, 32, "File contains partial events!");
            }
        }
        require(events.has_value(), "File does not contain event data!");
    }

private:
    std::string_view file;
    std::size_t position = 0;

    static void require(bool condition, const std::string& message) {
        if (!condition) {
            throw std::invalid_argument(message);
        }
    }

    std::string_view take(std::size_t count) {
        require(file.size() - position >= count, "Read Error!");
        position += count;
        return file.substr(position - count, count);
    }

    std::uint64_t take_number() {
        std::uint64_t number = 0;
        take(8).copy(reinterpret_cast<char*>(&number), 8);
        return number;
    }

    std::uint64_t take_size() {
        const std::uint64_t size = take_number();
        // The end of the block is a signed number, which wraps.
        const auto end = static_cast<std::int64_t>(position + size);
        require(end <= static_cast<std::int64_t>(file.size()),
                "Block size is indicated as " + std::to_string(size) + " but only " +
                    std::to_string(file.size() - position) + " bytes are left in the file!");
        return size;
    }

    std::string_view take_records(std::uint64_t size, std::size_t width, const char* partial) {
        require(size % width == 0, partial);
        require(size <= std::numeric_limits<std::int64_t>::max(), "vector::reserve");
        require(size <= file.size() - position, "std::bad_alloc");
        return take(size);
    }
};

void expect_events(const std::vector<Photon_Event>& found, const Model& expected) {
    expect(bytes_of(found) == expected.events, "the events");
}

void expect_triggers(const std::optional<std::vector<orven::Event_Time>>& found,
                     const Model& expected) {
    expect(found.has_value() == expected.triggers.has_value(), "triggers or none");
    expect(!found || bytes_of(*found) == *expected.triggers, "the triggers");
}

/// All records of a block, asked for in pieces; `read(first, piece)` fills a piece.
template <class Record, class Read>
std::vector<Record> in_pieces(const orven::Record_Block& block, std::size_t length,
                              const Read& read) {
    std::vector<Record> records(block.nRecords);
    for (std::size_t i = 0; i < records.size(); i += length) {
        const std::span rest = std::span(records).subspan(i);
        read(i, rest.first(std::min(length, rest.size())));
    }
    return records;
}

void read_as_whole(const std::string& path, const Model& expected) {
    const auto data = orven::Photon_FileHandler().load_file(path);
    expect_events(data.events, expected);
    expect_triggers(data.extTriggers, expected);
}

void read_in_pieces(const std::string& path, const Model& expected, std::size_t length) {
    const orven::Event_File file(path);
    const orven::Event_File_Index& index = file.index();
    expect_events(
        in_pieces<Photon_Event>(index.events, length,
                                [&](auto first, auto piece) { file.read_events(first, piece); }),
        expected);
    std::optional<std::vector<orven::Event_Time>> triggers;
    if (index.extTriggers) {
        triggers = in_pieces<orven::Event_Time>(
            *index.extTriggers, length,
            [&](auto first, auto piece) { file.read_extTriggers(first, piece); });
    }
    expect_triggers(triggers, expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const Memory_File file;
    Fuzz_Input input(bytes, size);
    const auto options = input.take<std::uint8_t>();
    std::string content(input.rest);
    if ((options & 1U) != 0 && content.size() >= 16) {  // a file size that is true gets further
        content.replace(8, 8, bytes_of(content.size() - 16));
    }
    file.replace(content);
    Model model(content);
    const std::string fault = message_of([&] { model.read(); });
    const std::string whole = message_of([&] { read_as_whole(file.path(), model); });
    expect(whole == fault, whole + " instead of " + fault);
    const std::string pieces =
        message_of([&] { read_in_pieces(file.path(), model, 1 + options / 2U % 8U); });
    expect(pieces == fault, pieces + " in pieces instead of " + fault);
    return 0;
}
