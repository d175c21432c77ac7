#pragma once

#include "Counting_Image.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

/// How many events are read, filtered and placed at a time: few enough to stay in a core's cache.
inline constexpr std::size_t events_per_piece = 2048;

/// Cells of an image, as positions in its storage order: at most those of one piece of events.
struct Cell_List {
    std::size_t size = 0;
    std::array<std::size_t, events_per_piece> cells;
};

/// Who else counts into the image at the same time.
enum class Image_Use { alone, shared };

/// Counts cells of an image for one task.
/// Alone, it counts with plain additions. Beside other tasks it counts a small image in counters
/// of its own, which `merge` adds to the image, and a large image by atomic additions.
/// Threads: one object per task.
class Cell_Counter {
public:
    /// Throws: std::bad_alloc.
    Cell_Counter(std::span<Counter> image_, Image_Use use);

    /// Adds 1 to each of these cells; all must lie in the image.
    void count(const Cell_List& list) noexcept;

    /// Adds the task's own counters, if it has any, to the image, by plain additions: nobody else
    /// may count meanwhile.
    void merge() noexcept;

private:
    std::span<Counter> image;
    bool atomic;
    std::vector<Counter, Image_Allocator<Counter>> own;
    bool own_used = false;
};
