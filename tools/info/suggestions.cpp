#include "suggestions.h"

#include "binning/Image_Geometry.h"
#include "output/Image_Writer.h"
#include "settings/Parameters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>

namespace {

using orven::Event_Time;

constexpr std::uint64_t image_size = 512;
constexpr std::uint64_t page_size = orven::detector_pixels;
constexpr double good_number_of_bins = 100;
constexpr std::uint64_t most_pages = 4096;  ///< 1 GiB, which any kind of TIFF file holds

std::string shell_word(const std::string& text) {
    const auto plain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("_./+:@%-").find(c) != std::string_view::npos;
    };
    if (!text.empty() && std::ranges::all_of(text, plain)) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

/// How vexolan is told what to read: with a command before it if need be.
struct Input_Words {
    std::string before;
    std::string options;
};

/// Whether `-i` takes the path as it is.
bool fits_list_option(const std::string& path) {
    return path.ends_with(Parameters::extension_eventFiles) &&
           path.find(',') == std::string::npos && path.find_first_of(" \t\n\r\f\v") != 0;
}

Input_Words words_for_list(const std::vector<std::string>& words) {
    std::string list = "printf '%s\\n'";
    for (const std::string& word : words) {
        list += " " + word;
    }
    return {list + " | ", "--inputListFile /dev/stdin"};
}

std::vector<std::string> readable_paths(const Survey& survey) {
    std::vector<std::string> paths;
    for (const File_Survey& file : survey.files) {
        if (!file.fault) {
            paths.push_back(file.path);
        }
    }
    return paths;
}

/// The files one by one.
Input_Words words_for_files(const std::vector<std::string>& paths) {
    constexpr std::size_t most_bytes = 4000;
    std::string joined;
    for (const std::string& path : paths) {
        joined += (joined.empty() ? "" : ",") + path;
    }
    if (joined.size() <= most_bytes && std::ranges::all_of(paths, fits_list_option)) {
        return {"", "-i " + shell_word(joined)};
    }
    std::vector<std::string> words;
    std::ranges::transform(paths, std::back_inserter(words), shell_word);
    return words_for_list(words);
}

/// All that can be read of the inputs, in the order of their names if `sorted`.
Input_Words input_words(const Survey& survey, const std::vector<Named_Input>& inputs, bool sorted) {
    const auto has_short_name = [sorted](const Named_Input& input) {
        return input.isFolder && (input.patternFits || !sorted);
    };
    if (survey.nFaulty() > 0 || !std::ranges::all_of(inputs, has_short_name)) {
        return words_for_files(readable_paths(survey));
    }
    if (!sorted) {
        std::string options;
        for (const Named_Input& folder : inputs) {
            options += (options.empty() ? "-I " : " -I ") + shell_word(folder.path);
        }
        return {"", options};
    }
    std::vector<std::string> patterns;
    for (const Named_Input& folder : inputs) {
        const std::string slash = folder.path.ends_with('/') ? "" : "/";
        patterns.push_back(shell_word(folder.path + slash) + "*" +
                           std::string(Parameters::extension_eventFiles));
    }
    return words_for_list(patterns);
}

/// What outputs are named after.
std::string base_name(const std::string& input) {
    const std::filesystem::path path = std::filesystem::path(input + "/").parent_path();
    const bool is_file = path.extension() == Parameters::extension_eventFiles;
    const std::string name = (is_file ? path.stem() : path.filename()).string();
    return name.empty() || name == "." || name == ".." ? "recording" : name;
}

/// The fewest digits from which vexolan makes time bins of the same length, without an exponent
/// down to 1e-4.
std::string shortest(double seconds) {
    constexpr double readable = 0.99e-4;  // 1e-4 may come as slightly less
    const auto format =
        seconds >= readable ? std::chars_format::fixed : std::chars_format::scientific;
    const Event_Time length = time_bin_length(seconds);
    for (int decimals = 0;; ++decimals) {
        std::array<char, 64> digits{};
        const auto end =
            std::to_chars(digits.data(), digits.data() + digits.size(), seconds, format, decimals);
        std::string text(digits.data(), end.ptr);
        if (const double read = std::stod(text); read > 0 && time_bin_length(read) == length) {
            return text;
        }
    }
}

/// The smallest of 1, 2 and 5 times a power of ten that is not below `seconds`, and at least a
/// tick.
double round_number(double seconds) {
    constexpr double tick = Event_Time::seconds_per_tick;
    const auto power = static_cast<int>(std::floor(std::log10(std::max(seconds, tick))));
    for (const int factor : {1, 2, 5, 10}) {
        const double value = std::stod(std::to_string(factor) + "e" + std::to_string(power));
        if (value >= std::max(seconds, tick)) {
            return value;
        }
    }
    return tick;
}

class Suggestion_List {
public:
    Suggestion_List(const Survey& survey_, const std::vector<Named_Input>& inputs_)
        : survey(survey_), inputs(inputs_) {}

