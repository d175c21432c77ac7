#include "remarks/closing_account.h"

#include "escaped.h"
#include "logging.h"
#include "number_texts.h"
#include "reading/File_Failures.h"
#include "wrapped.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t label_width = 10;

struct Row {
    std::string label;
    std::string text;
};

/// With one decimal, so that parts of a whole add up to it.
std::string count_text(std::uint64_t n, std::uint64_t all) {
    constexpr double percents = 100;
    constexpr double least = 0.1;
    if (n == 0 || all == 0) {
        return grouped(n);
    }
    const double percent = percents * static_cast<double>(n) / static_cast<double>(all);
    std::ostringstream text;
    text << grouped(n) << " (" << std::fixed << std::setprecision(1)
         << (percent < least ? "below " : "") << std::max(percent, least) << " %)";
    return text.str();
}

void add_events(const Run_Account& account, std::vector<Row>& rows) {
    const Event_Account& events = account.events;
    std::uint64_t nRecorded = 0;
    std::size_t nFiles = 0;
    for (const File_Account& file : account.files) {
        nRecorded += file.failure == nullptr ? file.nEvents : 0;
        nFiles += file.failure == nullptr ? 1 : 0;
    }
    rows.push_back({"recorded", number_of(nRecorded, "event", "events") + " in " +
                                    number_of(nFiles, "file", "files")});
    rows.push_back({"rejected", count_text(events.rejected(), nRecorded)});
    rows.push_back({"outside", count_text(events.outside(), nRecorded)});
    if (events.recorded < nRecorded) {
        rows.push_back({"not read", count_text(nRecorded - events.recorded, nRecorded) +
                                        ", as none of them can count"});
    }
    rows.push_back({"counted", count_text(events.counted, nRecorded)});
}

void add_left_out(const Run_Report& report, std::vector<Row>& rows) {
    constexpr std::size_t most = 20;
    std::size_t nFailed = 0;
    for (std::size_t i = 0; i < report.account.files.size(); ++i) {
        const std::exception_ptr& failure = report.account.files[i].failure;
        if (failure != nullptr && ++nFailed <= most) {
            rows.push_back(
                {"left out", with_name(report.parameters.inputFiles[i], message_of(failure))});
        }
    }
    if (nFailed > most) {
        rows.push_back({"left out", "and " + number_of(nFailed - most, "file", "files") + " more"});
    }
}

std::string pixels_text(const Image_Pages& image, const Image_Axes& axes) {
    return grouped(image.columns) + " x " + grouped(image.rows) + " pixels of " +
           digits(axes.columns.width) + " x " + digits(axes.rows.width) + " detector pixels";
}

std::string pages_text(const Run_Report& report) {
    const bool frames = report.parameters.extTrigger_mode == Parameters::frameSync;
    const std::string length =
        time_text(orven::Event_Time::seconds_of(report.axes.time_bins->width()));
    return number_of(report.image.nPages, "page", "pages") +
           (frames ? ", each the first " + length + " of a frame" : " of " + length);
}

std::uint64_t largest_count(const Image_Pages& image) {
    unsigned int largest = 0;
    for (const Counter& cell : image.cells) {
        largest = std::max(largest, cell.load(std::memory_order_relaxed));
    }
    return largest;
}

void add_image(const Run_Report& report, std::vector<Row>& rows) {
    rows.push_back({"image", pixels_text(report.image, report.axes)});
    if (report.axes.time_bins) {
        rows.push_back({"", pages_text(report)});
    }
    rows.push_back({"", "largest count of a pixel: " + grouped(largest_count(report.image))});
    const double seconds = report.duration.count();
    const double speed = static_cast<double>(report.account.events.recorded) / seconds;
    rows.push_back({"written", amount_text(static_cast<double>(report.imageBytes), "B") + " to " +
                                   escaped(*report.parameters.outputFile)});
    rows.push_back({"took", time_text(seconds) + ", " + amount_text(speed, "events/s")});
}

}  // namespace

void tell_closing_account(const Run_Report& report) {
    if (!person_reads()) {
        return;
    }
    std::vector<Row> rows;
    add_events(report.account, rows);
    add_left_out(report, rows);
    add_image(report, rows);
    std::string lines;
    for (const auto& [label, text] : rows) {
        std::string row = label;
        row.append(label_width - label.size(), ' ').append(text);
        lines += wrapped(row, terminal_columns(), label_width);
    }
    tell(lines);
}
