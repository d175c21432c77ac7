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

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr const char* description = R"(
Look at recordings before images are made of them: how many events and triggers
there are, when and where, how their photon counts and PSD values are spread, and
which files are faulty or odd. For each trigger mode of vexolan that fits, a
command line is suggested.)";

constexpr const char* footer = R"(The status is 1 if any file is faulty.

Examples:
  vexolan-info recording
  vexolan-info -m 6 -p 0.4 recording
  vexolan-info --json recording > recording.json)";

struct Options {
    std::vector<std::string> paths;
    Bounds bounds;
    bool json = false;
    bool each_file = false;
};

void add_options(CLI::App& app, Options& options) {
    const auto add_bound = [&app](const char* names, auto& bound, const char* value,
                                  const char* text) {
        app.add_option(names, bound, text)->option_text(value);
    };
    app.add_option("inputs", options.paths);
    Bounds& bounds = options.bounds;
    add_bound("-m,--nPhotons_min", bounds.nPhotons_min, "N",
              "Look only at events with at least this number\nof photons");
    add_bound("-M,--nPhotons_max", bounds.nPhotons_max, "N", "... at most this number of photons");
    add_bound("-p,--psd_min", bounds.psd_min, "X", "... at least this PSD value");
    add_bound("-P,--psd_max", bounds.psd_max, "X", "... at most this PSD value");
    app.add_flag("--files", options.each_file, "Tell of each file, too");
    app.add_flag("--json", options.json,
                 "Print one JSON object, with an image of 256 x 256\npixels");
}

/// The width of the terminal, or 0 where the output is none.
std::size_t columns_of_output() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

Survey survey_with_progress(const std::vector<std::string>& files, const Bounds& bounds) {
    Progress_Count nRead;
    const Progress_Line line(reading_progress(files, nRead));
    return survey_files(files, bounds, nRead);
}

int run(int argc, char* argv[]) {
    CLI::App app(description, "vexolan-info");
    Options options;
    app.footer(footer);
    add_standard_options(app, "[OPTION]... FILE|FOLDER...");
    add_options(app, options);
    if (const auto status = parse(app, argc, argv)) {
        return *status;
    }
    if (options.paths.empty()) {
        throw std::runtime_error("name files or folders to look at; --help tells more");
    }
    std::vector<Named_Input> inputs;
    std::ranges::transform(options.paths, std::back_inserter(inputs), look_up);
    const Survey survey = survey_with_progress(files_of(inputs), options.bounds);
    const Suggestions suggestions = suggest(survey, inputs);
    std::cout << (options.json
                      ? json_report(survey, suggestions)
                      : text_report(survey, suggestions, options.each_file, columns_of_output()))
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
