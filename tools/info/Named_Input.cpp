#include "Named_Input.h"

#include "settings/Parameters.h"
#include "settings/event_files_in.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

Named_Input look_up(const std::string& path) {
    if (!std::filesystem::is_directory(path)) {
        return {path, false, {path}};
    }
    std::vector<std::string> files = event_files_in(path);
    if (files.empty()) {
        throw std::runtime_error("there are no " + std::string(Parameters::extension_eventFiles) +
                                 " files in the folder " + path);
    }
    std::ranges::sort(files);
    return {path, true, std::move(files)};
}

std::vector<std::string> files_of(const std::vector<Named_Input>& inputs) {
    std::vector<std::string> files;
    for (const Named_Input& input : inputs) {
        files.insert(files.end(), input.files.begin(), input.files.end());
    }
    return files;
}
