#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

/// Where events and triggers lie in an event file: position and number of each; None for triggers
/// that were not recorded.
/// Raises: ValueError with the fault of the file.
[[nodiscard]] pybind11::tuple index_of_file(const pybind11::bytes& path);

/// Writes counts, (rows, columns) or (pages, rows, columns), as `vexolan` does, in place of no file
/// of `read_files` and no recording.
/// Raises: ValueError for such a place, and for a file that would be too large for its format;
/// OSError.
void save_counts(const pybind11::array_t<std::uint32_t, pybind11::array::c_style>& counts,
                 const pybind11::bytes& path, const std::string& format,
                 const pybind11::list& read_files, const pybind11::object& report);

/// Writes an event file of records as they lie in memory; without a trigger block if `triggers` is
/// None.
/// Raises: TypeError for other memory, OSError.
void write_recording(const pybind11::bytes& path, const pybind11::buffer& events,
                     const pybind11::object& triggers);
