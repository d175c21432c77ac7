#pragma once

#include "Event_File.h"
#include "reading/File_Failures.h"
#include "reading/Run_Account.h"
#include "reading/Walk_Ledger.h"
#include "system/Mutex.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// An open file, what is known of it as a whole, and which of its events are wanted.
struct Input {
    std::size_t index;  ///< in the list of files
    std::shared_ptr<const orven::Event_File> opened;
    const orven::Event_File& file;
    /// Whether tasks may share its events: not where triggers are used and do not ascend, as then
    /// only a task that has seen all events before one knows where it belongs.
    bool shared = true;
    std::size_t firstFrame = 0;  ///< number of the first trigger interval, where frames have one
    std::size_t first = 0;       ///< of the events that are wanted
    std::size_t end;             ///< behind them
    /// Of walks along ranges of these events, where triggers are used; it begins with their first.
    std::shared_ptr<Walk_Ledger> ledger = std::make_shared<Walk_Ledger>();
    /// If they have been counted already, the walk along which they were. They are handed out as
    /// one range then.
    std::optional<Wrong_Walk> wrong;

    Input(std::size_t index_, std::shared_ptr<const orven::Event_File> opened_)
        : index(index_),
          opened(std::move(opened_)),
          file(*opened),
          end(file.index().events.nRecords) {}
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    [[nodiscard]] File_Account account() const {
        const auto& [events, extTriggers] = file.index();
        File_Account found{file.size(), events.nRecords, {}, {}};
        if (extTriggers) {
            found.nTriggers = extTriggers->nRecords;
        }
        return found;
    }
};

/// A list of files; the paths must outlive it.
struct Input_List {
    std::span<const std::string> paths;
    /// Of as many files as there are paths, or of none, those that are open already.
    std::vector<std::shared_ptr<const orven::Event_File>> opened = {};

    /// Throws: as `Event_File`.
    [[nodiscard]] std::shared_ptr<const orven::Event_File> open(std::size_t index) const {
        const bool isOpen = !opened.empty() && opened[index] != nullptr;
        return isOpen ? opened[index] : std::make_shared<orven::Event_File>(paths[index]);
    }
};

/// Some events of one file.
struct Event_Range {
    std::shared_ptr<const Input> input;
    std::size_t first;
    std::size_t end;
    std::optional<Wrong_Walk> wrong;  ///< the walk along which they were counted, if it was wrong
};

/// How events are shared among tasks.
struct Sharing {
    std::size_t nTasks;
    /// How many events a task reads at a time, at least 1. Images do not depend on it.
    std::size_t piece_length;
};

/// Looks at a file that has just been opened, and may want less of it. What it throws is the file's
/// failure. It is called by the task that opens the file, while others work.
using Look_At = std::function<void(Input&)>;

/// Shares the events of a list of files among tasks. Each file is opened and looked at once, by the
/// task that needs it next, and stays open while ranges of it are at work. Files are opened in list
/// order, and several tasks work on one.
/// Threads: any number may call `take`, `put_back`, `fail`, `finish` and `stop`.
class Work_Queue {
public:
    /// With `firstFrame`, the number of the first trigger interval, intervals are numbered through
    /// all files.
    Work_Queue(Input_List inputs_, Look_At look_at_, On_Failure onFailure_, const Sharing& sharing_,
               std::optional<std::size_t> firstFrame = {});

    /// The next range; empty when all are taken. Waits while other tasks open files.
    /// Throws: only what goes wrong outside of files, such as std::bad_alloc.
    [[nodiscard]] std::optional<Event_Range> take();

    /// Gives a range back that must be corrected. It is handed out before any other, also of a file
    /// that has failed, unless that ends the run.
    /// Throws: std::bad_alloc.
    void put_back(Event_Range range);

    /// Tells that a range could not be read. Of each file the first failure counts, and no new
    /// range of it is handed out.
    /// Throws: the failure if it is a lack of memory, which is none of the file; std::bad_alloc
    /// while logging.
    void fail(std::size_t fileIndex, const std::exception_ptr& failure);

    /// Hands out no more new ranges of a file: nothing that is left of it counts.
    void finish(std::size_t fileIndex);

    /// Hands out nothing any more.
    void stop();

    /// Call when no task runs any more.
    /// Throws: as the function of this name.
    void rethrow_failure() const;

    /// What was found of the files; call when no task runs any more.
    [[nodiscard]] std::vector<File_Account> take_files() noexcept;

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
    [[nodiscard]] bool may_open() const noexcept REQUIRES(mutex);
    [[nodiscard]] bool has_ranges() const noexcept REQUIRES(mutex);
    /// Opens a file whose turn it is.
    void open(std::size_t fileIndex);
    [[nodiscard]] Opened try_open(std::size_t fileIndex) const noexcept;
    /// Numbers the frames of files of which all before them have been opened, and offers them.
    void offer_in_order() REQUIRES(mutex);
    void offer(const std::shared_ptr<const Input>& input) REQUIRES(mutex);
    [[nodiscard]] Event_Range take_range() REQUIRES(mutex);
    [[nodiscard]] bool is_wanted(std::size_t fileIndex) const REQUIRES(mutex);
    /// Tells whether this is the file's first failure.
    [[nodiscard]] bool note_failure(std::size_t fileIndex, const std::exception_ptr& failure);

    const Input_List inputs;
    const Look_At look_at;
    const On_Failure onFailure;
    const Sharing sharing;

    mutable Mutex mutex;
    std::condition_variable_any changed;
    std::size_t nextPath GUARDED_BY(mutex) = 0;
    std::size_t nWanted GUARDED_BY(mutex);       ///< files from here on are not opened any more
    std::size_t nOpening GUARDED_BY(mutex) = 0;  ///< files that tasks are opening
    std::deque<Rest> opened GUARDED_BY(mutex);
    std::deque<Event_Range> returned GUARDED_BY(mutex);  ///< ranges that were put back
    /// Where frames are numbered, files after one that is being opened; empty for those that
    /// failed.
    std::map<std::size_t, std::shared_ptr<Input>> early GUARDED_BY(mutex);
    std::size_t nInOrder GUARDED_BY(mutex) = 0;  ///< files from the first on that have been opened
    /// The number of the first frame of the file after these, where frames are numbered.
    std::optional<std::size_t> nextFrame GUARDED_BY(mutex);
    std::vector<File_Account> files GUARDED_BY(mutex);
};
