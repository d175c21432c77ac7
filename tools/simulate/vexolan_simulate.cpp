#include "Companion.h"
#include "Recording.h"
#include "Scene.h"
#include "settings/Parameters.h"
#include "write_recording.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

struct Options {
    std::filesystem::path folder;
    std::string scene = "star";
    Recording recording;
};

constexpr const char* description = R"(
Make a recording of photon events to try vexolan on: a folder of .orvenevent files.

Events come in two populations, which the filters of vexolan tell apart: signal
events have about 17 photons and PSD values around 0.62, background events 1 to 6
photons and PSD values around 0.22. Times start at 0 and go on from file to file.
The same options give the same bytes on every machine.)";

constexpr const char* footer = R"(Scenes:
  star     a resolution star in a round beam; in the time after each pulse the
           background flashes up, then the beam rises, inverts the star for a
           while, and fades
  uniform  events all over the detector, at all times alike
  spot     events in a spot of 20 x 20 pixels only, at all times alike

Examples:
  vexolan-simulate -o recording -n 4M --files 4 --triggers
  vexolan -I recording -o image.tif
  vexolan -I recording -E reference -t 0.0005 -T 20 -o sequence.tif)";

/// Writes numbers like 4M or 1e6 as digits. Returns what is wrong, if anything is.
std::string write_as_digits(std::string& text) {
    static const std::map<std::string, double> factors{{"", 1}, {"k", 1e3}, {"M", 1e6}, {"G", 1e9}};
    constexpr double most = 1e15;
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [suffix, error] = std::from_chars(text.data(), end, number);
    const auto factor = factors.find(std::string(suffix, end));
    if (error == std::errc() && factor != factors.end()) {
        number *= factor->second;
        if (number >= 0 && number <= most && number == std::floor(number)) {
            text = std::to_string(static_cast<std::uint64_t>(number));
            return {};
        }
    }
    return text + " is not a whole number like 4000000, 4M or 4e6";
}

void add_options(CLI::App& app, Options& options) {
    Recording& recording = options.recording;

    app.add_option("-o,--output-folder", options.folder,
                   "Where to put the files (required); the folder\nis created, files of the same "
                   "names are replaced;\nother event files must not be in it")
        ->option_text("FOLDER")
        ->required();
    app.add_option("-s,--scene", options.scene, "star (default), uniform or spot; see below")
        ->option_text("NAME")
        ->check(CLI::IsMember(scene_names()));
    app.add_option("-n,--events", recording.nEvents,
                   "Events in all files together (default: 1M):\na number like 4000000, 4M or 4e6")
        ->option_text("N")
        ->transform(CLI::Validator(write_as_digits, ""));
    app.add_option("--files", recording.nFiles, "Number of files (default: 1)")->option_text("N");
    app.add_option("--pulses", recording.nPulses, "Pulses in each file (default: 100)")
        ->option_text("N");
    app.add_option("--pulse-period", recording.pulse_period_s,
                   "Seconds from pulse to pulse (default: 0.01)")
        ->option_text("S");
    app.add_flag("--triggers", recording.triggers,
                 "Record the start of each pulse and the end of\nthe file's last one as triggers");
    app.add_option("--turn", recording.turn_degrees,
                   "Turn the star by this angle from pulse to\npulse (default: 0)")
        ->option_text("DEGREES");
    app.add_option("--seed", recording.seed, "Start of the random numbers (default: 1)")
        ->option_text("N");
}

/// The paths of the recording's files, in the order of the files and of the alphabet.
std::vector<std::filesystem::path> file_paths(const Options& options) {
    constexpr std::size_t least_digits = 3;
    const std::uint64_t nFiles = options.recording.nFiles;
    const std::size_t nDigits = std::max(least_digits, std::to_string(nFiles).size());
    std::vector<std::filesystem::path> paths;
    for (std::uint64_t number = 1; number <= nFiles; ++number) {
        std::string digits = std::to_string(number);
        digits.insert(0, nDigits - digits.size(), '0');
        paths.push_back(options.folder / (options.scene + '_' + digits));
        paths.back() += Parameters::extension_eventFiles;
    }
    return paths;
}

/// Who makes an image of the folder counts every event file in it.
/// Throws: std::runtime_error if there are others in it than `paths`, which are sorted.
void refuse_other_files(const std::filesystem::path& folder,
                        const std::vector<std::filesystem::path>& paths) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::filesystem::path& path = entry.path();
        if (path.extension() == Parameters::extension_eventFiles &&
            !std::ranges::binary_search(paths, path)) {
            throw std::runtime_error(path.string() +
                                     " is not of this recording, and images of the folder would "
                                     "count it: remove it, or choose another folder");
        }
    }
}

void simulate(const Options& options) {
    options.recording.check();
    const std::vector<std::filesystem::path> paths = file_paths(options);
    std::filesystem::create_directories(options.folder);
    refuse_other_files(options.folder, paths);
    const Scene scene = make_scene(options.scene);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        write_recording(paths[i], scene, options.recording, i);
    }
}

int run(int argc, char* argv[]) {
    CLI::App app(description, "vexolan-simulate");
    Options options;
    app.footer(footer);
    add_standard_options(app, "[OPTION]...");
    add_options(app, options);
    if (const auto status = parse(app, argc, argv)) {
        return *status;
    }
    simulate(options);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char* argv[]) {
    return run_companion("vexolan-simulate", argc, argv, run);
}
