#include "write_event_file.h"

#include "Event_File_Format.h"
#include "output/Output_File.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

using orven::Block_Header;
using orven::Event_File_Format;

/// An output file whose failures are exceptions.
class Throwing_File {
public:
    explicit Throwing_File(const std::string& path_) : path(path_), file(path_) {
        check(file.error() == 0);
    }

    template <class Record>
    void write(std::span<const Record> records) {
        check(file.write(records.data(), records.size_bytes()));
    }

    void close() { check(file.close()); }

private:
    void check(bool success) const {
        if (!success) {
            throw std::runtime_error(path + ": " + file.reason());
        }
    }

    std::string path;
    Output_File file;
};

template <class Record>
std::uint64_t block_bytes(const Record_Source<Record>& records) {
    return sizeof(Block_Header) + records.nRecords * sizeof(Record);
}

template <class Record>
void write_block(Throwing_File& file, std::uint64_t identifier,
                 const Record_Source<Record>& records) {
    constexpr std::uint64_t piece_length = 4096;
    const Block_Header header{identifier, records.nRecords * sizeof(Record)};
    file.write(std::span(&header, 1));
    std::vector<Record> memory(std::min(records.nRecords, piece_length));
    for (std::uint64_t nLeft = records.nRecords; nLeft > 0;) {
        const std::span piece(memory.data(), std::min(nLeft, piece_length));
        records.fill(piece);
        file.write(std::span<const Record>(piece));
        nLeft -= piece.size();
    }
}

}  // namespace

void write_event_file(const std::string& path,
                      const std::optional<Record_Source<orven::Event_Time>>& triggers,
                      const Record_Source<orven::Photon_Event>& events) {
    Throwing_File file(path);
    const Event_File_Format::File_Start start = Event_File_Format::file_start(
        (triggers ? block_bytes(*triggers) : 0) + block_bytes(events));
    file.write(std::span(&start, 1));
    if (triggers) {
        write_block(file, Event_File_Format::triggers_identifier, *triggers);
    }
    write_block(file, Event_File_Format::events_identifier, events);
    file.close();
}
