#pragma once

#include "Bounds.h"

#include <pybind11/pybind11.h>

/// What vexolan-info --json says of files, or of a folder with these files: a JSON text.
[[nodiscard]] pybind11::str survey(const pybind11::object& folder, const pybind11::list& paths,
                                   const Bounds& bounds, const pybind11::object& report);
