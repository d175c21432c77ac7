#pragma once

#include "Ranks.h"
#include "reading/Counting_Task.h"
#include "reading/File_Failures.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

/// All that ranks must know to count events of a run. They have none of its settings.
struct Ranked_Job {
    Counting_Job job;    ///< elsewhere than on the first rank without cells and progress
    std::size_t nCells;  ///< of the image
    std::vector<std::string> paths;
    On_Failure onFailure;
    bool concurrent;
};

/// On the first rank: gives the job to the others.
void send_job(const Ranks& ranks, const Ranked_Job& ranked);

/// On the first rank: tells the others that there is none, so that they end.
void send_end(const Ranks& ranks);

/// On the others: waits for the job; empty at the end.
[[nodiscard]] std::optional<Ranked_Job> receive_job(const Ranks& ranks);
