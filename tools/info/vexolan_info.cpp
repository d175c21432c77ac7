#include "Companion.h"
#include "Named_Input.h"
#include "progress/Progress_Line.h"
#include "reports.h"
#include "suggestions.h"
#include "survey_files.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
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

/// All event files of the inputs, in their order.
std::vector<std::string> files_of(const std::vector<Named_Input>& inputs) {
    std::vector<std::string> files;
    for (const Named_Input& input : inputs) {
        files.insert(files.end(), input.files.begin(), input.files.end());
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
    std::vector<std::string> paths;
    bool json = false;
    app.footer(footer);
    add_standard_options(app, "[OPTION]... FILE|FOLDER...");
    app.add_option("inputs", paths);
    app.add_flag("--json", json, "Print one JSON object, with an image of 256 x 256\npixels");
    if (const auto status = parse(app, argc, argv)) {
        return *status;
    }
    if (paths.empty()) {
        throw std::runtime_error("name files or folders to look at; --help tells more");
    }
    std::vector<Named_Input> inputs;
    std::ranges::transform(paths, std::back_inserter(inputs), look_up);
    const Survey survey = survey_with_progress(files_of(inputs));
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
