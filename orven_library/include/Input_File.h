#pragma once

#include "Byte_Source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace orven {

/// A file that is open for reading. Its length is taken once, when it is opened: what is appended
/// later is not part of it, whoever reads.
/// Threads: reading moves nothing, so any number of threads may share one object.
class Input_File final : public Byte_Source {
public:
    /// A pipe is opened without waiting for its other end, and refused since it has no length.
    /// Throws: std::invalid_argument that names the file if it cannot be opened, "Read Error!" if
    /// it has no length.
    explicit Input_File(const std::string& path)
        : descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        if (descriptor < 0) {
            throw std::invalid_argument("file \"" + path + "\" could not be opened!");
        }
        length = lseek(descriptor, 0, SEEK_END);
        if (length < 0) {
            close(descriptor);
            throw std::invalid_argument("Read Error!");
        }
    }
    Input_File(const Input_File&) = delete;
    Input_File& operator=(const Input_File&) = delete;
    ~Input_File() { close(descriptor); }

    /// The number of bytes.
    [[nodiscard]] std::int64_t size() const noexcept { return length; }

    void read_bytes(std::int64_t position, std::span<std::byte> bytes) const override {
        while (!bytes.empty()) {
            const ssize_t got = pread(descriptor, bytes.data(), bytes.size(), position);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                throw std::invalid_argument("Read Error!");
            }
            position += got;
            bytes = bytes.subspan(static_cast<std::size_t>(got));
        }
    }

private:
    int descriptor;
    std::int64_t length = 0;
};

}  // namespace orven
