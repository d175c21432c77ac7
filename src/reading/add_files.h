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
    const Counting_Job job{mode, get_placement(), filter, get_cells(), nTriggers};
    nTriggers += concurrent ? count_files_concurrently(job, files, default_task_count())
                            : count_files_in_order(job, files);
}
