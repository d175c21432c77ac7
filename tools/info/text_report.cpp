#include "Event.h"
#include "histogram_rows.h"
#include "number_texts.h"
#include "reports.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <ios>
#include <sstream>

namespace {

using orven::Event_Length;
using orven::Event_Time;

struct Prefix {
    double factor;
    const char* name;
};

/// A number with the prefix of its unit that leaves one to three digits before the point.
template <std::size_t n>
std::string with_prefix(double number, const std::array<Prefix, n>& prefixes, int significant) {
    const double rounded_up = 1 - std::pow(10, -significant) / 2;
    const Prefix* fits = &prefixes.back();
    for (const Prefix& prefix : prefixes) {
        if (std::fabs(number) >= prefix.factor * rounded_up) {
            fits = &prefix;
            break;
        }
    }
    return digits(number / fits->factor, significant) + ' ' + fits->name;
}

std::string time_text(double seconds, int significant = 4) {
    constexpr std::array<Prefix, 4> prefixes{{{1, "s"}, {1e-3, "ms"}, {1e-6, "µs"}, {1e-9, "ns"}}};
    return seconds == 0 ? "0 s" : with_prefix(seconds, prefixes, significant);
}

std::string amount_text(double amount, const std::string& unit) {
    constexpr std::array<Prefix, 6> prefixes{
        {{1e15, "P"}, {1e12, "T"}, {1e9, "G"}, {1e6, "M"}, {1e3, "k"}, {1, ""}}};
    return with_prefix(amount, prefixes, 3) + unit;
}

std::string order_text(const Time_Order& order) {
    if (order.nSteps_back == 0) {
        return "in order of time";
    }
    return "NOT in order of time: " + grouped(order.nSteps_back) +
           (order.nSteps_back == 1 ? " step" : " steps") + " back, by up to " +
           time_text(Event_Time::seconds_of(order.furthest_back));
}

class Report {
public:
    explicit Report(const Survey& survey_) : survey(survey_) {}

    std::string write(const Suggestions& suggestions) {
        for (const File_Survey& file : survey.files) {
            write_file(file);
        }
        if (survey.files.size() > 1) {
            write_total();
        }
        if (survey.total.nPhotons) {
            write_histogram("Photons per event", survey.nPhotons, *survey.total.nPhotons, true);
        }
        if (survey.total.psd) {
            write_histogram("PSD values", survey.psd, *survey.total.psd, false);
        }
        write_suggestions(suggestions);
        return text.str();
    }

private:
    void write_line(const char* name, const std::string& content) {
        text << "  " << std::left << std::setw(10) << name << content << '\n';
    }

    void write_file(const File_Survey& file) {
        text << file.path << '\n';
        if (file.fault) {
            write_line("FAULTY", *file.fault);
        } else {
            write_summary(file.summary, static_cast<double>(file.bytes));
        }
        text << '\n';
    }

    void write_total() {
        const std::size_t nFaulty = survey.nFaulty();
        text << "All " << grouped(survey.files.size()) << " files";
        if (nFaulty > 0) {
            text << ", without " << grouped(nFaulty) << " that " << (nFaulty == 1 ? "is" : "are")
                 << " faulty";
        }
        text << '\n';
        write_summary(survey.total, static_cast<double>(survey.bytes()));
        text << '\n';
    }

    void write_summary(const Summary& summary, double bytes) {
        const Event_Summary& events = summary.events;
        const Time_Order& order = summary.order;
        std::string events_text = grouped(events.nEvents) + " in " + amount_text(bytes, "B");
        if (events.nEvents > 0) {
            events_text += ", " + order_text(order);
        }
        write_line("events", events_text);
        write_line("triggers", triggers_text(summary.triggers));
        if (events.nEvents == 0) {
            return;
        }
        const double span = Event_Time::seconds_of(order.span());
        std::string time = time_text(Event_Time::seconds_of(order.times.smallest)) + " to " +
                           time_text(Event_Time::seconds_of(order.times.largest));
        if (span > 0) {
            time += ", " + time_text(span) + " long";
        }
        if (summary.rate) {
            time += ", " + amount_text(*summary.rate, "events/s");
        }
        write_line("time", time);
        write_line("position",
                   "x " + axis_text(events.x) + ", y " + axis_text(events.y) + " detector pixels");
        write_line("photons",
                   quantiles_text(*summary.nPhotons, static_cast<double>(events.nPhotons.smallest),
                                  static_cast<double>(events.nPhotons.largest)));
        if (summary.psd) {
            write_line("PSD",
                       quantiles_text(*summary.psd, events.psd.smallest, events.psd.largest) +
                           nan_text(events.nNaN));
        } else {
            write_line("PSD", "no numbers");
        }
    }

