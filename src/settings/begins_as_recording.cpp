#include "settings/begins_as_recording.h"

#include "Event_File_Format.h"
#include "system/Descriptor.h"

#include <fcntl.h>

#include <cstdint>

bool begins_as_recording(int folder, const char* path) noexcept {
    const Descriptor file(openat(folder, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    std::uint64_t identifier = 0;
    return pread(file.get(), &identifier, sizeof(identifier), 0) == sizeof(identifier) &&
           identifier == orven::Event_File_Format::file_identifier;
}
