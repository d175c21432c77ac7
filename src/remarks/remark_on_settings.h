#pragma once

#include "remarks/Remarks.h"
#include "settings/Parameters.h"

/// Whether bounds of the photon count, or of the PSD value, are such that no event lies in them.
[[nodiscard]] bool accepts_no_photons(const Parameters& parameters) noexcept;
[[nodiscard]] bool accepts_no_psd(const Parameters& parameters) noexcept;

/// Remarks on what is known before any file is read: options that were not fully read, no files,
/// frames in a chance order, bounds that no event fulfils.
/// Throws: as `Remarks::doubt`.
void remark_on_settings(const Parameters& parameters, Remarks& remarks);
