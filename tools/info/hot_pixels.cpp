#include "hot_pixels.h"

#include <algorithm>
#include <functional>

namespace {

constexpr int size = Survey_Image::size;

/// Beyond its edges, the image goes on as in a mirror.
std::uint64_t count_at(const Survey_Image& image, int x, int y) {
    const auto mirrored = [](int i) {
        return static_cast<std::size_t>(i < 0 ? -1 - i : i < size ? i : 2 * size - 1 - i);
    };
    return image.counts[mirrored(y) * Survey_Image::size + mirrored(x)];
}

std::uint64_t second_largest_around(const Survey_Image& image, int x, int y) {
    constexpr int distance = 2;
    std::uint64_t largest = 0;
    std::uint64_t second = 0;
    const auto look_at = [&](int dx, int dy) {
        const std::uint64_t count = count_at(image, x + dx, y + dy);
        second = std::max(second, std::min(largest, count));
        largest = std::max(largest, count);
    };
    for (int along = -distance; along < distance; ++along) {
        look_at(along, -distance);
        look_at(distance, along);
        look_at(-along, distance);
        look_at(-distance, -along);
    }
    return second;
}

/// As counts have noise, a few events more are no fault.
bool is_hot(const Hot_Pixel& pixel) {
    constexpr std::uint64_t factor = 2;
    constexpr std::uint64_t noise = 10;
    return pixel.nEvents > factor * pixel.around && pixel.nEvents > pixel.around + noise;
}

bool is_over(const Hot_Pixel& pixel, std::uint64_t factor) {
    return pixel.nEvents > factor * std::max<std::uint64_t>(pixel.around, 1);
}

}  // namespace

Hot_Pixels find_hot_pixels(const Survey_Image& image) {
    constexpr std::size_t most_named = 10;
    Hot_Pixels found;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const Hot_Pixel pixel{static_cast<std::size_t>(x), static_cast<std::size_t>(y),
                                  count_at(image, x, y), second_largest_around(image, x, y)};
            if (is_hot(pixel)) {
                ++found.nPixels;
                found.over_10_times += is_over(pixel, 10) ? 1 : 0;
                found.over_100_times += is_over(pixel, 100) ? 1 : 0;
                found.nEvents += pixel.nEvents;
                found.hottest.push_back(pixel);
            }
        }
    }
    std::ranges::stable_sort(found.hottest, std::ranges::greater(), &Hot_Pixel::nEvents);
    found.hottest.resize(std::min(found.hottest.size(), most_named));
    return found;
}
