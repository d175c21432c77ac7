#include "output/Pending_File.h"

#include "output/follow_links.h"
#include "output/keep_access.h"
#include "settings/begins_as_recording.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>
#include <utility>

namespace {

constexpr mode_t new_file_mode = 0666;
constexpr const char* own_descriptors = "/proc/self/fd/";

/// The file to remove when a signal ends the process: its name, in which folder.
std::atomic<const char*> unfinished = nullptr;
std::atomic<int> unfinished_in = -1;
static_assert(std::atomic<const char*>::is_always_lock_free);

/// A name that says what the file is, and at which nobody can have prepared a link.
std::string unfinished_name() {
    std::random_device random;
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%08x%08x", random(), random());
    return std::string("vexolan-unfinished-") + digits.data();
}

std::uint64_t attributes_of(int file) noexcept {
    struct statx status {};
    return statx(file, "", AT_EMPTY_PATH, STATX_TYPE, &status) == 0 ? status.stx_attributes : 0;
}

/// Whether a rename may take the file's place: not where something is mounted on it, nor over other
/// people's files in a folder that protects them.
bool may_be_replaced(int file, int folder) {
    struct stat old {};
    struct stat around {};
    if ((attributes_of(file) & STATX_ATTR_MOUNT_ROOT) != 0 || fstat(file, &old) != 0 ||
        fstat(folder, &around) != 0) {
        return false;
    }
    const uid_t user = geteuid();  // 0 may be a user without power over others, in a container
    return (around.st_mode & S_ISVTX) == 0 || user == old.st_uid || user == around.st_uid;
}

bool is_same_file(const struct stat& a, const struct stat& b) noexcept {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

int Pending_File::open(const std::string& path) {
    // Links are followed first: what is looked at then is what will be replaced.
    const std::filesystem::path followed = follow_links(path);
    if (std::error_code unknown; std::filesystem::is_symlink(followed, unknown)) {
        return ELOOP;  // one that is not followed
    }
    struct stat existing {};
    const bool exists = stat(path.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) {
        return errno;
    }
    if (exists && S_ISFIFO(existing.st_mode)) {
        return open_pipe(path);
    }
    if (path.empty() || (exists && !S_ISREG(existing.st_mode))) {
        return open_in_place(path);
    }
    target = followed.filename().string();
    folderName = followed.has_parent_path() ? (followed.parent_path() / "").string() : "";
    folder = Descriptor(::open(folder_of(followed).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder.is_open()) {
        return errno;
    }
    if ((attributes_of(folder.get()) & STATX_ATTR_APPEND) != 0) {
        return open_in_place(path);  // nothing in it can be renamed
    }
    if (exists) {
        old = Descriptor(openat(folder.get(), target.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
        if (!old.is_open()) {
            return errno;
        }
        if (!may_be_replaced(old.get(), folder.get())) {
            return open_in_place(path);
        }
        wasRecording = begins_as_recording(folder.get(), target.c_str());
    }
    const int failure = open_beside(exists ? S_IRUSR | S_IWUSR : new_file_mode);
    if (failure == EACCES || failure == EPERM || failure == EROFS) {
        return open_in_place(path);
    }
    return failure == 0 && exists ? keep_access(opened.get(), old.get()) : failure;
}

int Pending_File::commit() {
    if (inPlace) {
        return opened.close();
    }
    Descriptor place = folder_now();
    if (name.empty() && place.is_open()) {
        std::swap(folder, place);
        place.close();
    }
    int failure = name.empty() ? link_name() : 0;
    if (failure == 0) {
        failure = opened.close();
    }
    if (failure != 0) {
        return failure;
    }
    failure = take_place(place.is_open() ? place.get() : folder.get());
    if (failure != 0) {
        kept = folderName + name;
    }
    set_name("");
    return failure;
}

void Pending_File::discard() noexcept {
    opened.close();
    if (!name.empty()) {
        unlinkat(folder.get(), name.c_str(), 0);
        unfinished = nullptr;
        name.clear();
    }
}

int Pending_File::open_in_place(const std::string& path) noexcept {
    inPlace = true;
    if (old.is_open()) {  // what has been looked at, not what is at the path by now
        opened = std::move(old);
        return ftruncate(opened.get(), 0) == 0 ? 0 : errno;
    }
    constexpr int flags = O_RDWR | O_TRUNC | O_CLOEXEC;
    // Some folders let nobody create other people's files, not even where they exist.
    opened = Descriptor(::open(path.c_str(), flags));
    if (!opened.is_open() && errno == ENOENT) {
        opened = Descriptor(::open(path.c_str(), flags | O_CREAT | O_EXCL, new_file_mode));
    }
    return opened.is_open() ? 0 : errno;
}

int Pending_File::open_pipe(const std::string& path) noexcept {
    inPlace = true;
    // Fails, rather than waits, where nobody reads; but waits for a slow reader after that.
    opened = Descriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
    return opened.is_open() && fcntl(opened.get(), F_SETFL, 0) == 0 ? 0 : errno;
}

int Pending_File::open_beside(mode_t mode) {
    constexpr int flags = O_RDWR | O_CLOEXEC;
    if (access(own_descriptors, X_OK) == 0) {  // a file without a name gets one through these
        opened = Descriptor(openat(folder.get(), ".", flags | O_TMPFILE, mode));
    }
    if (!opened.is_open()) {
        set_name(unfinished_name());
        opened = Descriptor(
            openat(folder.get(), name.c_str(), flags | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
    }
    if (!opened.is_open()) {
        const int failure = errno;
        set_name("");
        return failure;
    }
    return 0;
}

int Pending_File::link_name() {
    const std::string nameless = own_descriptors + std::to_string(opened.get());
    set_name(unfinished_name());
    return linkat(AT_FDCWD, nameless.c_str(), folder.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0
               ? 0
               : errno;
}

Descriptor Pending_File::folder_now() const {
    const std::string path = folderName.empty() ? "." : folderName;
    return Descriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

int Pending_File::take_place(int place) noexcept {
    const auto move = [&](unsigned flags) {
        return renameat2(folder.get(), name.c_str(), place, target.c_str(), flags) == 0 ? 0 : errno;
    };
    struct stat there {};
    const bool isFree = fstatat(place, target.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0;
    if (!isFree) {
        const bool mayGo = is_old_file(there, place);
        old.close();  // some disks replace no file that is open
        return mayGo ? move(0) : EEXIST;
    }
    const int failure = move(RENAME_NOREPLACE);
    // Some disks cannot do that, among them those of other machines.
    return failure == EINVAL || failure == ENOSYS ? move(0) : failure;
}

bool Pending_File::is_old_file(const struct stat& there, int place) const noexcept {
    struct stat replaced {};
    return old.is_open() && fstat(old.get(), &replaced) == 0 && is_same_file(replaced, there) &&
           begins_as_recording(place, target.c_str()) == wasRecording;
}

void Pending_File::set_name(std::string next) {
    unfinished = nullptr;
    name = std::move(next);
    unfinished_in = folder.get();
    unfinished = name.empty() ? nullptr : name.c_str();
}

void remove_unfinished_file() noexcept {
    if (const char* const name = unfinished.load()) {
        unlinkat(unfinished_in, name, 0);
    }
}
