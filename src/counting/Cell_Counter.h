#pragma once

#include "counting/Counting_Image.h"
#include "counting/Image_Memory.h"

#include <cstddef>
#include <span>
#include <vector>

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

    /// Adds 1 to each of these cells, given as positions in the image's storage order; all must lie
    /// in the image.
    void count(std::span<const std::size_t> cells) noexcept;

    /// Adds the task's own counters, if it has any, to the image, by plain additions: nobody else
    /// may count meanwhile.
    void merge() noexcept;

private:
    std::span<Counter> image;
    bool atomic;
    std::vector<Counter, Image_Allocator<Counter>> own;
    bool own_used = false;
};
