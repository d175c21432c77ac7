#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace orven {

/// The value of a block identifier: up to 8 ASCII characters, padded with zero bytes.
[[nodiscard]] constexpr std::uint64_t block_identifier(std::string_view name) {
    std::array<char, 8> bytes{};
    for (std::size_t i = 0; i < name.size(); ++i) {
        bytes.at(i) = name[i];
    }
    return std::bit_cast<std::uint64_t>(bytes);
}

/// Reads `records.size()` records at the stream's position: the one place where bytes of a file
/// become values.
/// Throws: std::invalid_argument "Read Error!" if the file ends early or cannot be read.
template <class Record>
void read_records(std::ifstream& stream, std::span<Record> records) {
    static_assert(std::is_trivially_copyable_v<Record>);
    stream.read(reinterpret_cast<char*>(records.data()),  // NOLINT: bytes of a plain record
                static_cast<std::streamsize>(records.size_bytes()));
    if (stream.fail()) {
        throw std::invalid_argument("Read Error!");
    }
}

/// The stream's position.
/// Throws: std::invalid_argument "Read Error!" if it cannot be told: tellg alone would say -1 and
/// leave the stream in good state.
inline std::int64_t position_of(std::ifstream& stream) {
    const std::int64_t position = stream.tellg();
    if (position == -1) {
        throw std::invalid_argument("Read Error!");
    }
    return position;
}

/// Reads and checks the container part of an ORVEN file: the file header and the build block,
/// after which blocks of the file type's own kind follow up to the end of the file.
/// Threads: no state; each call opens its own stream.
template <std::uint64_t file_type_index, class ReadOutput_Type>
class FileHandler_OrvenData {
public:
    /// A block header: what the block is, and the number of payload bytes that follow.
    struct IO_Block {
        std::uint64_t identifier;
        std::uint64_t size;

        /// Reads the header at the stream's position and leaves the stream at its payload.
        /// A size close to 2^63 or above wraps in the signed sum and passes: what a payload may
        /// hold is for the reader of the payload to check.
        /// Throws: std::invalid_argument "Read Error!", or the block size message if the payload
        /// runs past `fileEnd`.
        static IO_Block read_header(std::ifstream& stream, std::streampos fileEnd);
    };

    /// A file whose container part is valid, with the stream at the first block after it.
    struct Checked_File {
        std::ifstream stream;
        std::streampos fileEnd;
    };

    /// Opens and checks one file.
    /// Throws: std::invalid_argument with the message of the first check that fails.
    [[nodiscard]] static Checked_File open_file(const std::string& fileName);

    /// Opens, checks and reads one file as a whole.
    /// Throws: as `open_file`, and what `read_implementationSpecific` throws.
    [[nodiscard]] ReadOutput_Type load_file(const std::string& fileName) const {
        Checked_File file = open_file(fileName);
        return read_implementationSpecific(file.stream, file.fileEnd);
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

    using HeaderData = IO_Block;

    struct IO_File {
        static constexpr std::uint64_t identifier = block_identifier("ORVEN");
        static constexpr std::uint64_t build_identifier = block_identifier("build");
        static constexpr std::uint64_t build_size = 16;
        static constexpr std::uint64_t version = 0;

        static void read_content(std::ifstream& stream, std::streampos fileEnd);
    };

    static std::uint64_t read_number(std::ifstream& stream) {
        std::uint64_t number{};
        read_records(stream, std::span(&number, 1));
        return number;
    }
};

template <std::uint64_t file_type_index, class ReadOutput_Type>
auto FileHandler_OrvenData<file_type_index, ReadOutput_Type>::IO_Block::read_header(
    std::ifstream& stream, std::streampos fileEnd) -> IO_Block {
    const std::uint64_t identifier = read_number(stream);
    const std::uint64_t size = read_number(stream);
    const std::int64_t position = position_of(stream);
    const std::int64_t end = fileEnd;
    const auto payload_end = static_cast<std::int64_t>(static_cast<std::uint64_t>(position) + size);
    if (end < payload_end) {
        throw std::invalid_argument("Block size is indicated as " + std::to_string(size) +
                                    " but only " + std::to_string(end - position) +
                                    " bytes are left in the file!");
    }
    return {identifier, size};
}

template <std::uint64_t file_type_index, class ReadOutput_Type>
void FileHandler_OrvenData<file_type_index, ReadOutput_Type>::IO_File::read_content(
    std::ifstream& stream, std::streampos fileEnd) {
    const HeaderData header = IO_Block::read_header(stream, fileEnd);
    if (header.identifier != identifier) {
        throw std::invalid_argument("Not a valid ORVEN file!");
    }
    const auto position = static_cast<std::uint64_t>(position_of(stream));
    if (position + header.size != static_cast<std::uint64_t>(std::int64_t{fileEnd})) {
        throw std::invalid_argument("File size mismatch!");
    }
    const IO_Block build = IO_Block::read_header(stream, fileEnd);
    if (build.identifier != build_identifier) {
        throw std::invalid_argument("File is missing build information!");
    }
    if (build.size != build_size) {
        throw std::invalid_argument("Build info size missmatch! File corrupted?");
    }
    const std::uint64_t file_version = read_number(stream);
    const std::uint64_t fileType = read_number(stream);
    if (file_version != version) {
        throw std::invalid_argument("File has wrong version!");
    }
    if (fileType != file_type_index) {
        throw std::invalid_argument("File has wrong type!");
    }
}

template <std::uint64_t file_type_index, class ReadOutput_Type>
auto FileHandler_OrvenData<file_type_index, ReadOutput_Type>::open_file(const std::string& fileName)
    -> Checked_File {
    std::error_code no_status;
    if (std::filesystem::is_fifo(fileName, no_status)) {
        // A pipe has no length and no positions, and opening one may wait for ever.
        throw std::invalid_argument("Read Error!");
    }
    Checked_File file{std::ifstream(fileName, std::ios::binary), {}};
    if (!file.stream) {
        throw std::invalid_argument("file \"" + fileName + "\" could not be opened!");
    }
    file.stream.seekg(0, std::ios::end);
    file.fileEnd = position_of(file.stream);
    file.stream.seekg(0);
    IO_File::read_content(file.stream, file.fileEnd);
    return file;
}

}  // namespace orven
