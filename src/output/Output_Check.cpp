#include "output/Output_Check.h"

#include "Event_File_Format.h"
#include "output/follow_links.h"
#include "settings/Parameters.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
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
    if (path.ends_with(Parameters::extension_eventFiles)) {
        return true;
    }
    std::uint64_t identifier = 0;
    std::ifstream file(path, std::ios::binary);
    file.read(reinterpret_cast<char*>(&identifier), sizeof(identifier));  // NOLINT: its bytes
    return file && identifier == orven::Event_File_Format::file_identifier;
}

/// One name for all paths that lead to the same place, whether anything is there or not.
fs::path unique_name(const std::string& path) {
    std::error_code error;
    const fs::path without_detours = fs::weakly_canonical(fs::absolute(path, error), error);
    // A link to what does not exist counts as missing there.
    return fs::weakly_canonical(follow_links(without_detours), error);
}

/// The folder in which a file will be made. Missing folders will be made, in the first one on the
/// way up that exists, but none to which a link leads.
fs::path folder_to_write(const std::string& path) {
    const fs::path target = follow_links(path);
    if (target != path) {
        return folder_of(target);
    }
    std::error_code error;
    fs::path folder = fs::absolute(path, error).parent_path();
    while (!fs::exists(folder, error) && folder.has_relative_path()) {
        folder = folder.parent_path();
    }
    return folder;
}

bool is_permitted(const fs::path& path, int access) {
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}

std::string in_output(const std::string& path) {
    return "output file \"" + path + "\" ";
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

std::optional<std::string> output_problem(const std::string& path, std::uint64_t bytes) {
    const auto existing = examine(path);
    if (!existing && errno != ENOENT && errno != ENOTDIR) {
        return in_output(path) + "cannot be made (" + std::strerror(errno) + ")!";
    }
    if (path.empty()) {
        return in_output(path) + "has no name!";
    }
    if (path.ends_with('/') || (existing && S_ISDIR(existing->st_mode))) {
        return in_output(path) + "is a folder!";
    }
    if (existing && !is_permitted(path, R_OK | W_OK)) {
        return in_output(path) + "may not be written!";
    }
    if (existing && !S_ISREG(existing->st_mode)) {
        return std::nullopt;
    }
    std::error_code error;
    const fs::path folder = folder_to_write(path);
    if (!fs::is_directory(folder, error)) {
        return in_output(path) + "lies below something that is no folder!";
    }
    const bool makes_files = is_permitted(folder, W_OK | X_OK);
    if (!existing && !makes_files) {
        return in_output(path) + "may not be made in its folder!";
    }
    // A file that is replaced keeps its space until the new one is complete.
    struct statvfs disk {};
    if (statvfs(folder.c_str(), &disk) != 0) {
        return std::nullopt;
    }
    const std::uint64_t reused =
        existing && !makes_files ? static_cast<std::uint64_t>(existing->st_size) : 0;
    const std::uint64_t available = disk.f_bavail * disk.f_frsize + reused;
    if (bytes > available) {
        return in_output(path) + "needs " + std::to_string(bytes) + " bytes, but its disk has " +
               std::to_string(available) + "!";
    }
    return std::nullopt;
}
