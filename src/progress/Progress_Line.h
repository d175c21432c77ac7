#pragma once

#include "progress/Progress_Count.h"
#include "system/Mutex.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/// Shows on a terminal how far a long work is, as long as it exists: one line on standard error,
/// from the first second on, drawn anew five times a second. Does nothing where standard error is
/// no terminal, or the verbosity shows no info lines.
class Progress_Line {
public:
    using Duration = std::chrono::duration<double>;

    /// `text_` makes the line of the time since the start; it is called on a thread of its own, and
    /// may throw nothing but std::bad_alloc, which ends the showing.
    /// Throws: nothing; without a thread there is no line.
    explicit Progress_Line(std::function<std::string(Duration)> text_);
    Progress_Line(const Progress_Line&) = delete;
    Progress_Line& operator=(const Progress_Line&) = delete;
    ~Progress_Line();

private:
    void run();

    std::function<std::string(Duration)> text;
    Mutex mutex;
    std::condition_variable_any changed;
    bool ended GUARDED_BY(mutex) = false;
    std::thread thread;
};

/// The line of a run that reads these files, of which it has read so many events. The files' sizes
/// are asked for when the line is first wanted.
[[nodiscard]] std::function<std::string(Progress_Line::Duration)> reading_progress(
    const std::vector<std::string>& files, const Progress_Count& nEvents);

/// The line of a run that writes so many pages of which each has so many bytes.
[[nodiscard]] std::function<std::string(Progress_Line::Duration)> writing_progress(
    std::uint64_t nPages, std::uint64_t page_bytes, const Progress_Count& nWritten);
