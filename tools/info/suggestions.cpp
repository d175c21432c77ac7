#include "suggestions.h"

#include "binning/Image_Geometry.h"
#include "output/Image_Writer.h"
#include "settings/Parameters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <numeric>
#include <utility>

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

/// The fewest digits from which vexolan makes the same number of ticks, without an exponent down to
/// 1e-4.
std::string shortest(double seconds) {
    constexpr double readable = 0.99e-4;  // 1e-4 may come as slightly less
    const auto format =
        std::abs(seconds) >= readable ? std::chars_format::fixed : std::chars_format::scientific;
    const auto ticks = Event_Time::from_seconds(seconds);
    for (int decimals = 0;; ++decimals) {
        std::array<char, 64> digits{};
        const auto end =
            std::to_chars(digits.data(), digits.data() + digits.size(), seconds, format, decimals);
        std::string text(digits.data(), end.ptr);
        if (Event_Time::from_seconds(std::stod(text)) == ticks) {
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

/// A square part of the detector.
/// Units: detector pixels.
struct Square {
    std::size_t x;
    std::size_t y;
    std::size_t side;
};

/// The numbers of the first and the last with anything, without up to `nIgnored` at either end.
std::pair<std::size_t, std::size_t> ends_of(const std::vector<std::uint64_t>& counts,
                                            std::uint64_t nIgnored) {
    std::size_t first = 0;
    std::size_t last = counts.size() - 1;
    for (std::uint64_t n = counts[first]; n <= nIgnored && first < last; n += counts[first]) {
        ++first;
    }
    for (std::uint64_t n = counts[last]; n <= nIgnored && last > first; n += counts[last]) {
        --last;
    }
    return {first, last};
}

/// The part that holds all events, wherever they lie, but 0.1 % at most, if it is clearly less than
/// the detector.
std::optional<Square> lit_part(const Survey_Image& image) {
    constexpr std::size_t size = Survey_Image::size;
    std::vector<std::uint64_t> columns(size);
    std::vector<std::uint64_t> rows(size);
    for (std::size_t i = 0; i < image.counts.size(); ++i) {
        columns[i % size] += image.counts[i];
        rows[i / size] += image.counts[i];
    }
    constexpr std::uint64_t one_in = 1000;
    const std::uint64_t nInside = std::accumulate(rows.begin(), rows.end(), std::uint64_t{0});
    const std::uint64_t nIgnored = (nInside + image.nOutside) / one_in;
    if (nInside == 0 || image.nOutside > nIgnored) {
        return std::nullopt;
    }
    const std::uint64_t at_each_side = (nIgnored - image.nOutside) / 4;
    const auto [x, x_last] = ends_of(columns, at_each_side);
    const auto [y, y_last] = ends_of(rows, at_each_side);
    const std::size_t side = std::max(x_last - x, y_last - y) + 1;
    if (2 * side * side >= size * size) {
        return std::nullopt;
    }
    const auto start = [side](std::size_t first, std::size_t last) {
        const std::size_t extra = side - (last - first + 1);
        return std::min(first - std::min(first, extra / 2), size - side);
    };
    return Square{start(x, x_last), start(y, y_last), side};
}

/// Where time bins may start, and how many reach the last event.
struct Bin_Range {
    double start_seconds;
    std::uint64_t nPages;
};

/// Bins begin at a multiple of their length, as near as a number of seconds can name it; none if
/// that would leave out the first event.
std::optional<Bin_Range> bins_over(const Time_Order& order, Event_Time bin) {
    const std::int64_t first = order.times.smallest;
    const double nBefore = std::floor(static_cast<double>(first) / static_cast<double>(bin.value));
    const double seconds = nBefore * bin.in_seconds();
    const auto start = Event_Time::from_seconds(seconds);
    constexpr std::int64_t limit = std::int64_t{1} << 62;  // of vexolan
    if (!start || start->value > first || start->value <= -limit || start->value >= limit) {
        return std::nullopt;
    }
    const std::uint64_t last =
        static_cast<std::uint64_t>(order.times.largest) - static_cast<std::uint64_t>(start->value);
    return Bin_Range{seconds, last / static_cast<std::uint64_t>(bin.value) + 1};
}

/// An image that may be suggested.
struct Plan {
    const char* mode;
    std::string what;
    const char* ending;                      ///< of the output's name
    std::optional<double> bin_seconds = {};  ///< empty for an image over all time
    std::uint64_t nPages = 1;
    std::string more_options = {};
};

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

    void add(const Plan& plan) {
        const auto& [mode, what, ending, bin_seconds, nPages, more_options] = plan;
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
        if (bin_seconds) {
            options += " -t " + shortest(*bin_seconds) + " -T " + std::to_string(nPages) + " -x " +
                       std::to_string(size) + " --upright true";
            made.bin_seconds = time_bin_length(*bin_seconds).in_seconds();
        }
        options += more_options;
        const std::string output = base_name(inputs.front().path) + "-" + ending + ".tif";
        made.shell = words.before + "vexolan " + options + " -o " + shell_word(output);
        suggestions.list.push_back(made);
    }

    void suggest_image() {
        add({"ignore", "all events in one image", "image"});
        if (const auto part = lit_part(survey.image)) {
            const std::string region = std::to_string(part->x) + "," + std::to_string(part->y) +
                                       "," + std::to_string(part->x + part->side) + "," +
                                       std::to_string(part->y + part->side);
            add({.mode = "ignore",
                 .what = "the part of the detector where the events are",
                 .ending = "region",
                 .more_options = " --region " + region});
        }
    }

    void suggest_course() {
        const Time_Order& order = survey.total.order;
        if (order.span() == 0) {
            return;
        }
        const double bin = round_number(Event_Time::seconds_of(order.span()) / good_number_of_bins);
        const auto bins = bins_over(order, time_bin_length(bin));
        if (!bins || bins->nPages > most_pages) {
            note(
                "ignore: the events are too far from time zero for time bins that begin with "
                "them.");
            return;
        }
        const std::string start =
            bins->start_seconds == 0 ? "" : " --timeStart " + shortest(bins->start_seconds);
        add({"ignore", "the course of the measurement", "course", bin, bins->nPages, start});
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
        add({"reference", "what happens after a trigger, all intervals added up", "sequence", bin,
             static_cast<std::uint64_t>((period + ticks - 1) / ticks)});

        const std::uint64_t nPages = std::min(nIntervals, most_pages);
        add({"frameSync",
             nPages == nIntervals ? "each trigger interval as a page"
                                  : "each of the first " + std::to_string(nPages) + " of " +
                                        std::to_string(nIntervals) + " trigger intervals as a page",
             "frames", Event_Time::seconds_of(period), nPages});
    }

    const Survey& survey;
    const std::vector<Named_Input>& inputs;
    Suggestions suggestions;
};

}  // namespace

Suggestions suggest(const Survey& survey, const std::vector<Named_Input>& inputs) {
    return Suggestion_List(survey, inputs).make();
}
