#pragma once

#include "Byte_Source.h"
#include "Event_File_Format.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>

namespace orven {

/// The bytes behind a stream. Reading moves the stream.
class Stream_Bytes final : public Byte_Source {
public:
    explicit Stream_Bytes(std::ifstream& stream_) : stream(&stream_) {}

    void read_bytes(std::int64_t position, std::span<std::byte> bytes) const override {
        stream->seekg(position);
        stream->read(reinterpret_cast<char*>(bytes.data()),  // NOLINT: bytes are bytes
                     static_cast<std::streamsize>(bytes.size()));
        if (stream->fail()) {
            fail_to_read();
        }
    }

private:
    std::ifstream* stream;
};

/// The stream's position.
/// Throws: std::invalid_argument "Read Error!" if it cannot be told: tellg alone would say -1 and
/// leave the stream in good state.
inline std::int64_t position_of(std::ifstream& stream) {
    const std::int64_t position = stream.tellg();
    if (position == -1) {
        fail_to_read();
    }
    return position;
}

/// Reads an ORVEN file as a whole: checks what all file types share, and leaves the blocks of the
/// file type to the derived class.
/// Threads: no state; each call opens its own stream.
template <std::uint64_t file_type_index, class ReadOutput_Type>
class FileHandler_OrvenData {
public:
    struct IO_Block : Block_Header {
        /// Reads the header at the stream's position and leaves the stream at the block's payload.
        /// Throws: as `Event_File_Format::read_header`.
        static IO_Block read_header(std::ifstream& stream, std::streampos fileEnd) {
            const Stream_Bytes bytes(stream);
            Event_File_Format format(bytes, position_of(stream), fileEnd);
            return {format.read_header()};
        }
    };

    /// Throws: std::invalid_argument with the message of the first check that fails, and what
    /// `read_implementationSpecific` throws.
    [[nodiscard]] ReadOutput_Type load_file(const std::string& fileName) const {
        std::error_code no_status;
        if (std::filesystem::is_fifo(fileName, no_status)) {
            // A pipe has no length and no positions, and opening one may wait for ever.
            fail_to_read();
        }
        std::ifstream stream(fileName, std::ios::binary);
        if (!stream) {
            throw std::invalid_argument("file \"" + fileName + "\" could not be opened!");
        }
        stream.seekg(0, std::ios::end);
        const std::int64_t fileEnd = position_of(stream);
        const Stream_Bytes bytes(stream);
        Event_File_Format(bytes, 0, fileEnd).read_file_start(file_type_index);
        return read_implementationSpecific(stream, fileEnd);
    }

protected:
    FileHandler_OrvenData() = default;
    FileHandler_OrvenData(const FileHandler_OrvenData&) = default;
    FileHandler_OrvenData& operator=(const FileHandler_OrvenData&) = default;
    ~FileHandler_OrvenData() = default;

private:
    /// Reads the blocks of the file type, from the stream's position up to `fileEnd`.
    virtual ReadOutput_Type read_implementationSpecific(std::ifstream& stream,
                                                        std::streampos fileEnd) const = 0;
};

}  // namespace orven
