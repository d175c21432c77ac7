#pragma once

#include "Open_Recording.h"

#include <pybind11/pybind11.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Paths as Python hands them over, in the encoding of the file system.
[[nodiscard]] std::vector<std::string> paths_from(const pybind11::list& paths);

/// A path, or a text that may hold one, as a str of Python.
[[nodiscard]] pybind11::str text_from(std::string_view text);

/// Files and reasons as a list of pairs.
[[nodiscard]] pybind11::list pairs_from(std::span<const Faulty_File> files);

/// Makes exceptions of this module those of Python: failures of the system become OSError, and no
/// text is lost, whatever bytes paths have.
void translate_exceptions();
