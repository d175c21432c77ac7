#include "output/Output_Check.h"

#include "Event_File_Format.h"
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

/// The path with all links followed; what does not exist is taken as it is written.
fs::path resolved(const std::string& path) {
    constexpr int most_links = 40;  // as many as the system follows
    std::error_code error;
    fs::path target = fs::weakly_canonical(fs::absolute(path, error), error);
    // A link to what does not exist yet counts as missing itself.
    for (int i = 0; i < most_links && fs::is_symlink(target, error); ++i) {
        const fs::path next = target.parent_path() / fs::read_symlink(target, error);
        target = fs::weakly_canonical(next, error);
    }
    return target;
}

/// The first folder on the way up that exists: missing ones will be made in it.
fs::path existing_folder(const std::string& path) {
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
        if (resolved(output) == resolved(other) || (existing && is_same_file(*existing, other))) {
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
    const bool dangling = !existing && fs::is_symlink(path, error);
    const fs::path folder = dangling ? resolved(path).parent_path() : existing_folder(path);
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
