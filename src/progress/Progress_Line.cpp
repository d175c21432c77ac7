#include "progress/Progress_Line.h"

#include "Event.h"
#include "logging.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iomanip>
#include <new>
#include <optional>
#include <sstream>
#include <system_error>

namespace {

using Duration = Progress_Line::Duration;

/// A number with a prefix of the units, and three digits: "4.80 G".
std::string with_prefix(double number) {
    constexpr std::array prefixes{"", "k", "M", "G", "T", "P"};
    std::size_t i = 0;
    for (; number >= 999.5 && i + 1 < prefixes.size(); ++i) {
        number /= 1000;
    }
    const int decimals = i == 0 || number >= 99.95 ? 0 : number >= 9.995 ? 1 : 2;
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << number << ' ' << prefixes.at(i);
    return text.str();
}

/// The time left at the mean speed so far, as minutes and seconds. It is not told before it
/// means something: when a hundredth is done, or after a while.
std::string time_left(double done, double all, Duration time) {
    constexpr Duration a_while(10);
    const double seconds = std::ceil((all - done) / done * time.count());
    constexpr double longest = 359'999;
    if ((done < all / 100 && time < a_while) || !(seconds <= longest)) {
        return "";
    }
    const auto whole = static_cast<int>(seconds);
    std::ostringstream text;
    text << ", " << whole / 60 << ':' << std::setw(2) << std::setfill('0') << whole % 60 << " left";
    return text.str();
}

std::string percent(double done, double all) {
    return std::to_string(static_cast<int>(std::min(100.0, 100 * done / std::max(all, 1.0)))) +
           " % ";
}

double bytes_of(const std::vector<std::string>& files) {
    double sum = 0;
    for (const std::string& file : files) {
        std::error_code unknown;
        const std::uintmax_t size = std::filesystem::file_size(file, unknown);
        sum += unknown ? 0 : static_cast<double>(size);
    }
    return sum;
}

}  // namespace

Progress_Line::Progress_Line(std::function<std::string(Duration)> text_) : text(std::move(text_)) {
    if (!person_reads()) {
        return;
    }
    try {
        thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        // A run needs no line.
    }
}

Progress_Line::~Progress_Line() {
    {
        const Lock lock(mutex);
        ended = true;
    }
    changed.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
    remove_status_line();
}

void Progress_Line::run() {
    constexpr std::chrono::seconds before_first(1);
    constexpr std::chrono::milliseconds between(200);
    const auto start = std::chrono::steady_clock::now();
    Lock lock(mutex);
    const auto has_ended = [this]() REQUIRES(mutex) { return ended; };
    changed.wait_for(lock, before_first, has_ended);
    while (!ended) {
        try {
            show_status_line(text(std::chrono::steady_clock::now() - start));
        } catch (const std::bad_alloc&) {
            return;
        }
        changed.wait_for(lock, between, has_ended);
    }
}

std::function<std::string(Duration)> reading_progress(const std::vector<std::string>& files,
                                                      const Progress_Count& nEvents) {
    return [&files, &nEvents, all = std::optional<double>()](Duration time) mutable {
        if (!all) {
            all = bytes_of(files);
        }
        const auto events = static_cast<double>(nEvents.get());
        const double done = std::min(events * sizeof(orven::Photon_Event), *all);
        return "reading: " + percent(done, *all) + "of " + with_prefix(*all) + "B, " +
               with_prefix(events / time.count()) + "events/s" + time_left(done, *all, time);
    };
}

std::function<std::string(Duration)> writing_progress(std::uint64_t nPages,
                                                      std::uint64_t page_bytes,
                                                      const Progress_Count& nWritten) {
    return [nPages, page_bytes, &nWritten](Duration time) {
        const std::uint64_t done = nWritten.get();
        const auto written = static_cast<double>(done * page_bytes);
        const auto all = static_cast<double>(nPages * page_bytes);
        return "writing: page " + std::to_string(done) + " of " + std::to_string(nPages) + ", " +
               with_prefix(written / time.count()) + "B/s" + time_left(written, all, time);
    };
}
