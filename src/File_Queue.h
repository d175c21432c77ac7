#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

/// Shares a list of files among tasks: each file is handed out once, in list order; a file whose
/// events may be counted in any order is read by several tasks, each taking ranges of it.
class File_Queue {
public:
    explicit File_Queue(std::size_t nFiles) : files(nFiles) {}

    /// The index of the next file, or the number of files when all are taken.
    [[nodiscard]] std::size_t take_file() noexcept {
        const std::size_t index = next.fetch_add(1);
        return index < files.size() ? index : files.size();
    }

    /// What the tasks that read one file know of each other.
    struct Progress {
        std::atomic<std::size_t> nextEvent{0};  ///< first event that no task has taken
        std::atomic<bool> ended{false};         ///< all events are taken, or reading failed
        std::atomic<bool> failed{false};        ///< reading failed, and this has been reported
    };
    [[nodiscard]] Progress& operator[](std::size_t index) noexcept { return files[index]; }

private:
    std::vector<Progress> files;
    std::atomic<std::size_t> next{0};
};
