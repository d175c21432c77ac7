#include "Event_File.h"
#include "FileHandler_Events.h"
#include "recordings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

TEST(Event_File, fails_once_the_file_has_shrunk) {
    const Folder folder;
    const std::string path =
        folder.write("a", recording(std::vector<Photon_Event>(100, event(1, 2)), {{1, 2, 3}}));
    const orven::Event_File file(path);
    std::vector<Photon_Event> events(10);
    std::vector<orven::Event_Time> triggers(3);
    file.read_events(90, events);
    file.read_extTriggers(0, triggers);
    std::filesystem::resize_file(path, 1000);
    EXPECT_EQ(message_of([&] { file.read_events(90, events); }), "Read Error!");
    // What is left may have been cut off and written anew.
    EXPECT_EQ(message_of([&] { file.read_extTriggers(0, triggers); }), "Read Error!");
}

TEST(Event_File, finds_headers_wherever_they_lie) {
    const Folder folder;
    for (std::size_t nTriggers = 0; nTriggers < 300; ++nTriggers) {
        const orven::Event_File file(
            folder.write("a", recording({event(1, 2, 3)}, std::vector<long>(nTriggers, 7))));
        EXPECT_EQ(file.index().extTriggers->nRecords, nTriggers);
        std::vector<Photon_Event> events(1);
        file.read_events(0, events);
        EXPECT_EQ(bytes_of(events), bytes_of(event(1, 2, 3)));
    }
}

TEST(Photon_FileHandler, refuses_a_pipe_instead_of_waiting_for_its_other_end) {
    const Folder folder;
    const std::string path = folder.path / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(message_of([&] { (void)orven::Photon_FileHandler().load_file(path); }),
              "Read Error!");
}

}  // namespace
