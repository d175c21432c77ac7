#include "Companion.h"
#include "progress/Progress_Line.h"
#include "reports.h"
#include "settings/Parameters.h"
#include "suggestions.h"
#include "survey_files.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr const char* description = R"(
Look at recordings before images are made of them: how many events and triggers
there are, when and where, how their photon counts and PSD values are spread, and
which files are faulty. For each trigger mode of vexolan that fits, a command
line is suggested.)";

constexpr const char* footer = R"(The status is 1 if any file is faulty.

Examples:
  vexolan-info recording
  vexolan-info --json recording > recording.json)";

/// The event files among the inputs: those of folders in the order of their names.
/// Throws: std::filesystem::filesystem_error; std::runtime_error for a folder without event files.
std::vector<std::string> list_files(const std::vector<std::string>& inputs) {
    std::vector<std::string> files;
    for (const std::string& input : inputs) {
        if (!std::filesystem::is_directory(input)) {
            files.push_back(input);
            continue;
        }
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(input)) {
            std::error_code unknown;
            if (entry.path().extension() == Parameters::extension_eventFiles &&
                !entry.is_directory(unknown)) {
                found.push_back(entry.path().string());
            }
        }
        if (found.empty()) {
            throw std::runtime_error("there are no " +
                                     std::string(Parameters::extension_eventFiles) +
                                     " files in the folder " + input);
        }
        std::ranges::sort(found);
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

Survey survey_with_progress(const std::vector<std::string>& files) {
    Progress_Count nRead;
    const Progress_Line line(reading_progress(files, nRead));
    return survey_files(files, nRead);
}

int run(int argc, char* argv[]) {
    CLI::App app(description, "vexolan-info");
    std::vector<std::string> inputs;
    bool json = false;
    app.footer(footer);
    add_standard_options(app, "[OPTION]... FILE|FOLDER...");
    app.add_option("inputs", inputs);
    app.add_flag("--json", json, "Print one JSON object, with an image of 256 x 256\npixels");
    if (const auto status = parse(app, argc, argv)) {
        return *status;
    }
    if (inputs.empty()) {
        throw std::runtime_error("name files or folders to look at; --help tells more");
    }
    const Survey survey = survey_with_progress(list_files(inputs));
    const Suggestions suggestions = suggest(survey, inputs);
    std::cout << (json ? json_report(survey, suggestions) : text_report(survey, suggestions))
              << std::flush;
    if (!std::cout) {
        throw std::runtime_error("the report could not be written");
    }
    return survey.nFaulty() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char* argv[]) {
    return run_companion("vexolan-info", argc, argv, run);
}
