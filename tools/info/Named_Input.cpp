#include "Named_Input.h"

#include "settings/Parameters.h"
#include "settings/event_files_in.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace {

/// How many files a shell finds in a folder.
std::size_t count_matches(const std::string& folder) {
    const auto matches = [](const std::filesystem::directory_entry& entry) {
        const std::string name = entry.path().filename().string();
        return name.ends_with(Parameters::extension_eventFiles) && !name.starts_with('.');
    };
    return static_cast<std::size_t>(
        std::ranges::count_if(std::filesystem::directory_iterator(folder), matches));
}

bool is_hidden(const std::string& file) {
    return std::filesystem::path(file).filename().string().starts_with('.');
}

}  // namespace

Named_Input look_up(const std::string& path) {
    if (!std::filesystem::is_directory(path)) {
        return {path, false, {path}, false};
    }
    std::vector<std::string> files = event_files_in(path);
    if (files.empty()) {
        throw std::runtime_error("there are no " + std::string(Parameters::extension_eventFiles) +
                                 " files in the folder " + path);
    }
    std::ranges::sort(files);
    const bool patternFits =
        count_matches(path) == files.size() && std::ranges::none_of(files, is_hidden);
    return {path, true, std::move(files), patternFits};
}
