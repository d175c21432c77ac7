#include "divide_events.h"

#include <algorithm>

namespace {

/// The nearest place to an event, counted from the first of its file, at which that may be cut.
std::size_t nearest_cut(const File_Share& file, std::size_t event, std::size_t piece_length) {
    if (event == file.nEvents) {
        return event;
    }
    const std::size_t length = file.divisible ? piece_length : file.nEvents;
    return std::min((event + length / 2) / length * length, file.nEvents);
}

}  // namespace

std::vector<File_Part> divide_events(std::span<const File_Share> files, std::size_t part,
                                     std::size_t n, std::size_t piece_length) {
    std::size_t nEvents = 0;
    for (const File_Share& file : files) {
        nEvents += file.nEvents;
    }
    const auto border = [&](std::size_t i) { return nEvents / n * i + nEvents % n * i / n; };
    const std::size_t begin = border(part);
    const std::size_t end = border(part + 1);
    std::vector<File_Part> parts;
    std::size_t before = 0;
    for (std::size_t i = 0; i < files.size(); before += files[i].nEvents, ++i) {
        const auto cut = [&](std::size_t event) {
            const std::size_t here = std::clamp(event, before, before + files[i].nEvents) - before;
            return nearest_cut(files[i], here, piece_length);
        };
        const std::size_t first = cut(begin);
        const std::size_t last = cut(end);
        if (first < last) {
            parts.push_back({i, first, last});
        }
    }
    return parts;
}
