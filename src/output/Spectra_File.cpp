#include "output/Spectra_File.h"

#include "Event.h"
#include "output/Text_File.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <numeric>

namespace {

/// Holds the start of any page.
__extension__ using Wide = __int128;

/// A time in seconds, exactly: a tick is a whole number of units of the 13th decimal.
std::string seconds_text(Wide ticks) {
    constexpr std::int64_t ticks_per_second = orven::Event_Time::ticks_per_second;
    constexpr std::int64_t units_per_second = 10'000'000'000'000;
    static_assert(units_per_second % ticks_per_second == 0);
    constexpr std::int64_t units_per_tick = units_per_second / ticks_per_second;
    const Wide magnitude = ticks < 0 ? -ticks : ticks;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%s%ld.%013ld", ticks < 0 ? "-" : "",
                  static_cast<std::int64_t>(magnitude / ticks_per_second),
                  static_cast<std::int64_t>(magnitude % ticks_per_second) * units_per_tick);
    return text.data();
}

}  // namespace

void write_spectra(const std::string& path, const Image_Pages& image, const Time_Axis& time_bins) {
    const std::size_t page_size = image.rows * image.columns;
    Wide start = time_bins.origin();
    std::string text;
    for (std::size_t page = 0; page < image.nPages; ++page) {
        const auto cells = image.cells.subspan(page * page_size, page_size);
        const std::uint64_t counts = std::accumulate(cells.begin(), cells.end(), std::uint64_t{0});
        text += seconds_text(start) + '\t' + std::to_string(counts) + '\n';
        start += time_bins.width();
    }
    write_text_file(path, text);
}
