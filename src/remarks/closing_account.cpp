#include "remarks/closing_account.h"

#include "escaped.h"
#include "logging.h"
#include "number_texts.h"
#include "utf8.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t label_width = 10;

struct Row {
    std::string label;
    std::string text;
};

std::size_t text_columns() {
    const std::size_t columns = terminal_columns();
    return columns - std::min(columns, label_width);
}

/// So much of a text as fits into one line; of UTF-8, whole characters.
std::string beginning_of(const std::string& text) {
    std::size_t length = std::min(text.size(), text_columns());
    while (length < text.size() && continues_character(text[length])) {
        --length;
    }
    return text.substr(0, length);
}

/// A file and why it was left out: where both do not fit, the end of the name says which it is.
std::string left_out_text(const std::string& path, const std::string& reason) {
    constexpr std::string_view omission = "...";
    std::string text = escaped(path) + ": " + escaped(reason);
    const std::size_t columns = text_columns();
    if (text.size() <= columns || columns <= omission.size()) {
        return text;
    }
    std::size_t first = text.size() - (columns - omission.size());
    while (first < text.size() && continues_character(text[first])) {
        ++first;
    }
    return std::string(omission) + text.substr(first);
}

std::string count_text(std::uint64_t n, std::uint64_t all) {
    return grouped(n) + (all > 0 ? " (" + percent_text(n, all) + ')' : "");
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
                                        ", behind all that counts"});
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
                {"left out", left_out_text(report.parameters.inputFiles[i], message_of(failure))});
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
    return number_of(report.image.nPages, "page", "pages") + " of " + length +
           (frames ? " of each frame" : "");
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
    std::ostringstream lines;
    for (const auto& [label, text] : rows) {
        lines << std::left << std::setw(label_width) << label << beginning_of(text) << '\n';
    }
    tell(lines.str());
}
