#pragma once

#include "Byte_Source.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
        (void)read_at_least(bytes.size(), position, bytes);
        // Where a file is being cut off, a read may find zeros, which are events as good as others.
        if (lseek(descriptor, 0, SEEK_END) < length) {
            fail_to_read();
        }
    }

    /// Fills `bytes` with those of the file from `position` on: the first `least` of them, and as
    /// many more as come with these. Does not notice a file that is being cut off.
    /// Returns how many were filled.
    /// Throws: as `read_bytes`.
    [[nodiscard]] std::size_t read_at_least(std::size_t least, std::int64_t position,
                                            std::span<std::byte> bytes) const {
        std::size_t nRead = 0;
        while (nRead < least) {
            const std::span rest = bytes.subspan(nRead);
            const ssize_t got = pread(descriptor, rest.data(), rest.size(),
                                      position + static_cast<std::int64_t>(nRead));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                fail_to_read();
            }
            nRead += static_cast<std::size_t>(got);
        }
        return nRead;
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

/// The bytes of a file for a walk along its headers, a KiB at a time: those that lie close together
/// take one read. Zeros in place of what is being cut off are no header.
/// Threads: one object per thread.
class Header_Bytes final : public Byte_Source {
public:
    /// `file_` must outlive this object.
    explicit Header_Bytes(const Input_File& file_) : file(&file_) {}

    /// `bytes` holds a KiB at most.
    void read_bytes(std::int64_t position, std::span<std::byte> bytes) const override {
        assert(bytes.size() <= buffer.size());
        const auto end = position + static_cast<std::int64_t>(bytes.size());
        if (position < begin || held_end < end) {
            const std::size_t nRead = file->read_at_least(bytes.size(), position, buffer);
            begin = position;
            held_end = position + static_cast<std::int64_t>(nRead);
        }
        std::memcpy(bytes.data(), &buffer[static_cast<std::size_t>(position - begin)],
                    bytes.size());
    }

private:
    const Input_File* file;
    mutable std::array<std::byte, 1024> buffer;
    mutable std::int64_t begin = 0;
    mutable std::int64_t held_end = 0;
};

}  // namespace orven
