#pragma once

#include "remarks/Remarks.h"
#include "settings/Parameters.h"

/// Remarks on what is known before any file is read: options that were not fully read, no files,
/// frames in a chance order, bounds that no event fulfils.
/// Throws: as `Remarks::doubt`.
void remark_on_settings(const Parameters& parameters, Remarks& remarks);