    static std::string triggers_text(const std::optional<Trigger_Summary>& triggers) {
        if (!triggers) {
            return "none recorded: the trigger input was not enabled";
        }
        if (triggers->nPulses == 0) {
            return "no pulses";
        }
        std::string text =
            grouped(triggers->nPulses) + (triggers->nPulses == 1 ? " pulse" : " pulses");
        if (!triggers->period.empty()) {
            const auto period = [](std::int64_t ticks) {
                constexpr int significant = 7;
                return time_text(Event_Time::seconds_of(ticks), significant);
            };
            text += ", every " + period(triggers->median_period) + " (" +
                    period(triggers->period.smallest) + " to " + period(triggers->period.largest) +
                    ")";
            if (triggers->nMissing) {
                text += ", " + (*triggers->nMissing == 0 ? "none" : grouped(*triggers->nMissing)) +
                        " missing";
            }
        }
        return text + ", " + order_text(triggers->order);
    }

    static std::string axis_text(const Extent<std::int32_t>& extent) {
        std::ostringstream axis;
        axis << std::fixed << std::setprecision(2) << Event_Length(extent.smallest).in_pixels()
             << " to " << Event_Length(extent.largest).in_pixels();
        return axis.str();
    }

    static std::string quantiles_text(const Quantiles& quantiles, double smallest, double largest) {
        constexpr std::size_t low = 1;
        constexpr std::size_t median = 3;
        constexpr std::size_t high = 5;
        static_assert(quantile_percents[low] == 5 && quantile_percents[median] == 50 &&
                      quantile_percents[high] == 95);
        return digits(smallest, 4) + " to " + digits(largest, 4) + ", median " +
               digits(quantiles[median], 3) + ", nine of ten from " + digits(quantiles[low], 3) +
               " to " + digits(quantiles[high], 3);
    }

    static std::string nan_text(std::uint64_t nNaN) {
        return nNaN == 0 ? "" : ", " + grouped(nNaN) + " not a number";
    }

    /// Rows of equal width over nearly all values; those outside are added up in a row of their
    /// own.
    void write_histogram(const char* title, const Distribution& distribution,
                         const Quantiles& quantiles, bool whole);

    void write_suggestions(const Suggestions& suggestions) {
        text << "Suggestions\n";
        for (const Suggestion& suggestion : suggestions.list) {
            text << "  " << suggestion.mode << ": " << suggestion.what << "\n    "
                 << suggestion.shell << "\n    makes " << suggestion.size << " x "
                 << suggestion.size << " pixels";
            if (suggestion.bin_seconds) {
                text << ", " << grouped(suggestion.nPages)
                     << (suggestion.nPages == 1 ? " page of " : " pages of ")
                     << time_text(*suggestion.bin_seconds, 7);
            }
            text << ": " << amount_text(static_cast<double>(suggestion.imageBytes), "B")
                 << " of memory, a file of "
                 << amount_text(static_cast<double>(suggestion.fileBytes), "B") << '\n';
        }
        for (const std::string& note : suggestions.notes) {
            text << "  " << note << '\n';
        }
    }

    const Survey& survey;
    std::ostringstream text;
};

void Report::write_histogram(const char* title, const Distribution& distribution,
                             const Quantiles& quantiles, bool whole) {
    constexpr double margin = 0.5;
    // From a little below the first quantile to a little above the last.
    const double spread = margin * (quantiles.back() - quantiles.front());
    const double low = std::max(distribution.front().smallest, quantiles.front() - spread);
    const double high = std::min(distribution.back().largest, quantiles.back() + spread);
    if (!std::isfinite(high - low)) {
        return;
    }
    const Histogram_Rows rows = histogram_rows(distribution, low, high, whole);
    std::uint64_t most = 1;
    for (const Histogram_Row& row : rows.rows) {
        most = std::max(most, row.count);
    }
    text << title << '\n';
    const auto write_row = [&](const std::string& name, std::uint64_t count, double bar) {
        constexpr int bar_length = 50;
        text << "  " << std::right << std::setw(10) << name << std::setw(16) << grouped(count)
             << ' ' << std::string(static_cast<std::size_t>(std::round(bar_length * bar)), '#')
             << '\n';
    };
    if (rows.below > 0) {
        write_row("below", rows.below, 0);
    }
    for (const Histogram_Row& row : rows.rows) {
        write_row(row.name, row.count, static_cast<double>(row.count) / static_cast<double>(most));
    }
    if (rows.above > 0) {
        write_row("above", rows.above, 0);
    }
    text << '\n';
}

}  // namespace

std::string text_report(const Survey& survey, const Suggestions& suggestions) {
    return Report(survey).write(suggestions);
}
