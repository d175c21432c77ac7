#include <cstring>
#include <limits>

#include "FileHandler_Events.h"
#include "recordings.h"

namespace {

using orven::Photon_FileHandler;

const std::string two_events = bytes_of(std::vector{event(1, 2, 3, 4, 0.5), event(-6, -7, -8, 9)});
const std::string event_block = block("events", two_events);

struct Damaged_File {
    const char* name;
    std::string bytes;
    std::string message;

    friend void PrintTo(const Damaged_File& instance, std::ostream* out) { *out << instance.name; }
};

class Damaged_Files : public testing::TestWithParam<Damaged_File> {};

TEST_P(Damaged_Files, are_rejected_by_the_first_check_that_fails) {
    const Folder folder;
    const std::string path = folder.write("a.orvenevent", GetParam().bytes);
    EXPECT_EQ(message_of([&] { (void)Photon_FileHandler().load_file(path); }), GetParam().message);
}

std::string with_byte(std::string bytes, std::size_t position, char byte) {
    bytes[position] = byte;
    return bytes;
}

constexpr std::uint64_t two_to_63 = std::uint64_t{1} << 63;

INSTANTIATE_TEST_SUITE_P(
    Event_Files, Damaged_Files,
    testing::Values(
        Damaged_File{"empty", "", "Read Error!"},
        Damaged_File{"half_a_header", "ORVEN", "Read Error!"},
        Damaged_File{"wrong_magic", with_byte(container(event_block), 5, 'X'),
                     "Not a valid ORVEN file!"},
        Damaged_File{"size_too_large", header("ORVEN", 5) + "1234",
                     "Block size is indicated as 5 but only 4 bytes are left in the file!"},
        Damaged_File{"size_too_large_before_magic", header("NEVRO", 5) + "1234",
                     "Block size is indicated as 5 but only 4 bytes are left in the file!"},
        Damaged_File{"size_too_small", header("ORVEN", 3) + "1234", "File size mismatch!"},
        Damaged_File{"size_that_wraps", header("ORVEN", two_to_63 - 16) + "1234",
                     "File size mismatch!"},
        Damaged_File{"no_build_block", block("ORVEN", block("guild", "0123456789abcdef")),
                     "File is missing build information!"},
        Damaged_File{"short_build_block", block("ORVEN", block("build", "01234567")),
                     "Build info size missmatch! File corrupted?"},
        Damaged_File{"wrong_version_and_type", container(event_block, 1, 4),
                     "File has wrong version!"},
        Damaged_File{"wrong_type", container(event_block, 0, 4), "File has wrong type!"},
        Damaged_File{"no_blocks", container(""), "File does not contain event data!"},
        Damaged_File{"triggers_only", container(block("extTrigs", "")),
                     "File does not contain event data!"},
        Damaged_File{"partial_trigger", container(block("extTrigs", "123456789") + event_block),
                     "File contains partial external triggers!"},
        Damaged_File{"partial_event", container(block("events", std::string(33, ' '))),
                     "File contains partial events!"},
        Damaged_File{"unknown_block", container(event_block + block("event", "")),
                     "Block identifier not recognized!"},
        Damaged_File{"second_build_block", container(block("build", std::string(16, '\0'))),
                     "Block identifier not recognized!"},
        Damaged_File{"bytes_after_the_last_block", container(event_block + "123"), "Read Error!"},
        Damaged_File{"block_beyond_the_end", container(header("events", 64) + two_events.substr(1)),
                     "Block size is indicated as 64 but only 63 bytes are left in the file!"},
        Damaged_File{"events_size_of_2_to_63", container(header("events", two_to_63) + two_events),
                     "vector::reserve"},
        Damaged_File{"triggers_size_of_2_to_64_less_8",
                     container(header("extTrigs", std::uint64_t{0} - 8) + two_events),
                     "vector::reserve"},
        Damaged_File{"events_size_just_below_2_to_63",
                     container(header("events", two_to_63 - 32) + two_events), "std::bad_alloc"}),
    [](const auto& instance) { return instance.param.name; });

TEST(Event_Files, a_missing_file_is_named) {
    EXPECT_EQ(message_of([] { (void)Photon_FileHandler().load_file("/no/such.orvenevent"); }),
              "file \"/no/such.orvenevent\" could not be opened!");
}

TEST(Event_Files, a_folder_cannot_be_read) {
    EXPECT_EQ(message_of([] { (void)Photon_FileHandler().load_file("/"); }), "Read Error!");
}

TEST(Event_Files, fields_arrive_as_they_were_recorded) {
    const Folder folder;
    const auto data = Photon_FileHandler().load_file(folder.write("a", container(event_block)));
    EXPECT_FALSE(data.extTriggers.has_value());
    EXPECT_EQ(bytes_of(data.events), two_events);
    EXPECT_EQ(data.events[1].x.value, -6);
    EXPECT_EQ(data.events[1].time.value, -8);
    EXPECT_EQ(data.events[0].psd.value, 0.5);
}

TEST(Event_Files, the_last_block_of_a_kind_counts_wherever_it_stands) {
    const Folder folder;
    const std::string first = block("events", two_events + two_events);
    const std::string triggers = block("extTrigs", bytes_of(std::vector<long>{5, 6}));
    for (const std::string& blocks :
         {first + event_block + triggers, triggers + first + event_block,
          block("extTrigs", "12345678") + first + triggers + event_block}) {
        const auto data = Photon_FileHandler().load_file(folder.write("a", container(blocks)));
        EXPECT_EQ(bytes_of(data.events), two_events);
        EXPECT_EQ(data.extTriggers, times({5, 6}));
    }
}

TEST(Event_Files, empty_blocks_are_present) {
    const Folder folder;
    const auto data = Photon_FileHandler().load_file(folder.write("a", recording({}, {{}})));
    EXPECT_TRUE(data.events.empty());
    EXPECT_EQ(data.extTriggers, times({}));
}

TEST(Event_Files, pieces_of_any_size_are_the_whole) {
    const Folder folder;
    std::vector<Photon_Event> events;
    for (int i = 0; i < 1000; ++i) {
        events.push_back(event(i, -i, i * 10L));
    }
    const std::string path = folder.write("a", recording(events, {{1, 2, 3}}));
    auto file = Photon_FileHandler::open_file(path);
    Photon_FileHandler::Stream stream(file.stream, file.fileEnd);
    for (const std::size_t piece_size : {1U, 7U, 255U, 999U, 1000U}) {
        std::vector<Photon_Event> read(stream.nEvents());
        for (std::size_t i = 0; i < read.size(); i += piece_size) {
            const std::span rest = std::span(read).subspan(i);
            stream.read_events(i, rest.first(std::min(piece_size, rest.size())));
        }
        EXPECT_EQ(bytes_of(read), bytes_of(events)) << piece_size;
        EXPECT_EQ(stream.read_extTriggers(), times({1, 2, 3}));
    }
}

TEST(Event_Files, a_file_that_shrinks_while_it_is_read_fails) {
    const Folder folder;
    const std::string path =
        folder.write("a", recording(std::vector<Photon_Event>(4096, event(1, 2))));
    auto file = Photon_FileHandler::open_file(path);
    Photon_FileHandler::Stream stream(file.stream, file.fileEnd);
    std::filesystem::resize_file(path, 1000);
    std::vector<Photon_Event> piece(4096);
    EXPECT_EQ(message_of([&] { stream.read_events(0, piece); }), "Read Error!");
}

}  // namespace
