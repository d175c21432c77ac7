#pragma once

#include "Open_Recording.h"
#include "counting/Cell_Counter.h"
#include "progress/Progress_Count.h"
#include "reading/Run_Account.h"
#include "settings/Image_Settings.h"

#include <vector>

/// An image, and what became of the recording.
struct Counted_Image {
    Counters cells;  ///< page after page, row after row
    Event_Account events;
    std::vector<Faulty_File> failures;  ///< files that could not be read to their end
};

/// Counts all events of a recording, by all cores. With `strict`, and where pages are frames, the
/// first failure ends the work, and the image means nothing.
/// Throws: std::invalid_argument for settings that give no image; std::bad_alloc; Cancelled;
/// std::system_error if a thread cannot be started.
[[nodiscard]] Counted_Image count_image(const Open_Recording& recording,
                                        const Image_Settings& settings, bool strict,
                                        Progress_Count& nRead);
