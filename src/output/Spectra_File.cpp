#include "output/Spectra_File.h"

#include "output/Text_File.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <numeric>

namespace {

constexpr std::uint64_t ticks_per_second = orven::Event_Time::ticks_per_second;

/// A time in seconds, exactly: a tick is a whole number of units of the 13th decimal.
std::string text_of(std::uint64_t seconds, std::uint64_t ticks) {
    constexpr std::uint64_t units_per_second = 10'000'000'000'000;
    static_assert(units_per_second % ticks_per_second == 0);
    constexpr std::uint64_t units_per_tick = units_per_second / ticks_per_second;
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%lu.%013lu", seconds, ticks * units_per_tick);
    return text.data();
}

}  // namespace

void write_spectra(const std::string& path, const Image_Pages& image,
                   orven::Event_Time bin_length) {
    const std::size_t page_size = image.rows * image.columns;
    const auto bin_ticks = static_cast<std::uint64_t>(bin_length.value);
    std::uint64_t seconds = 0;
    std::uint64_t ticks = 0;
    std::string text;
    for (std::size_t page = 0; page < image.nPages; ++page) {
        const auto cells = image.cells.subspan(page * page_size, page_size);
        const std::uint64_t counts = std::accumulate(cells.begin(), cells.end(), std::uint64_t{0});
        text += text_of(seconds, ticks) + '\t' + std::to_string(counts) + '\n';
        ticks += bin_ticks % ticks_per_second;
        seconds += bin_ticks / ticks_per_second + ticks / ticks_per_second;
        ticks %= ticks_per_second;
    }
    write_text_file(path, text);
}
