#pragma once

#include "Event_File.h"
#include "reading/Run_Account.h"
#include "reading/Shared_Walk.h"
#include "settings/Parameters.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// What a file that fails does to the run.
enum class On_Failure {
    log,     ///< it is logged at level `error` and left
    end_run  ///< no later file is read, and the caller rethrows
};

/// An open file, and what is known of it as a whole.
struct Input {
    std::size_t index;  ///< in the list of files
    orven::Event_File file;
    bool triggersAscend = false;  ///< in modes that use triggers
    std::size_t firstFrame = 0;   ///< number of the first trigger interval, in mode `frameSync`
    std::unique_ptr<Shared_Walk> sharedWalk;  ///< if tasks share its ranges

    /// Throws: as `Event_File`.
    Input(std::size_t index_, const std::string& path) : index(index_), file(path) {}
};

/// Some events of one file.
struct Event_Range {
    std::shared_ptr<const Input> input;
    std::size_t first;
    std::size_t end;
};

/// How events are shared among tasks.
struct Sharing {
    std::size_t nTasks;
    /// How many events a task reads at a time, at least 1. Images do not depend on it.
    std::size_t piece_length;
};

/// Shares the events of a list of files among tasks. Each file is opened and checked once, in list
/// order, by the task that needs it next, and stays open while ranges of it are at work.
/// Several tasks work on one file, unless its triggers are used and do not ascend: then where an
/// event belongs is known only to a task that has seen all events before it.
/// Threads: any number may call `take`, `fail`, `finish` and `stop`.
class Work_Queue {
public:
    /// The paths must outlive this object. `firstFrame` is the number of the first trigger
    /// interval.
    Work_Queue(std::span<const std::string> paths_, Parameters::ExtTrigger_Mode mode_,
               On_Failure onFailure_, const Sharing& sharing_, std::size_t firstFrame = 0);

    /// The next range; empty when all are taken. Waits while other tasks open files.
    /// Throws: only what goes wrong outside of files, such as std::bad_alloc while logging.
    [[nodiscard]] std::optional<Event_Range> take();

    /// Tells that a range could not be read. Of each file the first failure counts, and what is
    /// left of it is no longer handed out.
    /// Throws: std::bad_alloc while logging.
    void fail(std::size_t fileIndex, const std::exception_ptr& failure);

    /// Hands out no more of a file: nothing that is left of it counts.
    void finish(std::size_t fileIndex);

    /// Hands out nothing any more.
    void stop();

    /// Call when no task runs any more.
    /// Throws: the failure of the first file in the list that has one.
    void rethrow_failure() const;

    /// What was found of the files; call when no task runs any more.
    [[nodiscard]] std::vector<File_Account> take_files() noexcept { return std::move(files); }

private:
    /// What is left to take of an open file.
    struct Rest {
        std::shared_ptr<const Input> input;
        std::size_t next;
    };

    /// An open file, or why there is none.
    struct Opened {
        std::shared_ptr<Input> input;
        std::exception_ptr failure;
    };

    /// Whether another file may be opened: as many as there are tasks may be held back.
    [[nodiscard]] bool may_open() const noexcept;
    /// Opens the next file, with the lock released meanwhile.
    void open_next(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] Opened try_open(std::size_t fileIndex) const noexcept;
    /// Throws: what opening and checking the file throws.
    [[nodiscard]] std::shared_ptr<Input> open(std::size_t fileIndex) const;
    /// Numbers the frames of files of which all before them have been opened, and offers them.
    void offer_in_order();
    void offer(const std::shared_ptr<const Input>& input);
    [[nodiscard]] Event_Range take_range();
    [[nodiscard]] std::size_t range_length(const Rest& rest) const noexcept;
    [[nodiscard]] bool is_wanted(std::size_t fileIndex) const;
    /// Tells whether this is the file's first failure.
    [[nodiscard]] bool note_failure(std::size_t fileIndex, const std::exception_ptr& failure);

    const std::span<const std::string> paths;
    const Parameters::ExtTrigger_Mode mode;
    const On_Failure onFailure;
    const Sharing sharing;

    std::mutex mutex;
    std::condition_variable changed;
    std::size_t nextPath = 0;
    std::size_t nWanted;       ///< files from here on are not opened any more
    std::size_t nOpening = 0;  ///< files that tasks are opening
    std::deque<Rest> opened;
    /// In mode `frameSync`, files after one that is being opened; empty for those that failed.
    std::map<std::size_t, std::shared_ptr<Input>> early;
    std::size_t nInOrder = 0;  ///< files from the first on that have been opened
    std::size_t nextFrame;     ///< the number of the first frame of the file after these
    std::vector<File_Account> files;
};
