#include "output/follow_links.h"

#include <system_error>

std::filesystem::path follow_links(std::filesystem::path path) {
    constexpr int most_links = 40;  // as many as the system follows
    std::error_code error;
    for (int i = 0; i < most_links && std::filesystem::is_symlink(path, error); ++i) {
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    return path;
}

std::filesystem::path folder_of(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : ".";
}
