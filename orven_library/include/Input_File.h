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
    /// A pipe has no length and is refused, without waiting for its other end.
    /// Throws: std::invalid_argument that names the file if it cannot be opened, "Read Error!" if
    /// it has no length.
    explicit Input_File(const std::string& path) : descriptor(open_for_reading(path.c_str())) {
        if (descriptor < 0) {
            throw std::invalid_argument("file \"" + path + "\" could not be opened!");
        }
        length = lseek(descriptor, 0, SEEK_END);
        if (length < 0) {
            close(descriptor);
            fail_to_read();
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
                fail_to_read();
            }
            position += got;
            bytes = bytes.subspan(static_cast<std::size_t>(got));
        }
        // Where a file is being cut off, a read may find zeros, which are events as good as others.
        if (lseek(descriptor, 0, SEEK_END) < length) {
            fail_to_read();
        }
    }

private:
    /// Waits for a file that somebody else holds a lease on, as file servers do for their clients,
    /// but not for the other end of a pipe.
    static int open_for_reading(const char* path) noexcept {
        constexpr int flags = O_RDONLY | O_CLOEXEC;
        const int opened = open(path, flags | O_NONBLOCK);
        return opened < 0 && errno == EWOULDBLOCK ? open(path, flags) : opened;
    }

    int descriptor;
    std::int64_t length = 0;
};

}  // namespace orven
