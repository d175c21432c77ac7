#include "summary_text.h"

#include "Event.h"
#include "number_texts.h"

#include <iomanip>
#include <sstream>

namespace {

std::string order_text(const Time_Order& order) {
    if (order.nSteps_back == 0) {
        return "in order of time";
    }
    return "NOT in order of time: " + number_of(order.nSteps_back, "step", "steps") +
           " back, by up to " + time_text(seconds(order.furthest_back));
}

std::string events_text(const Summary& summary, std::int64_t bytes) {
    std::string text =
        grouped(summary.events.nEvents) + " in " + amount_text(static_cast<double>(bytes), "B");
    if (summary.nRejected > 0) {
        text += ", " + grouped(summary.nRejected) + " rejected";
    }
    return summary.events.nEvents > 0 ? text + ", " + order_text(summary.order) : text;
}

std::string period_text(const Trigger_Summary& triggers) {
    const auto text_of = [](std::int64_t period) {
        constexpr int significant = 4;
        return time_text(seconds(period), significant);
    };
    const std::string median = text_of(triggers.median_period);
    const std::string smallest = text_of(triggers.period.smallest);
    const std::string largest = text_of(triggers.period.largest);
    const bool is_sample = triggers.nPulses > Value_Sample::most;
    std::string text = (is_sample ? ", every about " : ", every ") + median;
    if (smallest != median || largest != median) {
        text += " (" + smallest + " to " + largest + ")";
    }
    if (triggers.nMissing) {
        text +=
            ", " + (*triggers.nMissing == 0 ? "none" : grouped(*triggers.nMissing)) + " missing";
    }
    return text;
}

std::string triggers_text(const std::optional<Trigger_Summary>& triggers) {
    if (!triggers) {
        return "none recorded: the trigger input was not enabled";
    }
    if (triggers->nPulses == 0) {
        return "no pulses";
    }
    return number_of(triggers->nPulses, "pulse", "pulses") +
           (triggers->period.empty() ? "" : period_text(*triggers)) + ", " +
           order_text(triggers->order);
}

std::string times_text(const Summary& summary) {
    const Time_Order& order = summary.order;
    std::string text =
        time_text(seconds(order.times.smallest)) + " to " + time_text(seconds(order.times.largest));
    if (order.span() > 0) {
        text += ", " + time_text(seconds(order.span())) + " long";
    }
    return summary.rate ? text + ", " + amount_text(*summary.rate, "events/s") : text;
}

std::string axis_text(const Extent<std::int32_t>& extent) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(2) << orven::Event_Length(extent.smallest).in_pixels()
         << " to " << orven::Event_Length(extent.largest).in_pixels();
    return text.str();
}

std::string quantiles_text(const Quantiles& quantiles, double smallest, double largest) {
    constexpr int significant = 3;
    const std::string about = quantiles.exact ? "" : "about ";
    return digits(smallest) + " to " + digits(largest) + ", median " + about +
           digits(quantiles.median(), significant) + ", 90 % between " + about +
           digits(quantiles.at_5_percent(), significant) + " and " +
           digits(quantiles.at_95_percent(), significant);
}

std::string psd_text(const Summary& summary) {
    const Event_Summary& events = summary.events;
    if (!summary.psd) {
        return "no numbers";
    }
    return quantiles_text(*summary.psd, events.psd.smallest, events.psd.largest) +
           (events.nNaN == 0 ? "" : ", " + grouped(events.nNaN) + " not a number");
}

}  // namespace

std::string summary_line(const std::string& name, const std::string& content) {
    constexpr std::size_t name_width = 10;
    return "  " + name + std::string(name_width - name.size(), ' ') + content + '\n';
}

std::string summary_text(const Summary& summary, std::int64_t bytes) {
    const Event_Summary& events = summary.events;
    std::string text = summary_line("events", events_text(summary, bytes)) +
                       summary_line("triggers", triggers_text(summary.triggers));
    if (events.nEvents == 0) {
        return text;
    }
    return text + summary_line("time", times_text(summary)) +
           summary_line("position", "x " + axis_text(events.x) + ", y " + axis_text(events.y) +
                                        " detector pixels") +
           summary_line("photons", quantiles_text(*summary.nPhotons,
                                                  static_cast<double>(events.nPhotons.smallest),
                                                  static_cast<double>(events.nPhotons.largest))) +
           summary_line("PSD", psd_text(summary));
}
