#include "bar_line.h"
#include "escaped.h"
#include "histogram_text.h"
#include "hot_pixels.h"
#include "number_texts.h"
#include "oddities.h"
#include "reports.h"
#include "suggested_region.h"
#include "summary_text.h"
#include "wrapped.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <span>
#include <sstream>
#include <utility>
#include <vector>

namespace {

std::string files_title(const Survey& survey) {
    const std::size_t nFiles = survey.files.size();
    const std::string bounds = survey.bounds.any() ? ", with" + survey.bounds.options() : "";
    if (nFiles == 1) {
        return escaped(survey.files.front().path) + bounds + '\n';
    }
    const std::string which =
        survey.nFaulty() == 0 ? "All " : grouped(nFiles - survey.nFaulty()) + " of ";
    return which + grouped(nFiles) + " files" + bounds + '\n';
}

std::string file_text(const File_Survey& file) {
    return escaped(file.path) + '\n' +
           (file.fault ? summary_line("FAULTY", escaped(*file.fault))
                       : summary_text(file.summary, file.bytes)) +
           '\n';
}

std::string outside_line(const Survey& survey) {
    const std::uint64_t nOutside = survey.image.nOutside;
    if (nOutside == 0) {
        return "";
    }
    return summary_line("outside", grouped(nOutside) + " (" +
                                       percent_text(nOutside, survey.total.events.nEvents) +
                                       ") beside the detector, which is 256 x 256 pixels large");
}

std::string hot_pixels_line(const Survey& survey) {
    const Hot_Pixels hot = find_hot_pixels(survey.image);
    if (hot.nPixels == 0) {
        return "";
    }
    const Hot_Pixel& hottest = hot.hottest.front();
    std::string text =
        number_of(hot.nPixels, "pixel has", "pixels have") + " over 2 times as many as around";
    if (hot.over_10_times > 0) {
        text += ", " + grouped(hot.over_10_times) + " over 10 times";
    }
    return summary_line("hot", text + "; " +
                                   percent_text(hot.nEvents, survey.total.events.nEvents) +
                                   " of all events") +
           summary_line("", "the hottest: x " + std::to_string(hottest.x) + ", y " +
                                std::to_string(hottest.y) + " with " + grouped(hottest.nEvents) +
                                ", around it " + grouped(hottest.around));
}

/// Where that goes on which does not fit a line: below its second column, if it has one.
std::size_t indent_of(const std::string& line, std::size_t start) {
    constexpr std::size_t usual = 4;
    const std::size_t gap = line.find("  ", start);
    return gap == std::string::npos ? std::max(start, usual) : line.find_first_not_of(' ', gap);
}

/// The text with lines of at most so many characters, but for titles and for commands, which begin
/// with four blanks.
std::string wrapped_lines(const std::string& text, std::size_t columns) {
    constexpr std::size_t command_indent = 4;
    std::istringstream lines(text);
    std::string fitting;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
        const bool stays = start == 0 || start == command_indent;
        fitting += stays ? line + '\n' : wrapped(line, columns, indent_of(line, start));
    }
    return fitting;
}

/// A histogram over time as one line of bars, with what is at its ends.
/// Units: seconds.
std::string bars_text(const std::string& title, std::span<const std::uint64_t> counts, double start,
                      double bin, std::optional<double> period) {
    const Bar_Line line = bar_line(counts, period ? std::optional(*period / bin) : std::nullopt);
    const std::size_t nBars = (counts.size() + line.bar_bins - 1) / line.bar_bins;
    const std::string from = time_text(start);
    const std::string to = time_text(start + bin * static_cast<double>(counts.size()));
    const std::size_t blanks = nBars + 2 - std::min(nBars + 1, width_of(from) + width_of(to));
    return title + ": bars of " + time_text(bin * static_cast<double>(line.bar_bins)) +
           ", at most " + grouped(line.most) + " in one\n  |" + line.bars + "|\n  " + from +
           std::string(blanks, ' ') + to + '\n';
}

std::string over_time_text(const Survey& survey) {
    const std::span<const std::uint64_t> counts = survey.over_time.counts();
    if (counts.size() < 2) {
        return "";
    }
    const auto& triggers = survey.total.triggers;
    const bool is_pulsed = triggers && triggers->median_period > 0;
    return bars_text("Events over time", counts, seconds(survey.over_time.start()),
                     seconds(survey.over_time.bin_width()),
                     is_pulsed ? std::optional(seconds(triggers->median_period)) : std::nullopt);
}

/// The first bin to be shown, and the one after the last: those with events where these are a small
/// part of the period, or all up to the period and to later events.
std::pair<std::size_t, std::size_t> shown_since_trigger(const std::vector<std::uint64_t>& counts,
                                                        double period_bins) {
    constexpr std::uint64_t one_in = 2000;
    const auto nEvents = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    const auto [first, last] = ends_of(counts, nEvents / one_in);
    if (nEvents > 0 && static_cast<double>(last - first + 1) < period_bins / 4) {
        return {first, last + 1};
    }
    const auto end = static_cast<std::size_t>(std::ceil(period_bins));
    return {0, std::min(std::max(ends_of(counts, 0).second + 1, end), counts.size())};
}