    Suggestions make() {
        const auto has_line_break = [](const std::string& path) {
            return path.find('\n') != std::string::npos;
        };
        if (std::ranges::any_of(readable_paths(survey), has_line_break)) {
            note("Names with line breaks cannot be listed for vexolan.");
        } else if (survey.total.events.nEvents == 0) {
            note("There are no events to make an image of.");
        } else {
            suggest_image();
            suggest_course();
            suggest_trigger_modes();
        }
        return suggestions;
    }

private:
    void note(const std::string& text) { suggestions.notes.push_back(text); }

    /// Without `bin_seconds`, an image over all time.
    void add(const char* mode, const std::string& what, std::optional<double> bin_seconds,
             std::uint64_t nPages) {
        const std::uint64_t size = bin_seconds ? page_size : image_size;
        const Image_Pages image{{}, nPages, size, size};
        const std::string_view mode_name = mode;
        const Input_Words words = input_words(survey, inputs, mode_name == "frameSync");
        Suggestion made{mode,
                        what,
                        "",
                        {},
                        nPages,
                        size,
                        size * size * nPages * sizeof(Counter),
                        tiff_bytes(image, false)};
        std::string options = words.options;
        if (mode_name != "ignore") {
            options += " -E " + made.mode;
        }
        std::string ending = "image";
        if (bin_seconds) {
            options += " -t " + shortest(*bin_seconds) + " -T " + std::to_string(nPages) + " -x " +
                       std::to_string(size);
            made.bin_seconds = time_bin_length(*bin_seconds).in_seconds();
            ending = mode_name == "ignore"      ? "course"
                     : mode_name == "reference" ? "sequence"
                                                : "frames";
        }
        const std::string output = base_name(inputs.front().path) + "-" + ending + ".tif";
        made.shell = words.before + "vexolan " + options + " -o " + shell_word(output);
        suggestions.list.push_back(made);
    }

    void suggest_image() { add("ignore", "all events in one image", {}, 1); }

    void suggest_course() {
        const std::int64_t first = survey.total.order.times.smallest;
        const std::int64_t last = survey.total.order.times.largest;
        if (first < 0) {
            note("ignore: time bins begin at zero; events long before that are in none.");
        }
        if (last <= 0) {
            return;
        }
        const std::int64_t span = last - std::max<std::int64_t>(first, 0);
        const double bin = round_number(Event_Time::seconds_of(span) / good_number_of_bins);
        const std::uint64_t nPages =
            static_cast<std::uint64_t>(last / time_bin_length(bin).value) + 1;
        if (nPages <= most_pages) {
            add("ignore", "the course of the measurement", bin, nPages);
        } else {
            note(
                "ignore: time bins begin at zero; the events come so late that the course of the "
                "measurement would need " +
                std::to_string(nPages) + " pages.");
        }
    }

    void suggest_trigger_modes() {
        std::size_t nWithout = 0;
        std::uint64_t nIntervals = 0;
        for (const File_Survey& file : survey.files) {
            if (!file.fault) {
                const auto& triggers = file.summary.triggers;
                nWithout += triggers ? 0 : 1;
                nIntervals += triggers && triggers->nPulses > 0 ? triggers->nPulses - 1 : 0;
            }
        }
        const std::size_t nFiles = survey.files.size() - survey.nFaulty();
        const std::string modes = "reference, frameSync: ";
        if (nWithout == nFiles) {
            note(modes + "no triggers were recorded.");
        } else if (nWithout > 0) {
            note(modes + std::to_string(nWithout) + " of " + std::to_string(nFiles) +
                 " files were recorded without triggers.");
        } else if (nIntervals == 0) {
            note(modes + "no file has two triggers.");
        } else if (survey.total.triggers->order.nSteps_back > 0) {
            note(modes + "the triggers are not in order of time.");
        } else if (survey.total.triggers->median_period <= 0) {
            note(modes + "the triggers have no period.");
        } else {
            if (survey.total.order.nSteps_back > 0) {
                note(modes +
                     "an event that comes late counts in the interval that the events "
                     "before it have reached.");
            }
            suggest_intervals(survey.total.triggers->median_period, nIntervals);
        }
    }

    void suggest_intervals(std::int64_t median_period, std::uint64_t nIntervals) {
        constexpr std::int64_t longest = std::int64_t{1} << 62;  // vexolan takes less than 2^63
        const std::int64_t period = std::min(median_period, longest);
        const double bin = round_number(Event_Time::seconds_of(period) / good_number_of_bins);
        const std::int64_t ticks = time_bin_length(bin).value;
        add("reference", "what happens after a trigger, all intervals added up", bin,
            static_cast<std::uint64_t>((period + ticks - 1) / ticks));

        const std::uint64_t nPages = std::min(nIntervals, most_pages);
        add("frameSync",
            nPages == nIntervals ? "each trigger interval as a page"
                                 : "each of the first " + std::to_string(nPages) + " of " +
                                       std::to_string(nIntervals) + " trigger intervals as a page",
            Event_Time::seconds_of(period), nPages);
    }

    const Survey& survey;
    const std::vector<Named_Input>& inputs;
    Suggestions suggestions;
};

}  // namespace

Suggestions suggest(const Survey& survey, const std::vector<Named_Input>& inputs) {
    return Suggestion_List(survey, inputs).make();
}
