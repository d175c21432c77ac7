#include "suggestions.h"

#include "binning/Image_Geometry.h"
#include "input_words.h"
#include "number_texts.h"
#include "output/Image_Writer.h"
#include "settings/Parameters.h"
#include "suggested_bins.h"
#include "suggested_region.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>

namespace {

using orven::Event_Time;

constexpr std::uint64_t image_size = 512;
constexpr std::uint64_t page_size = orven::detector_pixels;
constexpr std::uint64_t most_pages = 4096;  ///< 1 GiB, which any kind of TIFF file holds
constexpr const char* trigger_modes = "reference, frameSync: ";

/// What outputs are named after.
/// Throws: std::filesystem::filesystem_error.
std::string base_name(const std::string& input) {
    const std::filesystem::path path = std::filesystem::path(input + "/").parent_path();
    const bool is_file = path.extension() == Parameters::extension_eventFiles;
    std::string name = (is_file ? path.stem() : path.filename()).string();
    if (!name.empty() && name != "." && name != "..") {
        return name;
    }
    std::string real_name = std::filesystem::canonical(input).filename().string();
    return real_name.empty() ? "recording" : real_name;
}

/// The fewest digits from which vexolan makes the same number of ticks, and that are at most 0.5 %
/// off, without an exponent down to 1e-4.
std::string shortest(double seconds) {
    constexpr double readable = 0.99e-4;  // 1e-4 may come as slightly less
    const auto format =
        std::abs(seconds) >= readable ? std::chars_format::fixed : std::chars_format::scientific;
    constexpr double tolerance = 0.005;
    const auto ticks = Event_Time::from_seconds(seconds);
    const auto says_it = [&](double number) {
        return Event_Time::from_seconds(number) == ticks &&
               std::abs(number - seconds) <= tolerance * std::abs(seconds);
    };
    for (int decimals = 0;; ++decimals) {
        std::array<char, 64> digits{};
        const auto end =
            std::to_chars(digits.data(), digits.data() + digits.size(), seconds, format, decimals);
        std::string text(digits.data(), end.ptr);
        if (says_it(std::stod(text))) {
            return text;
        }
    }
}

/// An image that may be suggested.
struct Plan {
    const char* mode;
    std::string what;
    const char* ending;                 ///< of the output's name
    std::optional<Bin_Plan> bins = {};  ///< empty for an image over all time
    std::optional<std::uint64_t> nLost = 0;
    std::string more_options = {};
    std::optional<Bounds> bounds = {};  ///< other ones than those of the survey
};

class Suggestion_List {
public:
    Suggestion_List(const Survey& survey_, const std::vector<Named_Input>& inputs_)
        : survey(survey_), inputs(inputs_) {}

    Suggestions make() {
        const auto has_line_break = [](const File_Survey& file) {
            return !file.fault && file.path.find('\n') != std::string::npos;
        };
        suggestions.valleys = {find_valley(survey.nPhotons, true), find_valley(survey.psd, false)};
        const std::uint64_t nEvents = survey.total.events.nEvents;
        if (std::ranges::any_of(survey.files, has_line_break)) {
            note("Names with line breaks cannot be listed for vexolan.");
        } else if (nEvents == 0) {
            note("There are no events to make an image of.");
        } else if (survey.image.nOutside == nEvents) {
            note("All events lie beside the detector: an image would hold none of them.");
        } else {
            const std::string list = base_name(inputs.front().path) + "-files.txt";
            any_order = input_words(survey, inputs, false, list);
            in_order = input_words(survey, inputs, true, list);
            suggestions.list_file = in_order.list_file;
            suggest_images();
            suggest_course();
            suggest_trigger_modes();
        }
        return suggestions;
    }

private:
    void note(const std::string& text) { suggestions.notes.push_back(text); }

    /// Adds the plan unless its image is known to be empty.
    void add(const Plan& plan) {
        if (plan.nLost == survey.total.events.nEvents) {
            note(std::string(plan.mode) + ": no event is where time bins would be.");
            return;
        }
        const std::string mode = plan.mode;
        const std::uint64_t size = plan.bins ? page_size : image_size;
        const std::uint64_t nPages = plan.bins ? plan.bins->nPages : 1;
        Suggestion made{.mode = mode,
                        .what = plan.what,
                        .shell = "",
                        .bins = {},
                        .nPages = nPages,
                        .size = size,
                        .imageBytes = size * size * nPages * sizeof(Counter),
                        .fileBytes = tiff_bytes({{}, nPages, size, size}, false),
                        .nLost = plan.nLost};
        const Input_Words& words = mode == "frameSync" ? in_order : any_order;
        std::string options = words.options + plan.bounds.value_or(survey.bounds).options();
        if (mode != "ignore" || (plan.bins && survey.total.triggers)) {
            options += " -E " + mode;
        }
        if (plan.bins) {
            const double bin = seconds(time_bin_length(plan.bins->bin_seconds).value);
            const std::string name = shortest(bin);
            options += bin_options(*plan.bins, name);
            made.bins = {bin, plan.bins->start_seconds, std::stod(name)};
        }
        options += plan.more_options;
        const std::string output = base_name(inputs.front().path) + "-" + plan.ending + ".tif";
        made.shell = words.before + "vexolan " + options + " -o " + shell_word(output);
        suggestions.list.push_back(made);
    }

