#pragma once

#include "output/Run_Report.h"

/// Shows a person what a run has read, counted and written: a few lines, no wider than the
/// terminal.
/// Throws: std::bad_alloc.
void tell_closing_account(const Run_Report& report);
