#pragma once

#include "reading/Run_Account.h"
#include "remarks/Remarks.h"
#include "settings/Parameters.h"

/// Remarks on what has been counted: no event or few of them, triggers that were not used, files
/// whose times overlap, events in the first pixels that lie before them.
/// Throws: as `Remarks::doubt`.
void remark_on_counts(const Parameters& parameters, const Run_Account& account, Remarks& remarks);
