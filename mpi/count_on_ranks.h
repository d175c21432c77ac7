#pragma once

#include "Ranks.h"
#include "reading/Counting_Task.h"
#include "reading/File_Failures.h"
#include "reading/Run_Account.h"

#include <span>
#include <string>

// The events of a run are counted by all ranks: each sees to some of the files, and all learn what
// they are; each counts its part of all events in an image of its own; these are added up.

/// Counts files on all ranks. Called on the first one, which gets the sum, while the others wait in
/// `help_count`.
/// Throws: on the lowest rank on which something goes wrong, as `count_events`.
Run_Account count_on_ranks(const Ranks& ranks, const Counting_Job& job,
                           std::span<const std::string> paths, On_Failure onFailure,
                           bool concurrent);

/// On the other ranks: helps to count until the first one has ended.
/// Throws: as above.
void help_count(const Ranks& ranks);
