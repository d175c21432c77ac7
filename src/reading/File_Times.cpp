#include "reading/File_Times.h"

#include "Event_File.h"

#include <cstddef>
#include <exception>
#include <span>

namespace {

orven::Event_Time time_of_event(const orven::Event_File& file, std::size_t index) {
    orven::Photon_Event event;
    file.read_events(index, std::span(&event, 1));
    return event.time;
}

}  // namespace

std::optional<File_Times> times_of(const std::string& path) noexcept {
    try {
        const orven::Event_File file(path);
        const auto& [events, extTriggers] = file.index();
        if (events.nRecords == 0) {
            return std::nullopt;
        }
        File_Times times{time_of_event(file, 0), time_of_event(file, events.nRecords - 1), {}};
        if (extTriggers && extTriggers->nRecords > 0) {
            orven::Event_Time trigger;
            file.read_extTriggers(0, std::span(&trigger, 1));
            times.first_trigger = trigger;
        }
        return times;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}
