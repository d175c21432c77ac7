#pragma once

#include "reading/Run_Account.h"

#include <exception>
#include <span>
#include <string>

/// What a file that fails does to the run.
enum class On_Failure {
    log,            ///< it is logged at level `error` and left
    leave,          ///< it is left
    end_run,        ///< no later file is read, and the caller rethrows
    end_strict_run  ///< the same, with a message that names the file
};

[[nodiscard]] constexpr bool ends_run(On_Failure onFailure) noexcept {
    return onFailure == On_Failure::end_run || onFailure == On_Failure::end_strict_run;
}

/// The message of a failure, with the file's name unless it begins with it; escaped.
[[nodiscard]] std::string with_name(const std::string& path, const std::string& message);

/// Throws: the failure if it is a lack of memory, which is none of a file.
void rethrow_lack_of_memory(const std::exception_ptr& failure);

/// Throws: where failures end the run, that of the first file in the list that has one; in a strict
/// run, std::invalid_argument that names the file.
void rethrow_failure(std::span<const std::string> paths, std::span<const File_Account> files,
                     On_Failure onFailure);
