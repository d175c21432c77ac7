// Any bytes as an event file: read as a whole and in pieces, against a walk through the bytes.

#include "FileHandler_Events.h"
#include "fuzz_input.h"
#include "recordings.h"

#include <limits>
#include <optional>
#include <stdexcept>

namespace {

using namespace std::string_view_literals;
using orven::Photon_FileHandler;

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

void expect_triggers(const std::optional<std::vector<orven::Event_Time>>& found,
                     const Model& expected) {
    expect(found.has_value() == expected.triggers.has_value(), "triggers or none");
    expect(!found || bytes_of(*found) == *expected.triggers, "the triggers");
}

/// With `triggers_between`, reads the triggers before each piece.
void read_in_pieces(const std::string& path, const Model& expected, std::size_t piece_size,
                    bool triggers_between) {
    auto file = Photon_FileHandler::open_file(path);
    Photon_FileHandler::Stream stream(file.stream, file.fileEnd);
    std::vector<Photon_Event> events(stream.nEvents());
    for (std::size_t i = 0; i < events.size(); i += piece_size) {
        if (triggers_between) {
            expect_triggers(stream.read_extTriggers(), expected);
        }
        const std::span rest = std::span(events).subspan(i);
        stream.read_events(i, rest.first(std::min(piece_size, rest.size())));
    }
    expect(bytes_of(events) == expected.events, "the events of all pieces");
    expect_triggers(stream.read_extTriggers(), expected);
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
    const std::string whole = message_of([&] {
        const auto data = Photon_FileHandler().load_file(file.path());
        expect(bytes_of(data.events) == model.events, "the events");
        expect_triggers(data.extTriggers, model);
    });
    expect(whole == fault, whole + " instead of " + fault);
    const std::string pieces = message_of(
        [&] { read_in_pieces(file.path(), model, 1 + options / 4U % 8U, (options & 2U) != 0); });
    expect(pieces == fault, pieces + " in pieces instead of " + fault);
    return 0;
}
