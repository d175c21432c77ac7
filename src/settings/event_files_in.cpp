#include "settings/event_files_in.h"

#include "settings/Parameters.h"

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
    std::optional<std::string> first;
    try {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            const std::string subfolder = entry.path().string();
            const bool is_earlier = !first || subfolder < *first;
            if (entry.is_directory() && is_earlier && !event_files_in(subfolder).empty()) {
                first = subfolder;
            }
        }
    } catch (const std::filesystem::filesystem_error&) {
        return first;  // as far as it could be seen
    }
    return first;
}
