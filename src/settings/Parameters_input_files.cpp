#include "escaped.h"
#include "logging.h"
#include "settings/Parameters.h"
#include "settings/begins_as_recording.h"
#include "settings/event_files_in.h"

#include <fcntl.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

void Parameters::add_inputFiles(const std::string& list) {
    std::size_t start = 0;
    std::size_t end = 0;
    do {
        start = list.find_first_not_of(" \t\n\r\f\v", start);
        end = list.find(',', start);
        // A missing item at the end of the list is out of range for substr.
        std::string item = list.substr(start, end - start);
        if (item.ends_with(extension_eventFiles)) {
            inputFiles.push_back(std::move(item));
        } else {
            const std::string message = "Input file must be a " +
                                        std::string(extension_eventFiles) + " file! Ignoring \"" +
                                        item + "\"";
            logging<warning>(message);
            firstWarning = firstWarning.value_or(message);
        }
        start = end + 1;
    } while (end != std::string::npos);
}

void Parameters::add_inputFolder(const std::string& folder) {
    std::error_code no_status;
    if (!std::filesystem::is_directory(folder, no_status)) {
        hint("-I takes a folder, whose path is looked up from the current one; -i takes files.");
    }
    std::vector<std::string> files = event_files_in(folder);
    if (!std::ranges::is_sorted(files)) {
        unsortedFolder = folder;
    }
    if (files.empty()) {
        const auto subfolder = subfolder_with_event_files(folder);
        emptyFolder = "folder " + quoted(folder) + " has no " + std::string(extension_eventFiles) +
                      " files directly in it" +
                      (subfolder ? ", but a subfolder has: -I " + quoted(*subfolder) : "");
    }
    std::ranges::move(files, std::back_inserter(inputFiles));
}

void Parameters::add_inputListFile(const std::string& path) {
    const auto soft_error = [this](const std::string& message) {
        logging<error>(message);
        exit_requested = true;
    };
    std::error_code no_status;
    const std::filesystem::file_type type = std::filesystem::status(path, no_status).type();
    if (type == std::filesystem::file_type::not_found) {
        soft_error("could not find file: " + path);
        return;
    }
    // What a pipe gives can be read but once.
    if (type == std::filesystem::file_type::regular &&
        begins_as_recording(AT_FDCWD, path.c_str())) {
        throw std::invalid_argument("input list file " + quoted(path) +
                                    " is an event file, not a list of event files!");
    }
    settingsFiles.push_back(path);
    std::ifstream file(path);
    if (!file || type == std::filesystem::file_type::directory) {
        soft_error("could not open file: " + path);
        return;
    }
    std::vector<char> line(PATH_MAX + 1);
    while (file.getline(line.data(), PATH_MAX + 1)) {
        const auto nRead = static_cast<std::size_t>(file.gcount());
        const bool ended = !file.eof();
        inputFiles.emplace_back(line.data(), ended ? nRead - 1 : nRead);
    }
    if (file.bad()) {
        soft_error("could not read file: " + escaped(path));
    } else if (!file.eof()) {
        throw std::invalid_argument("input list file " + quoted(path) +
                                    " has a line that is too long for a path!");
    }
}
