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
    add_data_filtered_files<Filter, concurrent>(files, filter, count_in_this_process);
}

template <Parameters::ExtTrigger_Mode mode>
template <class Filter, bool concurrent, class Count>
void Binning_Events_Base<mode>::add_data_filtered_files(const std::vector<std::string>& files,
                                                        const Filter& filter, const Count& count) {
    const Counting_Job job{mode,      get_placement(), filter, get_cells(),
                           nTriggers, keepAccount,     &nRead};
    // Without one file, the frames of all files after it would have other numbers.
    const bool endsRun = !concurrent || mode == Parameters::frameSync;
    const On_Failure onFailure = strict    ? On_Failure::end_strict_run
                                 : endsRun ? On_Failure::end_run
                                           : On_Failure::log;
    account = std::make_shared<const Run_Account>(count(job, files, onFailure, concurrent));
    nTriggers += account->nIntervals;
}
