#include "Event_File.h"

#include "Event.h"
#include "Event_Source.h"
#include "FileHandler_OrvenData.h"
#include "Output_File.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

constexpr std::uint64_t header_bytes = 16;
constexpr std::uint64_t build_bytes = 16;
constexpr std::uint64_t version = 0;
constexpr std::uint64_t event_file_type = 3;

/// An output file whose failures are exceptions.
class Checked_File {
public:
    explicit Checked_File(const std::string& path_) : path(path_), file(path_) {
        check(file.error() == 0);
    }

    template <class Record>
    void write(std::span<const Record> records) {
        check(file.write(records.data(), records.size_bytes()));
    }

    void write(std::uint64_t number) { write(std::span<const std::uint64_t>(&number, 1)); }

    void write_header(std::string_view identifier, std::uint64_t payload_bytes) {
        write(orven::block_identifier(identifier));
        write(payload_bytes);
    }

    void close() { check(file.close()); }

private:
    void check(bool success) const {
        if (!success) {
            throw std::system_error(file.error(), std::generic_category(), path);
        }
    }

    std::string path;
    Output_File file;
};

void write_triggers(Checked_File& file, const Recording& recording, std::uint64_t first_pulse) {
    for (std::uint64_t i = 0; i <= recording.nPulses; ++i) {
        file.write(static_cast<std::uint64_t>(recording.pulse_time(first_pulse + i)));
    }
}

void write_events(Checked_File& file, Event_Source source, std::uint64_t nEvents) {
    constexpr std::uint64_t piece_length = 4096;
    std::vector<orven::Photon_Event> memory(std::min(nEvents, piece_length));
    while (nEvents > 0) {
        const std::span piece(memory.data(), std::min(nEvents, piece_length));
        source.fill(piece);
        file.write(std::span<const orven::Photon_Event>(piece));
        nEvents -= piece.size();
    }
}

}  // namespace

void write_event_file(const std::string& path, const Scene& scene, const Recording& recording,
                      std::uint64_t file_index) {
    const std::uint64_t first_pulse = file_index * recording.nPulses;
    const std::uint64_t nEvents = recording.events_before(first_pulse + recording.nPulses) -
                                  recording.events_before(first_pulse);
    const std::uint64_t events_bytes = nEvents * sizeof(orven::Photon_Event);
    const std::uint64_t triggers_bytes = (recording.nPulses + 1) * sizeof(orven::Event_Time);
    const std::uint64_t trigger_block_bytes =
        recording.triggers ? header_bytes + triggers_bytes : 0;

    Checked_File file(path);
    file.write_header(
        "ORVEN", header_bytes + build_bytes + trigger_block_bytes + header_bytes + events_bytes);
    file.write_header("build", build_bytes);
    file.write(version);
    file.write(event_file_type);
    if (recording.triggers) {
        file.write_header("extTrigs", triggers_bytes);
        write_triggers(file, recording, first_pulse);
    }
    file.write_header("events", events_bytes);
    write_events(file, Event_Source(scene, recording, file_index), nEvents);
    file.close();
}
