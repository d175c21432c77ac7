#include "output/Output_Check.h"

#include "escaped.h"
#include "output/follow_links.h"
#include "settings/Parameters.h"
#include "settings/begins_as_recording.h"
#include "system/Descriptor.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

/// The file behind a path, links followed.
std::optional<struct stat> examine(const std::string& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 ? std::optional(found) : std::nullopt;
}

bool is_same_file(const struct stat& a, const std::string& path) {
    const auto b = examine(path);
    return b && a.st_dev == b->st_dev && a.st_ino == b->st_ino;
}

/// A recording that has just been started may not hold anything yet.
bool may_be_recording(const std::string& path) {
    return follow_links(path).string().ends_with(Parameters::extension_eventFiles) ||
           begins_as_recording(AT_FDCWD, path.c_str());
}

/// One name for all paths that lead to the same place, whether anything is there or not.
fs::path unique_name(const std::string& path) {
    std::error_code error;
    const fs::path without_detours = fs::weakly_canonical(fs::absolute(path, error), error);
    // A link to what does not exist counts as missing there.
    const fs::path name = fs::weakly_canonical(follow_links(without_detours), error);
    // The working directory may be gone, or lie where the user may not look.
    return name.empty() ? fs::path(path) : name;
}

/// The folder in which a file will be made. Missing folders will be made, in the first one on the
/// way up that exists, but none to which a link leads.
fs::path folder_to_write(const std::string& path) {
    const fs::path target = follow_links(path);
    if (target != path) {
        return folder_of(target);
    }
    std::error_code error;
    fs::path folder = fs::path(path).parent_path();
    while (folder.has_relative_path() && !fs::exists(folder, error)) {
        folder = folder.parent_path();
    }
    return folder.empty() ? "." : folder;
}

bool is_permitted(const fs::path& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}

/// Tried where that does no harm: files may be protected by more than permissions.
bool may_be_written(const std::string& path, mode_t kind) {
    if (S_ISREG(kind)) {
        return Descriptor(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)).is_open();
    }
    return is_permitted(path, S_ISFIFO(kind) ? W_OK : R_OK | W_OK);
}

/// Whether bytes can be written at any place, not only one after another.
bool has_places(const std::string& path, mode_t kind) {
    if (S_ISFIFO(kind) || S_ISSOCK(kind)) {
        return false;
    }
    if (!S_ISCHR(kind)) {
        return true;
    }
    const Descriptor device(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    return lseek(device.get(), 0, SEEK_CUR) >= 0 || errno != ESPIPE;
}

std::uint64_t largest_file() {
    struct rlimit limit {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 ? limit.rlim_cur : RLIM_INFINITY;
}

/// What is wrong with the path itself or with what is there; "" if nothing is known.
std::string problem_of_path(const std::string& path, const std::optional<struct stat>& existing) {
    if (path.empty()) {
        return "has no name";
    }
    if (path.ends_with('/') || (existing && S_ISDIR(existing->st_mode))) {
        return "is a folder";
    }
    if (existing && S_ISSOCK(existing->st_mode)) {
        return "is a socket";
    }
    if (existing && !may_be_written(path, existing->st_mode)) {
        return "may not be written";
    }
    std::error_code error;
    if (fs::is_symlink(follow_links(path), error)) {
        return "is a link that others have placed in a folder that all share";
    }
    return "";
}

/// Why the folder cannot take a new file or, if one exists, another one; "" if nothing is known.
std::string problem_of_folder(const fs::path& folder, bool exists) {
    const auto found = examine(folder);
    if (!found || !S_ISDIR(found->st_mode)) {
        return "lies below something that is no folder";
    }
    std::error_code error;
    const bool is_lost = fs::current_path(error).empty();
    if (is_lost && found->st_nlink == 0) {  // some disks never tell the number
        return "lies in a folder that has been deleted";
    }
    if (!exists && !is_permitted(folder, W_OK | X_OK)) {
        return "may not be made in its folder";
    }
    return "";
}

/// Why so many bytes do not fit; "" if nothing is known. Space that is used again is given.
std::string problem_of_size(const fs::path& folder, std::uint64_t bytes, std::uint64_t reused) {
    const std::string needed = "needs " + std::to_string(bytes) + " bytes, but ";
    if (bytes > largest_file()) {
        return needed + "the size limit of files is " + std::to_string(largest_file());
    }
    struct statvfs disk {};
    if (statvfs(folder.c_str(), &disk) != 0) {
        return "";
    }
    const std::uint64_t available = disk.f_bavail * disk.f_frsize + reused;
    return bytes > available ? needed + "its disk has " + std::to_string(available) : "";
}

std::string in_output(const std::string& path) {
    return "output file " + quoted(path) + ' ';
}

}  // namespace

void refuse_harmful_output(const std::string& output, std::span<const std::string> read_files,
                           std::span<const std::string> other_outputs) {
    const auto existing = examine(output);
    for (const std::string& other : other_outputs) {
        if (unique_name(output) == unique_name(other) ||
            (existing && is_same_file(*existing, other))) {
            throw std::invalid_argument(in_output(output) + "is asked for twice!");
        }
    }
    if (!existing || !S_ISREG(existing->st_mode)) {
        return;
    }
    const auto is_output = [&](const std::string& path) { return is_same_file(*existing, path); };
    if (std::ranges::any_of(read_files, is_output)) {
        throw std::invalid_argument(in_output(output) + "is one of the files that this run reads!");
    }
    if (may_be_recording(output)) {
        throw std::invalid_argument(in_output(output) + "is a recording!");
    }
}

void refuse_image_without_places(const std::string& output) {
    const auto existing = examine(output);
    if (existing && !has_places(output, existing->st_mode)) {
        throw std::invalid_argument(in_output(output) +
                                    "is a pipe, a socket or a terminal: an image needs a file!");
    }
}

std::optional<std::string> output_problem(const std::string& path, std::uint64_t bytes) {
    const auto existing = examine(path);
    if (!existing && errno != ENOENT && errno != ENOTDIR) {
        return in_output(path) + "cannot be made (" + std::strerror(errno) + ")!";
    }
    std::string problem = problem_of_path(path, existing);
    if (problem.empty() && (!existing || S_ISREG(existing->st_mode))) {
        const fs::path folder = folder_to_write(path);
        problem = problem_of_folder(folder, existing.has_value());
        if (problem.empty()) {
            // A file that is replaced keeps its space until the new one is complete.
            const bool in_place = existing && !is_permitted(folder, W_OK | X_OK);
            const auto reused = static_cast<std::uint64_t>(in_place ? existing->st_size : 0);
            problem = problem_of_size(folder, bytes, reused);
        }
    }
    return problem.empty() ? std::nullopt : std::optional(in_output(path) + problem + "!");
}
