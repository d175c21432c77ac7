#include "reading/File_Failures.h"

#include "Event_File_Format.h"
#include "escaped.h"

#include <algorithm>
#include <new>
#include <stdexcept>

std::string with_name(const std::string& path, const std::string& message) {
    const std::string name = "file \"" + path + '"';
    return escaped(message.starts_with(name) ? message : name + ": " + message);
}

void rethrow_lack_of_memory(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const orven::Impossible_Size&) {
        return;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return;
    }
}

void rethrow_failure(std::span<const std::string> paths, std::span<const File_Account> files,
                     On_Failure onFailure) {
    const auto failed = std::ranges::find_if(
        files, [](const File_Account& file) { return file.failure != nullptr; });
    if (!ends_run(onFailure) || failed == files.end()) {
        return;
    }
    if (onFailure == On_Failure::end_strict_run) {
        const auto i = static_cast<std::size_t>(failed - files.begin());
        throw std::invalid_argument(with_name(paths[i], message_of(failed->failure)));
    }
    try {
        std::rethrow_exception(failed->failure);
    } catch (const orven::Impossible_Size&) {
        throw std::bad_alloc();  // the end of the process shows the type too
    }
}
