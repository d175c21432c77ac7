#pragma once

#include "Log_Histogram.h"
#include "Photon_Histogram.h"
#include "Survey.h"
#include "Survey_Task.h"
#include "reading/Work_Queue.h"
#include "system/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

/// Collects what tasks find of the files that they share.
/// Threads: any number may call `look_at`, `since_shift` and `add`.
class Survey_Collection {
public:
    /// Writes what is found of each file to its place in `files_`, which must outlive this object.
    explicit Survey_Collection(std::vector<File_Survey>& files_);

    /// Looks at the triggers of a file that has been opened.
    /// Throws: as `survey_triggers`.
    void look_at(const Input& input);

    /// How wide bins of times since a trigger are: 2^n ticks, the same for all files, which hold
    /// the usual period of the first file that has one. Empty if the time since the trigger before
    /// an event of this file cannot be told. All files before it must have been looked at.
    [[nodiscard]] std::optional<int> since_shift(const Input& input) const;

    /// Adds what was found of a range.
    void add(const Event_Range& range, const Range_Survey& found);

    /// Writes the sums of all files; call when no task runs any more, and no file has failed after
    /// some of its events had been added.
    void sum_up(Survey& survey) const;

private:
    /// What is found of one file while ranges of it are at work.
    struct In_Work {
        Mutex mutex;
        std::vector<std::pair<std::size_t, Time_Order>> orders
            GUARDED_BY(mutex);                          ///< by first event
        std::uint64_t nRecorded GUARDED_BY(mutex) = 0;  ///< so far
        Event_Summary events GUARDED_BY(mutex);
        Photon_Histogram photon_counts GUARDED_BY(mutex);
        Log_Histogram psd_counts GUARDED_BY(mutex);
    };

    [[nodiscard]] bool has_intervals(std::size_t index) const;
    /// Sums up a file of which all ranges have been added.
    void finish(In_Work& found, File_Survey& file) REQUIRES(found.mutex);

    std::vector<File_Survey>& files;
    std::vector<std::unique_ptr<In_Work>> inWork;  ///< by file
    mutable Mutex mutex;
    std::size_t first_with_intervals GUARDED_BY(mutex);  ///< of the files looked at so far
    Value_Sample periods GUARDED_BY(mutex);
    Photon_Histogram photon_counts GUARDED_BY(mutex);
    Log_Histogram psd_counts GUARDED_BY(mutex);
};
