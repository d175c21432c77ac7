#include "Event.h"
#include "reports.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <ios>
#include <numeric>
#include <sstream>

namespace {

using orven::Event_Length;
using orven::Event_Time;

/// A count, with commas between thousands.
std::string grouped(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) {
            text += ',';
        }
        text += digits[i];
    }
    return text;
}

/// So many significant digits, or all of a large whole number; without an exponent where that is
/// readable.
std::string digits(double number, int significant = 4) {
    constexpr double readable = 1e15;
    const double size = std::round(std::fabs(number));
    if (size >= std::max(1000.0, std::pow(10, significant - 1)) && size < readable) {
        return std::string(number < 0 ? 1 : 0, '-') + grouped(static_cast<std::uint64_t>(size));
    }
    std::ostringstream text;
    text << std::setprecision(significant) << number;
    return text.str();
}

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
        const Event_Summary& events = survey.total.events;
        if (survey.total.nPhotons) {
            write_histogram("Photons per event", survey.nPhotons, *survey.total.nPhotons,
                            static_cast<double>(events.nPhotons.smallest),
                            static_cast<double>(events.nPhotons.largest), true);
        }
        if (survey.total.psd) {
            write_histogram("PSD values", survey.psd, *survey.total.psd, events.psd.smallest,
                            events.psd.largest, false);
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
            time += ", " + time_text(span) + " long, " +
                    amount_text(static_cast<double>(events.nEvents) / span, "events/s");
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
                    "), " + (triggers->nMissing == 0 ? "none" : grouped(triggers->nMissing)) +
                    " missing";
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
        static_assert(quantile_parts[low] == 0.05 && quantile_parts[median] == 0.5 &&
                      quantile_parts[high] == 0.95);
        return digits(smallest, 4) + " to " + digits(largest, 4) + ", median " +
               digits(quantiles[median], 3) + ", nine of ten from " + digits(quantiles[low], 3) +
               " to " + digits(quantiles[high], 3);
    }

    static std::string nan_text(std::uint64_t nNaN) {
        return nNaN == 0 ? "" : ", " + grouped(nNaN) + " not a number";
    }

    /// Rows of equal width over nearly all values; those outside are added up in a row of their
    /// own.
    void write_histogram(const char* title, const Binned& binned, const Quantiles& quantiles,
                         double smallest, double largest, bool whole);

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

/// The same bins, without the parts of the outer ones in which there is no value.
Binned trimmed(Binned binned, double smallest, double largest, bool whole) {
    binned.edges.front() = smallest;
    binned.edges.back() = whole ? largest + 1 : largest;
    return binned;
}

/// How many values are less than `limit`, as far as is known: they are spread evenly over their
/// bin.
double count_below(const Binned& binned, double limit) {
    double sum = 0;
    for (std::size_t bin = 0; bin < binned.counts.size(); ++bin) {
        const double low = binned.edges[bin];
        const double width = binned.edges[bin + 1] - low;
        const bool has_parts = width > 0 && std::isfinite(width);
        const double part = has_parts ? (limit - low) / width : limit > low ? 1 : 0;
        sum += std::clamp(part, 0.0, 1.0) * static_cast<double>(binned.counts[bin]);
    }
    return sum;
}

/// The width of histogram rows: 1, 2 or 5 times a power of ten, at most `most` of them from `low`
/// to `high`.
double row_width(double low, double high, double most) {
    const double span = high > low ? high - low : std::max(std::fabs(high), 1.0);
    const double least = span / most;
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) {
            return factor * power;
        }
    }
    return 10 * power;
}

void Report::write_histogram(const char* title, const Binned& binned, const Quantiles& quantiles,
                             double smallest, double largest, bool whole) {
    constexpr double most_rows = 20;
    constexpr double margin = 0.5;
    // From a little below the first quantile to a little above the last.
    const double spread = margin * (quantiles.back() - quantiles.front());
    const double low = std::max(smallest, quantiles.front() - spread);
    const double high = std::min(largest, quantiles.back() + spread);
    if (!std::isfinite(high - low)) {
        return;
    }
    double width = row_width(low, high, most_rows);
    if (whole) {
        width = std::max(width, 1.0);
    }
    const double first = std::floor(low / width);
    const auto nRows = static_cast<std::size_t>(std::floor(high / width) - first) + 1;
    const auto start_of = [&](std::size_t row) {
        return (first + static_cast<double>(row)) * width;
    };
    const Binned bins = trimmed(binned, smallest, largest, whole);
    const double below = count_below(bins, start_of(0));
    const double above = std::accumulate(bins.counts.begin(), bins.counts.end(), 0.0) -
                         count_below(bins, start_of(nRows));
    std::vector<double> rows(nRows);
    for (std::size_t row = 0; row < nRows; ++row) {
        rows[row] = count_below(bins, start_of(row + 1)) - count_below(bins, start_of(row));
    }
    const double most = std::max(1.0, *std::ranges::max_element(rows));
    constexpr int bar_length = 50;
    constexpr double least = 0.5;  // would be rounded to none
    text << title << '\n';
    const auto write_row = [&](const std::string& name, double count, const std::string& bar) {
        text << "  " << std::right << std::setw(10) << name << std::setw(16)
             << grouped(static_cast<std::uint64_t>(std::round(count))) << ' ' << bar << '\n';
    };
    if (below >= least) {
        write_row("below", below, "");
    }
    for (std::size_t row = 0; row < nRows; ++row) {
        const auto length = static_cast<std::size_t>(std::round(bar_length * rows[row] / most));
        write_row(digits(start_of(row)), rows[row], std::string(length, '#'));
    }
    if (above >= least) {
        write_row("above", above, "");
    }
    text << '\n';
}

}  // namespace

std::string text_report(const Survey& survey, const Suggestions& suggestions) {
    return Report(survey).write(suggestions);
}
