#pragma once

#include "binning/Binning_Events_Base.h"
#include "reading/Counting_Task.h"
#include "reading/count_files.h"
#include "settings/Parameters.h"

#include <memory>
#include <string>
#include <vector>

template <Parameters::ExtTrigger_Mode mode>
template <class Filter, bool concurrent>
void Binning_Events_Base<mode>::add_data_filtered_files(const std::vector<std::string>& files,
                                                        const Filter& filter) {
    const Counting_Job job{mode,      get_placement(), filter, get_cells(),
                           nTriggers, keepAccount,     &nRead};
    // Without one file, the frames of all files after it would have other numbers.
    const bool endsRun = !concurrent || mode == Parameters::frameSync;
    const On_Failure onFailure = strict    ? On_Failure::end_strict_run
                                 : endsRun ? On_Failure::end_run
                                           : On_Failure::log;
    account = std::make_shared<const Run_Account>(count_files(
        job, files, onFailure, {concurrent ? default_task_count() : 1, events_per_piece}));
    nTriggers += account->nIntervals;
}
