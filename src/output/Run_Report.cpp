#include "output/Run_Report.h"

#include "Event.h"
#include "output/Json_Writer.h"

#include <cmath>
#include <ctime>
#include <exception>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace {

/// Writes a setting, if it is present.
void write_setting(Json_Writer& json, const char* key, const std::optional<double>& number) {
    if (number) {
        json.member(key, *number);
    }
}

std::string mode_name(Parameters::ExtTrigger_Mode mode) {
    switch (mode) {
        case Parameters::reference:
            return "reference";
        case Parameters::frameSync:
            return "frameSync";
        default:
            return "ignore";
    }
}

std::string rfc_3339(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::ostringstream text;
    text << std::put_time(&utc, "%Y-%m-%dT%H:%M:%SZ");
    return text.str();
}

void write_settings(Json_Writer& json, const Parameters& parameters) {
    json.member("size_x", parameters.size_x);
    json.member("size_y", parameters.size_y);
    json.member("nPhotons_min", parameters.nPhotons_min);
    json.member("nPhotons_max", parameters.nPhotons_max);
    write_setting(json, "psd_min", parameters.psd_min);
    write_setting(json, "psd_max", parameters.psd_max);
    json.member("time_extTrigger", mode_name(parameters.extTrigger_mode));
    write_setting(json, "time_res_s", parameters.time_res_s);
    if (parameters.time_max_binNumber) {
        json.member("time_limit", *parameters.time_max_binNumber);
    }
    if (parameters.upright) {
        json.member("upright", true);
    }
    if (parameters.region) {
        json.values("region", *parameters.region);
    }
    write_setting(json, "timeStart", parameters.timeStart);
}

void write_input(Json_Writer& json, const std::string& path, const File_Account& file) {
    json.member("path", path);
    if (file.failure != nullptr) {
        json.member("error", message_of(file.failure));
        return;
    }
    json.member("bytes", file.bytes);
    json.member("events", file.nEvents);
    if (file.nTriggers) {
        json.member("triggers", *file.nTriggers);
    } else {
        json.null_member("triggers");
    }
}

void write_axes(Json_Writer& json, const Run_Report& report) {
    const auto pixels = [&](const char* key, const Pixel_Steps& axis) {
        json.object(key, [&] {
            json.member("coordinate", axis.coordinate);
            json.member("start", axis.start);
            json.member("pixel_width", axis.width);
        });
    };
    pixels("columns", report.axes.columns);
    pixels("rows", report.axes.rows);
    const std::optional<Time_Axis>& bins = report.axes.time_bins;
    if (!bins) {
        json.null_member("pages");
        return;
    }
    const bool frames = report.parameters.extTrigger_mode == Parameters::frameSync;
    json.object("pages", [&] {
        json.member("coordinate", std::string(frames ? "frame" : "time"));
        json.member("bin_ticks", bins->width());
        json.member("bin_seconds", orven::Event_Time::seconds_of(bins->width()));
        const bool from_zero = report.parameters.extTrigger_mode == Parameters::ignore;
        json.member("start", std::string(from_zero ? "time 0" : "trigger"));
        json.member("start_ticks", bins->origin());
        json.member("start_seconds", orven::Event_Time::seconds_of(bins->origin()));
    });
}

void write_run(Json_Writer& json, const Run_Report& report) {
    // Names of their own, which lambdas can capture.
    const Parameters& parameters = report.parameters;
    const Run_Account& account = report.account;
    const Image_Pages& image = report.image;
    json.member("program", std::string("vexolan"));
    json.member("version", std::string(Parameters::version));
    json.list("arguments", [&] {
        for (const std::string& argument : parameters.arguments) {
            json.value(argument);
        }
    });
    const auto started = std::chrono::system_clock::now() - report.duration;
    json.member(
        "started",
        rfc_3339(std::chrono::time_point_cast<std::chrono::system_clock::duration>(started)));
    json.member("seconds", report.duration.count());
    json.list("inputs", [&] {
        for (std::size_t i = 0; i < account.files.size(); ++i) {
            json.object([&] { write_input(json, parameters.inputFiles[i], account.files[i]); });
        }
    });
    json.object("events", [&] {
        json.member("recorded", account.events.recorded);
        json.member("rejected", account.events.rejected());
        json.member("outside", account.events.outside());
        json.member("counted", account.events.counted);
    });
    json.member("intervals", account.nIntervals);
    json.object("image", [&] {
        json.member("path", *parameters.outputFile);
        json.member("format", parameters.fileFormat);
        json.member("bytes", report.imageBytes);
        json.member("pages", image.nPages);
        json.member("rows", image.rows);
        json.member("columns", image.columns);
    });
    json.object("axes", [&] { write_axes(json, report); });
    json.values("remarks", report.remarks);
}

std::string short_text(double number) {
    constexpr int digits = 10;
    std::ostringstream text;
    text << std::setprecision(digits) << number;
    return text.str();
}

}  // namespace

void check_settings_can_be_reported(const Parameters& parameters) {
    for (const std::optional<double>& value :
         {parameters.psd_min, parameters.psd_max, parameters.time_res_s}) {
        if (value && !std::isfinite(*value)) {
            throw std::invalid_argument("a report cannot hold the setting " + short_text(*value) +
                                        "!");
        }
    }
}

std::string report_text(const Run_Report& report) {
    Json_Writer json;
    json.object([&] {
        json.object("vexolan", [&] { write_settings(json, report.parameters); });
        json.object("run", [&] { write_run(json, report); });
    });
    return json.text();
}
