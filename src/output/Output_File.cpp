#include "output/Output_File.h"

#include "escaped.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

/// Large enough for few writes, small enough to stay in a core's cache.
constexpr std::size_t buffer_bytes = std::size_t{256} << 10;

}  // namespace

Output_File::Output_File(const std::string& path)
    : buffer(std::make_unique_for_overwrite<std::byte[]>(buffer_bytes)),
      firstError(file.open(path)) {}

bool Output_File::write(const void* bytes, std::size_t count) noexcept {
    if (firstError != 0) {
        return false;
    }
    const auto* const source = static_cast<const std::byte*>(bytes);
    const bool correction = position + count <= bufferStart;
    if (!correction && !fits_buffer(count) && !flush()) {
        return false;
    }
    if (fits_buffer(count)) {
        const std::size_t offset = position - bufferStart;
        if (offset > used) {  // a directory may start a little further on, to be aligned
            std::memset(buffer.get() + used, 0, offset - used);
        }
        std::memcpy(buffer.get() + offset, source, count);
        used = std::max(used, offset + count);
    } else {
        if (!write_at(position, source, count)) {
            return false;
        }
        bufferStart = std::max(bufferStart, position + count);
    }
    position += count;
    return true;
}

bool Output_File::read(void* bytes, std::size_t count) noexcept {
    if (firstError != 0) {
        return false;  // what was to be read may not have been written
    }
    auto* target = static_cast<std::byte*>(bytes);
    if (position >= bufferStart && position + count <= bufferStart + used) {
        std::memcpy(target, buffer.get() + (position - bufferStart), count);
        position += count;
        return true;
    }
    if (!flush()) {
        return false;
    }
    while (count > 0) {
        const ssize_t got = pread(file.descriptor(), target, count, static_cast<off_t>(position));
        if (got <= 0) {
            if (got < 0 && errno == EINTR) {
                continue;
            }
            return fail(got < 0 ? errno : EIO);
        }
        target += got;
        position += static_cast<std::uint64_t>(got);
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

bool Output_File::close() {
    if (firstError == 0 && flush()) {
        firstError = file.commit();
    }
    return firstError == 0;
}

std::string Output_File::reason() const {
    const std::string why = firstError == EEXIST ? "something else has come to its place meanwhile"
                                                 : std::strerror(firstError);
    return file.kept_as().empty() ? why : why + "; it is complete, as " + quoted(file.kept_as());
}

bool Output_File::fits_buffer(std::size_t count) const noexcept {
    return position >= bufferStart && position - bufferStart + count <= buffer_bytes;
}

bool Output_File::flush() noexcept {
    if (!write_at(bufferStart, buffer.get(), used)) {
        return false;
    }
    bufferStart += used;
    used = 0;
    return true;
}

bool Output_File::write_at(std::uint64_t start, const std::byte* bytes,
                           std::size_t count) noexcept {
    while (count > 0) {
        ssize_t written = pwrite(file.descriptor(), bytes, count, static_cast<off_t>(start));
        if (written < 0 && errno == ESPIPE && start >= bufferStart) {
            written = ::write(file.descriptor(), bytes, count);  // a pipe takes what comes next
        }
        if (written <= 0) {
            if (written < 0 && errno == EINTR) {
                continue;
            }
            return fail(written < 0 ? errno : EIO);
        }
        bytes += written;
        start += static_cast<std::uint64_t>(written);
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

bool Output_File::fail(int errorNumber) noexcept {
    if (firstError == 0) {
        firstError = errorNumber;
    }
    return false;
}
