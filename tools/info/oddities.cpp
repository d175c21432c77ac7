#include "oddities.h"

#include "number_texts.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace {

bool has_other_period(const Summary& file, const Summary& total) {
    constexpr double tolerance = 0.01;
    if (!file.triggers || file.triggers->period.empty() || file.triggers->order.nSteps_back > 0) {
        return false;
    }
    const auto usual = static_cast<double>(total.triggers->median_period);
    const auto period = static_cast<double>(file.triggers->median_period);
    return std::fabs(period - usual) > tolerance * std::fabs(usual);
}

/// Whether triggers were recorded, and no event has one before it and one after it.
bool lies_beside_triggers(const Summary& file) {
    if (!file.triggers || file.triggers->nPulses == 0 || file.order.times.empty()) {
        return false;
    }
    const Extent<std::int64_t>& triggers = file.triggers->order.times;
    return file.order.times.largest < triggers.smallest ||
           file.order.times.smallest >= triggers.largest;
}

/// A property of files that is odd where few have it.
struct Oddity {
    const char* text;
    bool (*holds)(const Summary& file);
};

constexpr Oddity oddities[] = {
    {"no events", [](const Summary& file) { return file.events.nEvents == 0; }},
    {"events not in order of time", [](const Summary& file) { return file.order.nSteps_back > 0; }},
    {"no triggers recorded", [](const Summary& file) { return !file.triggers.has_value(); }},
    {"no trigger pulses",
     [](const Summary& file) { return file.triggers && file.triggers->nPulses == 0; }},
    {"triggers not in order of time",
     [](const Summary& file) { return file.triggers && file.triggers->order.nSteps_back > 0; }},
    {"triggers missing",
     [](const Summary& file) { return file.triggers && file.triggers->nMissing.value_or(0) > 0; }},
    {"no events between triggers", lies_beside_triggers},
};

}  // namespace

std::vector<std::vector<std::string>> oddities_of(const Survey& survey) {
    std::vector<std::vector<std::string>> found(survey.files.size());
    const auto for_each_file = [&](const auto& visit) {
        for (std::size_t i = 0; i < survey.files.size(); ++i) {
            if (!survey.files[i].fault) {
                visit(survey.files[i].summary, found[i]);
            }
        }
    };
    const std::size_t nFiles = survey.files.size() - survey.nFaulty();
    for (const Oddity& oddity : oddities) {
        std::size_t nOdd = 0;
        for_each_file(
            [&](const Summary& file, const auto&) { nOdd += oddity.holds(file) ? 1 : 0; });
        if (2 * nOdd <= nFiles) {
            for_each_file([&](const Summary& file, auto& texts) {
                if (oddity.holds(file)) {
                    texts.emplace_back(oddity.text);
                }
            });
        }
    }
    // The usual period is that of most pulses, not of most files.
    for_each_file([&](const Summary& file, auto& texts) {
        if (has_other_period(file, survey.total)) {
            texts.push_back("trigger period " +
                            time_text(seconds(file.triggers->median_period), 4) + ", not " +
                            time_text(seconds(survey.total.triggers->median_period), 4));
        }
    });
    return found;
}

std::vector<std::string> warnings_of(const Survey& survey) {
    std::vector<std::string> warnings;
    const std::uint64_t nEvents = survey.total.events.nEvents;
    if (nEvents == 0 && survey.total.nRejected > 0) {
        warnings.emplace_back("No event is within the bounds.");
    }
    const std::uint64_t nOutside = survey.image.nOutside;
    if (2 * nOutside > nEvents) {
        warnings.push_back((nOutside == nEvents ? "All" : percent_text(nOutside, nEvents)) +
                           " of the events lie beside the detector.");
    }
    if (survey.since_trigger) {
        const auto& [shift, counts, nBeyond, nBefore, nAfter] = *survey.since_trigger;
        if (2 * (nBefore + nAfter) > nEvents) {
            warnings.push_back(percent_text(nBefore + nAfter, nEvents) +
                               " of the events are from before the first trigger of their file, or "
                               "after the last.");
        }
    }
    if (survey.overlap) {
        warnings.emplace_back(
            "Times of files overlap: in mode ignore, these are laid over each other.");
    }
    return warnings;
}
