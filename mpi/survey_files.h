#pragma once

#include "Ranks.h"
#include "gather_failures.h"
#include "reading/Run_Account.h"
#include "send_job.h"

#include <cstddef>
#include <vector>

/// What all ranks know of the files before their events are counted, each in list order.
struct Survey {
    struct File {
        bool shared;                 ///< whether several may work on it
        std::size_t firstFrame = 0;  ///< number of its first trigger interval, in mode `frameSync`
    };

    std::vector<File_Account> accounts;  ///< without failures
    std::vector<File> files;
    std::vector<File_Failure> failures;
};

/// Opens each file on one of the ranks, by so many tasks on this one, and tells all ranks.
/// Throws: on one rank, std::bad_alloc; std::system_error if a thread cannot be started.
[[nodiscard]] Survey survey_files(const Ranks& ranks, const Ranked_Job& ranked, std::size_t nTasks);
