#include "output/Pending_File.h"

#include "output/follow_links.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <random>
#include <utility>

namespace {

constexpr mode_t new_file_mode = 0666;
constexpr mode_t all_mode_bits = 07777;
constexpr const char* own_descriptors = "/proc/self/fd/";

/// The name of the file to remove when a signal ends the process.
std::atomic<const char*> unfinished = nullptr;
static_assert(std::atomic<const char*>::is_always_lock_free);

/// A name in the folder that says what it is, and that nobody can have prepared a link at.
std::string unfinished_name(const std::string& folder) {
    std::random_device random;
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%08x%08x", random(), random());
    return folder + "/vexolan-unfinished-" + digits.data();
}

/// Whether a rename may take the file's place: not where something is mounted on it, nor over other
/// people's files in a folder that protects them.
bool may_be_replaced(const std::string& path, const struct stat& file) {
    struct statx extended {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_TYPE, &extended) == 0 &&
        (extended.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0) {
        return false;
    }
    struct stat folder {};
    if (stat(folder_of(path).c_str(), &folder) != 0 || (folder.st_mode & S_ISVTX) == 0) {
        return true;
    }
    const uid_t user = geteuid();  // 0 may be a user without power over others, in a container
    return user == file.st_uid || user == folder.st_uid;
}

}  // namespace

int Pending_File::open(const std::string& path) {
    struct stat existing {};
    const bool exists = stat(path.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) {
        return errno;
    }
    if (path.empty() || (exists && !S_ISREG(existing.st_mode))) {
        return open_in_place(path);
    }
    target = follow_links(path).string();
    if (exists) {
        const int probe = ::open(target.c_str(), O_RDWR | O_CLOEXEC);
        if (probe < 0) {
            return errno;
        }
        close(probe);
        if (!may_be_replaced(target, existing)) {
            return open_in_place(path);
        }
    }
    const int failure = open_beside();
    if (failure == EACCES || failure == EPERM || failure == EROFS) {
        return open_in_place(path);
    }
    if (failure == 0 && exists) {
        // The owner can only be kept where the system allows it; the mode can always.
        [[maybe_unused]] const bool keeps_owner =
            fchown(opened, existing.st_uid, existing.st_gid) == 0 ||
            fchown(opened, static_cast<uid_t>(-1), existing.st_gid) == 0;
        return fchmod(opened, existing.st_mode & all_mode_bits) == 0 ? 0 : errno;
    }
    return failure;
}

int Pending_File::commit() {
    const int failure = inPlace || !name.empty() ? 0 : link_name();
    if (failure != 0) {
        return failure;
    }
    const int closing = close(opened) == 0 || errno == EINTR ? 0 : errno;
    opened = -1;
    if (inPlace || closing != 0) {
        return closing;
    }
    if (rename(name.c_str(), target.c_str()) != 0) {
        return errno;
    }
    set_name("");
    return 0;
}

void Pending_File::discard() noexcept {
    if (opened >= 0) {
        close(opened);
        opened = -1;
    }
    if (!name.empty()) {
        unlink(name.c_str());
        unfinished = nullptr;
        name.clear();
    }
}

int Pending_File::open_in_place(const std::string& path) noexcept {
    inPlace = true;
    // Some folders let nobody create other people's files, not even where they exist.
    opened = ::open(path.c_str(), O_RDWR | O_TRUNC | O_CLOEXEC);
    if (opened < 0 && errno == ENOENT) {
        opened = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, new_file_mode);
    }
    return opened >= 0 ? 0 : errno;
}

int Pending_File::open_beside() {
    const std::string folder = folder_of(target).string();
    constexpr int flags = O_RDWR | O_CLOEXEC;
    if (access(own_descriptors, X_OK) == 0) {  // a file without a name gets one through these
        opened = ::open(folder.c_str(), flags | O_TMPFILE, new_file_mode);
    }
    if (opened < 0) {
        set_name(unfinished_name(folder));
        opened = ::open(name.c_str(), flags | O_CREAT | O_EXCL | O_NOFOLLOW, new_file_mode);
    }
    if (opened < 0) {
        const int failure = errno;
        set_name("");
        return failure;
    }
    return 0;
}

void Pending_File::set_name(std::string next) {
    unfinished = nullptr;
    name = std::move(next);
    unfinished = name.empty() ? nullptr : name.c_str();
}

int Pending_File::link_name() {
    const std::string nameless = own_descriptors + std::to_string(opened);
    set_name(unfinished_name(folder_of(target).string()));
    return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0
               ? 0
               : errno;
}

void remove_unfinished_file() noexcept {
    if (const char* const name = unfinished.load()) {
        unlink(name);
    }
}
