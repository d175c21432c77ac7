#include "Event.h"
#include "hot_pixels.h"
#include "number_texts.h"
#include "oddities.h"
#include "output/Json_Writer.h"
#include "reports.h"
#include "settings/Parameters.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <sstream>
#include <vector>

namespace {

using orven::Event_Length;

class Report_Writer {
public:
    explicit Report_Writer(const Survey& survey_) : survey(survey_) {}

    std::string write(const Suggestions& suggestions) {
        const std::vector<std::vector<std::string>> oddities = oddities_of(survey);
        json.object([&] {
            json.member("version", std::string(Parameters::version));
            json.object("bounds", [&] { write_bounds(); });
            json.list("inputs", [&] {
                for (std::size_t i = 0; i < survey.files.size(); ++i) {
                    json.object([&] { write_file(survey.files[i], oddities[i]); });
                }
            });
            json.object("total", [&] { write_total(); });
            json.object("valleys", [&] {
                write_valley("nPhotons", suggestions.valleys.nPhotons);
                write_valley("psd", suggestions.valleys.psd);
            });
            json.values("warnings", warnings_of(survey));
            write_if_known("list_file", suggestions.list_file.empty()
                                            ? std::nullopt
                                            : std::optional(suggestions.list_file));
            json.list("suggestions", [&] {
                for (const Suggestion& suggestion : suggestions.list) {
                    write_suggestion(suggestion);
                }
            });
            json.values("notes", suggestions.notes);
        });
        return json.text();
    }

private:
    void write_bounds() {
        write_if_known("nPhotons_min", survey.bounds.nPhotons_min);
        write_if_known("nPhotons_max", survey.bounds.nPhotons_max);
        write_if_known("psd_min", survey.bounds.psd_min);
        write_if_known("psd_max", survey.bounds.psd_max);
    }

    void write_file(const File_Survey& file, const std::vector<std::string>& oddities) {
        json.member("path", file.path);
        if (file.fault) {
            json.member("error", *file.fault);
            return;
        }
        json.member("bytes", file.bytes);
        json.values("odd", oddities);
        json.object("summary", [&] { write_summary(file.summary, nullptr, nullptr); });
    }

    void write_valley(const char* key, const std::optional<Valley>& valley) {
        if (!valley) {
            json.null_member(key);
            return;
        }
        json.object(key, [&] {
            json.member("lower_peak", valley->lower_peak);
            json.member("bound", valley->bound);
            json.member("upper_peak", valley->upper_peak);
            json.member("events_above", valley->nAbove);
        });
    }

    void write_total() {
        json.member("files", std::uint64_t{survey.files.size()});
        json.member("faulty", std::uint64_t{survey.nFaulty()});
        json.member("bytes", survey.bytes());
        json.object("summary", [&] { write_summary(survey.total, &survey.nPhotons, &survey.psd); });
        json.member("overlap", survey.overlap);
        json.object("image", [&] { write_image(); });
        json.object("hot_pixels", [&] { write_hot_pixels(); });
        if (survey.over_time.counts().empty()) {
            json.null_member("events_over_time");
        } else {
            json.object("events_over_time", [&] {
                json.member("start_s", seconds(survey.over_time.start()));
                json.member("bin_s", seconds(survey.over_time.bin_width()));
                json.values("counts", survey.over_time.counts());
            });
        }
        if (!survey.since_trigger) {
            json.null_member("events_since_trigger");
        } else {
            json.object("events_since_trigger", [&] {
                json.member("bin_s", seconds(std::int64_t{1} << survey.since_trigger->shift));
                json.values("counts", survey.since_trigger->counts);
                json.member("beyond", survey.since_trigger->nBeyond);
                json.member("without",
                            survey.since_trigger->nBefore + survey.since_trigger->nAfter);
                json.member("before_first", survey.since_trigger->nBefore);
                json.member("after_last", survey.since_trigger->nAfter);
            });
        }
        json.object("sample", [&] { write_sample(); });
    }

    /// In the order of files and events, whichever task has seen them.
    void write_sample() {
        std::vector<Event_Sample::Numbered> events = survey.sample.values();
        std::ranges::sort(events, {}, &Event_Sample::Numbered::number);
        json.member("one_in", survey.sample.one_in());
        json.list("nPhotons", [&] {
            for (const auto& event : events) {
                json.value(event.value.nPhotons);
            }
        });
        json.list("psd", [&] {
            for (const auto& event : events) {
                json.value(event.value.psd);
            }
        });
    }

    void write_image() {
        constexpr std::size_t size = Survey_Image::size;
        json.member("columns", std::uint64_t{size});
        json.member("rows", std::uint64_t{size});
        json.list("counts", [&] {
            for (std::size_t row = 0; row < size; ++row) {
                json.list([&] {
                    for (std::size_t column = 0; column < size; ++column) {
                        json.value(survey.image.counts[row * size + column]);
                    }
                });
            }
        });
        json.member("outside", survey.image.nOutside);
    }

    void write_hot_pixels() {
        const Hot_Pixels hot = find_hot_pixels(survey.image);
        json.member("pixels", hot.nPixels);
        json.member("over_10_times", hot.over_10_times);
        json.member("over_100_times", hot.over_100_times);
        json.member("events", hot.nEvents);
        json.list("hottest", [&] {
            for (const Hot_Pixel& pixel : hot.hottest) {
                json.object([&] {
                    json.member("x", std::uint64_t{pixel.x});
                    json.member("y", std::uint64_t{pixel.y});
                    json.member("events", pixel.nEvents);
                    json.member("around", pixel.around);
                });
            }
        });
    }

