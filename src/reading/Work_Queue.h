#pragma once

#include "Event_File.h"
#include "counting/Run_Account.h"
#include "settings/Parameters.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// How many events of a shared file a task takes at a time: long enough for the system to read
/// ahead, short enough for tasks to end together.
inline constexpr std::size_t events_per_range = 65536;

/// What a file that fails does to the run.
enum class On_Failure {
    log,     ///< it is logged at level `error` and left
    end_run  ///< no later file is read, and the caller rethrows
};

/// Some events of one file, and what a task must know of where they begin.
struct Event_Range {
    std::size_t fileIndex;  ///< in the list of files
    std::shared_ptr<const orven::Event_File> file;
    std::size_t first;
    std::size_t end;
    bool triggersAscend;     ///< of the whole file, in modes that use triggers
    std::size_t firstFrame;  ///< number of the file's first trigger interval, if one task reads all
};

/// Shares the events of a list of files among tasks. Each file is opened and checked once, in list
/// order, by the task that needs it next, and stays open while ranges of it are at work.
/// In mode `ignore` several tasks work on one file; with triggers a file is one range, as where an
/// event belongs depends on the events before it.
/// Threads: any number may call `take`, `fail` and `stop`.
class Work_Queue {
public:
    /// The paths must outlive this object. `firstFrame` is the number of the first trigger
    /// interval.
    Work_Queue(std::span<const std::string> paths_, Parameters::ExtTrigger_Mode mode_,
               On_Failure onFailure_, std::size_t firstFrame = 0);

    /// The next range; empty when all are taken. Waits while other tasks open files.
    /// Throws: only what goes wrong outside of files, such as std::bad_alloc while logging.
    [[nodiscard]] std::optional<Event_Range> take();

    /// Tells that a range could not be read. Of each file the first failure counts, and what is
    /// left of it is no longer handed out.
    /// Throws: std::bad_alloc while logging.
    void fail(std::size_t fileIndex, const std::exception_ptr& failure);

    /// Hands out nothing any more.
    void stop();

    /// Throws: the failure of the first file in the list that has one.
    void rethrow_failure() const;

    /// What was found of the files; call when no task runs any more.
    [[nodiscard]] std::vector<File_Account> take_files() noexcept { return std::move(files); }

private:
    /// An open file as one range, or why there is none.
    struct Opened {
        Event_Range whole;
        std::exception_ptr failure;
    };

    /// Opens the next file, with the lock released meanwhile.
    void open_next(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] Opened try_open(std::size_t fileIndex) const noexcept;
    /// Throws: what opening and checking the file throws.
    [[nodiscard]] Event_Range open(std::size_t fileIndex) const;
    [[nodiscard]] Event_Range take_range();
    [[nodiscard]] bool is_wanted(std::size_t fileIndex) const;
    /// Tells whether this is the file's first failure.
    [[nodiscard]] bool note_failure(std::size_t fileIndex, const std::exception_ptr& failure);

    const std::span<const std::string> paths;
    const Parameters::ExtTrigger_Mode mode;
    const On_Failure onFailure;

    std::mutex mutex;
    std::condition_variable changed;
    std::size_t nextPath = 0;
    std::size_t nWanted;             ///< files from here on are not opened any more
    std::size_t nOpening = 0;        ///< files that tasks are opening
    std::deque<Event_Range> opened;  ///< what is left to take of the open files
    std::size_t nextFrame;           ///< the first number that no open file has
    std::vector<File_Account> files;
};
