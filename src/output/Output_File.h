#pragma once

#include "output/Pending_File.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// A new file, written through a large buffer that holds its end: many small pieces, and small
/// corrections of what was written before, become few large writes. It takes the place of an
/// existing file when it is closed, or not at all. Pipes take what is written in order.
/// Failures: functions report them by their results; the reason of the first one is kept.
class Output_File {
public:
    /// Starts the file. Check `error` before use.
    /// Throws: std::bad_alloc.
    explicit Output_File(const std::string& path);

    /// Moves the position at which the next read or write takes place.
    void seek(std::uint64_t position_) noexcept { position = position_; }
    [[nodiscard]] std::uint64_t tell() const noexcept { return position; }
    [[nodiscard]] std::uint64_t size() const noexcept { return bufferStart + used; }

    /// Both advance the position; false if not all bytes could be moved, or if anything before
    /// failed: nothing can be made of such a file any more.
    bool write(const void* bytes, std::size_t count) noexcept;
    bool read(void* bytes, std::size_t count) noexcept;

    /// Writes what is still buffered, closes the file and puts it in its place; false if that or
    /// anything before failed, and nothing is in its place then.
    bool close();

    /// The errno value of the first failure; 0 if there was none.
    [[nodiscard]] int error() const noexcept { return firstError; }

    /// The same in words. Where something else has come to the path meanwhile, they say where the
    /// complete file is.
    [[nodiscard]] std::string reason() const;

private:
    [[nodiscard]] bool fits_buffer(std::size_t count) const noexcept;
    bool flush() noexcept;
    bool write_at(std::uint64_t start, const std::byte* bytes, std::size_t count) noexcept;
    bool fail(int errorNumber) noexcept;

    std::unique_ptr<std::byte[]> buffer;
    Pending_File file;
    int firstError = 0;
    std::uint64_t position = 0;
    std::uint64_t bufferStart = 0;  ///< the file offset of the buffer: all before it is written
    std::size_t used = 0;
};