    /// The bins, where there are any, go with the quantiles that they are of.
    void write_summary(const Summary& summary, const Distribution* photon_bins,
                       const Distribution* psd_bins) {
        json.member("events", summary.events.nEvents);
        json.member("rejected", summary.nRejected);
        write_if_known("triggers",
                       summary.triggers ? std::optional(summary.triggers->nPulses) : std::nullopt);
        write_time(summary);
        write_period(summary.triggers);
        write_position(summary.events);
        if (!summary.nPhotons) {
            json.null_member("nPhotons");
        } else {
            json.object("nPhotons", [&] {
                write_extent(summary.events.nPhotons);
                write_distribution(*summary.nPhotons, photon_bins);
            });
        }
        if (!summary.psd && summary.events.nNaN == 0) {
            json.null_member("psd");
        } else {
            json.object("psd", [&] { write_psd(summary, psd_bins); });
        }
    }

    void write_time(const Summary& summary) {
        const Time_Order& order = summary.order;
        if (order.times.empty()) {
            json.null_member("time");
            return;
        }
        json.object("time", [&] {
            json.member("first_s", seconds(order.times.smallest));
            json.member("last_s", seconds(order.times.largest));
            json.member("span_s", seconds(order.span()));
            write_if_known("rate_per_s", summary.rate);
            write_order(order);
        });
    }

    void write_order(const Time_Order& order) {
        json.member("ascending", order.nSteps_back == 0);
        json.member("steps_back", order.nSteps_back);
        json.member("largest_step_back_s", seconds(order.furthest_back));
    }

    void write_period(const std::optional<Trigger_Summary>& triggers) {
        if (!triggers || triggers->period.empty()) {
            json.null_member("trigger_period");
            return;
        }
        json.object("trigger_period", [&] {
            json.member("median_s", seconds(triggers->median_period));
            json.member("smallest_s", seconds(triggers->period.smallest));
            json.member("largest_s", seconds(triggers->period.largest));
            write_if_known("missing", triggers->nMissing);
            write_order(triggers->order);
        });
    }

    void write_position(const Event_Summary& events) {
        if (events.x.empty()) {
            json.null_member("position");
            return;
        }
        const auto axis = [&](const char* key, const Extent<std::int32_t>& extent) {
            json.list(key, [&] {
                json.value(Event_Length(extent.smallest).in_pixels());
                json.value(Event_Length(extent.largest).in_pixels());
            });
        };
        json.object("position", [&] {
            axis("x", events.x);
            axis("y", events.y);
        });
    }

    void write_psd(const Summary& summary, const Distribution* bins) {
        write_extent(summary.events.psd);  // infinite without values, so null
        json.member("nan", summary.events.nNaN);
        if (summary.psd) {
            write_distribution(*summary.psd, bins);
            return;
        }
        json.null_member("quantiles");
        json.null_member("exact");
        if (bins != nullptr) {
            json.null_member("counts");
        }
    }

    template <class Value>
    void write_extent(const Extent<Value>& extent) {
        json.member("smallest", extent.smallest);
        json.member("largest", extent.largest);
    }

    void write_distribution(const Quantiles& quantiles, const Distribution* bins) {
        json.object("quantiles", [&] {
            for (std::size_t i = 0; i < quantile_percents.size(); ++i) {
                std::ostringstream part;
                part << quantile_percents.at(i) / 100.0;
                json.member(part.str().c_str(), quantiles.values.at(i));
            }
        });
        json.member("exact", quantiles.exact);
        if (bins != nullptr) {
            json.object("counts", [&] { write_bins(*bins); });
        }
    }

    /// What lies between bins is a bin without values.
    void write_bins(const Distribution& bins) {
        std::vector<double> edges;
        std::vector<std::uint64_t> counts;
        for (const Value_Bin& bin : bins) {
            if (edges.empty()) {
                edges.push_back(bin.low);
            } else if (edges.back() < bin.low) {
                edges.push_back(bin.low);
                counts.push_back(0);
            }
            edges.push_back(bin.end);
            counts.push_back(bin.count);
        }
        json.values("edges", edges);
        json.values("counts", counts);
    }

    void write_suggestion(const Suggestion& suggestion) {
        json.object([&] {
            json.member("mode", suggestion.mode);
            json.member("what", suggestion.what);
            json.member("shell", suggestion.shell);
            const std::optional<Suggested_Bins>& bins = suggestion.bins;
            write_if_known("time_bin_s", bins ? std::optional(bins->bin_seconds) : std::nullopt);
            write_if_known("time_start_s",
                           bins ? std::optional(bins->start_seconds) : std::nullopt);
            json.member("pages", suggestion.nPages);
            json.member("rows", suggestion.size);
            json.member("columns", suggestion.size);
            json.member("image_bytes", suggestion.imageBytes);
            json.member("file_bytes", suggestion.fileBytes);
            write_if_known("lost_events", suggestion.nLost);
        });
    }

    template <class Value>
    void write_if_known(const char* key, const std::optional<Value>& value) {
        if (value) {
            json.member(key, *value);
        } else {
            json.null_member(key);
        }
    }

    const Survey& survey;
    Json_Writer json;
};

}  // namespace

std::string json_report(const Survey& survey, const Suggestions& suggestions) {
    return Report_Writer(survey).write(suggestions);
}