    static std::string bin_options(const Bin_Plan& bins, const std::string& length) {
        std::string options = " -t " + length + " -T " + std::to_string(bins.nPages) + " -x " +
                              std::to_string(page_size) + " --upright true";
        if (bins.start_seconds != 0) {
            options += " --timeStart " + shortest(bins.start_seconds);
        }
        return options;
    }

    void suggest_images() {
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
        const auto& [nPhotons, psd] = suggestions.valleys;
        if (nPhotons || psd) {
            Bounds bounds = survey.bounds;
            if (nPhotons) {
                bounds.nPhotons_min = static_cast<std::uint64_t>(nPhotons->bound);
            }
            if (psd) {
                bounds.psd_min = psd->bound;
            }
            add({.mode = "ignore",
                 .what = "the upper of two populations",
                 .ending = "upper",
                 .bounds = bounds});
        }
    }

    void suggest_course() {
        if (survey.total.order.span() == 0) {
            return;
        }
        if (survey.overlap) {
            note(
                "ignore: times of files overlap, so a course is that of one file: name one alone.");
            return;
        }
        const auto bins = bins_over_time(survey);
        if (!bins || bins->nPages > most_pages) {
            note(
                "ignore: the events are too far from time zero for time bins that begin with "
                "them.");
            return;
        }
        add({"ignore", "the course of the measurement", "course", bins, bins->nLost});
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
        if (const std::string reason = reason_against_triggers(nWithout, nIntervals);
            !reason.empty()) {
            note(trigger_modes + reason);
            return;
        }
        const auto after = bins_since_trigger(survey);
        if (!after) {
            note(std::string(trigger_modes) + "the events are too far from their triggers.");
            return;
        }
        if (survey.total.order.nSteps_back > 0) {
            note(std::string(trigger_modes) +
                 "an event that comes late counts in the interval that the events before it have "
                 "reached.");
        }
        suggest_intervals(*after, nIntervals);
    }

    [[nodiscard]] std::string reason_against_triggers(std::size_t nWithout,
                                                      std::uint64_t nIntervals) const {
        const std::size_t nFiles = survey.files.size() - survey.nFaulty();
        if (nWithout == nFiles) {
            return "no triggers were recorded.";
        }
        if (nWithout > 0) {
            return std::to_string(nWithout) + " of " + std::to_string(nFiles) +
                   " files were recorded without triggers.";
        }
        if (nIntervals == 0) {
            return "no file has two triggers.";
        }
        if (survey.total.triggers->order.nSteps_back > 0) {
            return "the triggers are not in order of time.";
        }
        if (survey.total.triggers->median_period <= 0) {
            return "the triggers have no period.";
        }
        if (!survey.since_trigger) {
            return "no file with triggers has events.";
        }
        const Since_Trigger& since = *survey.since_trigger;
        return since.nBefore + since.nAfter == survey.total.events.nEvents
                   ? "no event lies between two triggers of its file."
                   : "";
    }

    void suggest_intervals(const Bin_Plan& after, std::uint64_t nIntervals) {
        add({"reference", "what happens after a trigger, all intervals added up", "sequence", after,
             events_come_in_time() ? std::optional(after.nLost) : std::nullopt});
        const bool all = nIntervals <= most_pages;
        const Bin_Plan pages = frames(survey, all ? nIntervals : most_pages);
        add({"frameSync",
             all ? "each trigger interval as a page"
                 : "the first " + grouped(pages.nPages) + " of " + grouped(nIntervals) +
                       " trigger intervals as pages",
             "frames", pages,
             all && events_come_in_time() ? std::optional(pages.nLost) : std::nullopt});
    }

    /// Whether nearly all events count in the interval in which they were.
    [[nodiscard]] bool events_come_in_time() const {
        constexpr std::int64_t small_part = 100;
        const auto most =
            static_cast<std::uint64_t>(survey.total.triggers->median_period / small_part);
        return survey.total.order.furthest_back <= most;
    }

    const Survey& survey;
    const std::vector<Named_Input>& inputs;
    Input_Words any_order;
    Input_Words in_order;
    Suggestions suggestions;
};

}  // namespace

Suggestions suggest(const Survey& survey, const std::vector<Named_Input>& inputs) {
    return Suggestion_List(survey, inputs).make();
}
