#pragma once

#include "binning/Binning_Events_Base.h"
#include "reading/Counting_Task.h"
#include "reading/count_files.h"
#include "settings/Parameters.h"

#include <string>
#include <vector>

template <Parameters::ExtTrigger_Mode mode>
template <class Filter, bool concurrent>
void Binning_Events_Base<mode>::add_data_filtered_files(const std::vector<std::string>& files,
                                                        const Filter& filter) {
    static_assert(!concurrent || mode != Parameters::frameSync,
                  "frames are numbered in the order of the files");
    const Counting_Job job{mode, get_placement(), filter, get_cells(), nTriggers, keepAccount};
    const On_Failure onFailure = concurrent && !strict ? On_Failure::log : On_Failure::end_run;
    account = count_files(job, files, concurrent ? default_task_count() : 1, onFailure);
    nTriggers += account.nIntervals;
}
