#include "output/keep_access.h"

#include <linux/limits.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {

constexpr const char* access_list = "system.posix_acl_access";
constexpr unsigned bits_per_class = 3;

/// The access list as the system stores it.
struct Access_List {
    std::array<char, XATTR_SIZE_MAX> bytes;
    ssize_t size;  ///< not positive without a list
};

Access_List access_list_of(int file) noexcept {
    Access_List list;  // NOLINT(*-member-init): only what has been read is used
    list.size = fgetxattr(file, access_list, list.bytes.data(), list.bytes.size());
    return list;
}

bool keep_group(int file, const struct stat& other) noexcept {
    constexpr auto same_user = static_cast<uid_t>(-1);
    return fchown(file, other.st_uid, other.st_gid) == 0 ||
           fchown(file, same_user, other.st_gid) == 0;
}

/// A mode that is safe whoever is in the group: for group and others what both had.
mode_t without_group(mode_t mode) noexcept {
    const mode_t both = mode >> bits_per_class & mode & S_IRWXO;
    return (mode & S_IRWXU) | both << bits_per_class | both;
}

}  // namespace

int keep_access(int file, int other) noexcept {
    struct stat status {};
    if (fstat(other, &status) != 0) {
        return errno;
    }
    const Access_List list = access_list_of(other);
    const bool has_list = list.size > 0;
    const bool keeps_group = keep_group(file, status);
    const auto size = static_cast<std::size_t>(list.size);
    if (has_list && keeps_group && fsetxattr(file, access_list, list.bytes.data(), size, 0) == 0) {
        return 0;  // the list holds the mode
    }
    fremovexattr(file, access_list);  // the folder may have given it one
    mode_t mode = status.st_mode & ACCESSPERMS;
    if (has_list) {
        mode &= S_IRWXU;  // the mode's bits for the group are the most that the list grants
    } else if (!keeps_group) {
        mode = without_group(mode);
    }
    return fchmod(file, mode) == 0 ? 0 : errno;
}