std::string since_trigger_text(const Survey& survey) {
    if (!survey.since_trigger || survey.total.events.nEvents == 0) {
        return "";
    }
    const Since_Trigger& since = *survey.since_trigger;
    const double bin = std::ldexp(1.0, since.shift);
    const auto [first, end] = shown_since_trigger(
        since.counts, static_cast<double>(survey.total.triggers->median_period) / bin);
    const std::span shown = std::span(since.counts).subspan(first, end - first);
    std::string text = std::ranges::all_of(shown, [](std::uint64_t n) { return n == 0; })
                           ? "Events since the trigger: none\n"
                           : bars_text("Events since the trigger", shown,
                                       seconds(bin * static_cast<double>(first)), seconds(bin), {});
    const auto sum = [&](std::size_t from, std::size_t to) {
        return std::accumulate(since.counts.begin() + static_cast<std::ptrdiff_t>(from),
                               since.counts.begin() + static_cast<std::ptrdiff_t>(to),
                               std::uint64_t{0});
    };
    const auto add = [&text](std::uint64_t n, const char* where) {
        text += n == 0 ? "" : "  " + grouped(n) + " " + where + "\n";
    };
    add(sum(0, first), "sooner");
    add(sum(end, since.counts.size()) + since.nBeyond, "later");
    add(since.nBefore, "before the first trigger of their file");
    add(since.nAfter, "after the last trigger of their file");
    return text;
}

std::string valley_text(const Valleys& valleys, std::uint64_t nEvents) {
    std::string text;
    if (const auto& photons = valleys.nPhotons) {
        text += "  photons: the upper one has " + digits(photons->bound) + " or more, " +
                percent_text(photons->nAbove, nEvents) + " of the events\n";
    }
    if (const auto& psd = valleys.psd) {
        text += "  PSD: the upper one has " + digits(psd->bound) + " or more, " +
                percent_text(psd->nAbove, nEvents) + " of the events\n";
    }
    return text.empty() ? "" : "Two populations\n" + text + '\n';
}

std::string suggestion_text(const Suggestion& suggestion, std::uint64_t nEvents) {
    std::string text = "  " + suggestion.mode + ": " + suggestion.what + " (";
    if (suggestion.bins) {
        text += number_of(suggestion.nPages, "page", "pages") + " of " +
                time_text(suggestion.bins->named_seconds, 4) + ", ";
    }
    text += amount_text(static_cast<double>(suggestion.fileBytes), "B") + ")\n";
    if (suggestion.nLost.value_or(0) > 0) {
        text += "    without about " + percent_text(*suggestion.nLost, nEvents) +
                " of the events, which are at other times\n";
    }
    return text + "    " + suggestion.shell + '\n';
}

std::string suggestions_text(const Suggestions& suggestions, std::uint64_t nEvents) {
    std::string text = "Suggestions\n";
    if (!suggestions.list_file.empty()) {
        text +=
            "  first, a list of the files for these commands\n    " + suggestions.list_file + '\n';
    }
    for (const Suggestion& suggestion : suggestions.list) {
        text += suggestion_text(suggestion, nEvents);
    }
    for (const std::string& note : suggestions.notes) {
        text += "  " + note + '\n';
    }
    return text;
}

/// A list of files, but not of very many.
std::string list_text(const std::string& title, const std::vector<std::string>& lines) {
    constexpr std::size_t most = 10;
    std::string text = lines.empty() ? "" : "\n" + title + '\n';
    for (std::size_t i = 0; i < std::min(lines.size(), most); ++i) {
        text += "  " + lines[i] + '\n';
    }
    return lines.size() <= most
               ? text
               : text + "  and " + grouped(lines.size() - most) + " more; --json has them all\n";
}

std::string closing_list(const Survey& survey) {
    std::vector<std::string> faulty;
    std::vector<std::string> odd;
    const std::vector<std::vector<std::string>> oddities = oddities_of(survey);
    for (std::size_t i = 0; i < survey.files.size(); ++i) {
        const File_Survey& file = survey.files[i];
        if (file.fault) {
            faulty.push_back(escaped(file.path) + ": " + escaped(*file.fault));
        }
        for (const std::string& oddity : oddities[i]) {
            odd.push_back(escaped(file.path) + ": " + oddity);
        }
    }
    return list_text("Faulty files", faulty) + list_text("Odd files", odd);
}

}  // namespace

std::string text_report(const Survey& survey, const Suggestions& suggestions, bool each_file,
                        std::size_t columns) {
    std::string text;
    for (std::size_t i = 0; each_file && i < survey.files.size(); ++i) {
        text += file_text(survey.files[i]);
    }
    text += files_title(survey);
    if (survey.nFaulty() < survey.files.size()) {
        text += summary_text(survey.total, survey.bytes()) + outside_line(survey) +
                hot_pixels_line(survey);
    }
    for (const std::string& warning : warnings_of(survey)) {
        text += "  WARNING: " + warning + '\n';
    }
    const auto add_block = [&text](const std::string& block) {
        text += block.empty() ? "" : '\n' + block;
    };
    add_block(over_time_text(survey));
    add_block(since_trigger_text(survey));
    const Valleys& valleys = suggestions.valleys;
    add_block(
        side_by_side(histogram_text("Photons per event", survey.nPhotons, valleys.nPhotons, true),
                     histogram_text("PSD values", survey.psd, valleys.psd, false)));
    const std::uint64_t nEvents = survey.total.events.nEvents;
    text += '\n' + valley_text(valleys, nEvents) + suggestions_text(suggestions, nEvents);
    constexpr std::size_t least_columns = 80;
    return wrapped_lines(text, std::max(columns, least_columns)) + closing_list(survey);
}
