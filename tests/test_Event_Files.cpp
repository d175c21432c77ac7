#include "FileHandler_Events.h"
#include "recordings.h"

#include <gtest/gtest.h>

namespace {

using orven::Photon_FileHandler;

const std::string two_events = bytes_of(std::vector{event(1, 2, 3, 4, 0.5), event(-6, -7, -8, 9)});
const std::string event_block = block("events", two_events);

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
