#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <type_traits>

namespace orven {

/// Throws: std::invalid_argument "Read Error!".
[[noreturn]] inline void fail_to_read() {
    throw std::invalid_argument("Read Error!");
}

/// The bytes of a file, read at any position.
class Byte_Source {
public:
    /// Fills `bytes` with those of the file from `position` on.
    /// Throws: std::invalid_argument "Read Error!" if the file ends before, or cannot be read.
    virtual void read_bytes(std::int64_t position, std::span<std::byte> bytes) const = 0;

    /// Fills `records` with those that lie in the file from `position` on: the one place where
    /// bytes of a file become values.
    /// Throws: as `read_bytes`.
    template <class Record>
    void read_records(std::int64_t position, std::span<Record> records) const {
        static_assert(std::is_trivially_copyable_v<Record>);
        static_assert(std::endian::native == std::endian::little, "as all numbers of a file");
        read_bytes(position, std::as_writable_bytes(records));
    }

protected:
    Byte_Source() = default;
    Byte_Source(const Byte_Source&) = default;
    Byte_Source& operator=(const Byte_Source&) = default;
    ~Byte_Source() = default;
};

}  // namespace orven
