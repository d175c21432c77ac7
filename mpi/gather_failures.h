#pragma once

#include "Ranks.h"

#include <cstddef>
#include <exception>
#include <span>
#include <vector>

/// Why a file could not be read.
struct File_Failure {
    std::size_t file;  ///< index in the list
    std::exception_ptr failure;
};

/// Returns the failures of all ranks, in their order, to all of them. Their messages are the same,
/// and their types as far as users see them.
[[nodiscard]] std::vector<File_Failure> gather_failures(const Ranks& ranks,
                                                        std::span<const File_Failure> own);
