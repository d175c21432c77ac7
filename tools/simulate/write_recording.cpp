#include "write_recording.h"

#include "Event.h"
#include "Event_Source.h"
#include "write_event_file.h"

#include <optional>
#include <span>

namespace {

Record_Source<orven::Event_Time> trigger_source(const Recording& recording,
                                                std::uint64_t first_pulse) {
    return {recording.nPulses + 1,
            [&recording, pulse = first_pulse](std::span<orven::Event_Time> piece) mutable {
                for (orven::Event_Time& trigger : piece) {
                    trigger = orven::Event_Time(recording.pulse_time(pulse++));
                }
            }};
}

Record_Source<orven::Photon_Event> event_source(const Scene& scene, const Recording& recording,
                                                std::uint64_t file_index) {
    const std::uint64_t first_pulse = file_index * recording.nPulses;
    return {recording.events_before(first_pulse + recording.nPulses) -
                recording.events_before(first_pulse),
            [source = Event_Source(scene, recording, file_index)](
                std::span<orven::Photon_Event> piece) mutable { source.fill(piece); }};
}

}  // namespace

void write_recording(const std::string& path, const Scene& scene, const Recording& recording,
                     std::uint64_t file_index) {
    std::optional<Record_Source<orven::Event_Time>> triggers;
    if (recording.triggers) {
        triggers = trigger_source(recording, file_index * recording.nPulses);
    }
    write_event_file(path, triggers, event_source(scene, recording, file_index));
}
