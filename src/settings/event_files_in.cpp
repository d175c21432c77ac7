#include "settings/event_files_in.h"

#include "settings/Parameters.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

bool may_be_regular_file(const std::filesystem::directory_entry& entry) {
    std::error_code no_status;
    const std::filesystem::file_type type = entry.status(no_status).type();
    return type == std::filesystem::file_type::regular ||
           type == std::filesystem::file_type::none || type == std::filesystem::file_type::unknown;
}

}  // namespace

std::vector<std::string> event_files_in(const std::string& folder) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == Parameters::extension_eventFiles &&
            may_be_regular_file(entry)) {
            files.push_back(entry.path().string());
        }
    }
    return files;
}

std::optional<std::string> subfolder_with_event_files(const std::string& folder) {
    namespace fs = std::filesystem;
    constexpr auto readable = fs::directory_options::skip_permission_denied;
    std::optional<std::string> first;
    std::error_code unreadable;
    for (const auto& entry : fs::directory_iterator(folder, readable, unreadable)) {
        const std::string subfolder = entry.path().string();
        std::error_code none;
        const auto files = fs::directory_iterator(subfolder, readable, none);
        const bool has_some = std::any_of(begin(files), end(files), [](const auto& file) {
            return file.path().extension() == Parameters::extension_eventFiles;
        });
        if (has_some && (!first || subfolder < *first)) {
            first = subfolder;
        }
    }
    return first;
}
