#pragma once

#include "Ranks.h"
#include "gather_failures.h"
#include "reading/Run_Account.h"
#include "reading/Work_Queue.h"
#include "send_job.h"
#include "survey_files.h"

#include <vector>

/// What a rank has counted.
struct Part_Count {
    Event_Account events;
    std::vector<File_Failure> failures;  ///< of files while they were read
};

/// Counts this rank's part of all events. Where a file is shared, no rank waits for those before
/// it: each begins with the file's first trigger interval, and corrects what that was too early
/// for when all have told which interval they reached.
/// Throws: on one rank, as `count_events`.
[[nodiscard]] Part_Count count_part(const Ranks& ranks, const Ranked_Job& ranked,
                                    const Survey& survey, const Sharing& sharing);
