#pragma once

#include <cstddef>
#include <string>

/// How important a log line is. `error` and `warning` go to standard error, `info` to standard
/// output.
enum class LogLevel : int { error = -1, warning = 0, info = 2 };

using enum LogLevel;

/// The verbosity: lines of a level above it are not written. It starts at 4.
extern int logLevel;

/// Writes one line: label, local time, message. The line is put together first and written as one,
/// so lines of different threads do not tear. A terminal that takes nothing is not waited for: it
/// gets the line when it does. A line that cannot be written is lost, and no later one.
/// Throws: std::bad_alloc.
template <LogLevel level>
void logging(const std::string& message);

/// Whether a person reads along: standard error is a terminal, the job is not in the background,
/// and the verbosity shows info lines.
/// All that is meant for people only asks here.
[[nodiscard]] bool person_reads() noexcept;

/// Shows lines, each ending in a newline, on standard error if a person reads along.
/// Throws: std::bad_alloc.
void tell(const std::string& lines);

/// If a person reads along and the process ends by an abort from now on, shows a text behind the
/// report of the error that ended it: how to do better.
void hint(const std::string& text) noexcept;

/// Called by the handler of signals, for an abort.
void show_hint_at_signal() noexcept;

/// The width of the terminal that a person reads, less the room that a cursor needs; at least 12.
[[nodiscard]] std::size_t terminal_columns();

/// Waits until terminals have taken all lines. To be called before the process ends.
void finish_logging() noexcept;

/// Shows one line on standard error, which must be a terminal, in the place of the one before. It
/// gives way to each log line. What does not fit the terminal's width is cut off. A job in the
/// background shows nothing, nor does a terminal that would have to be waited for.
/// Throws: std::bad_alloc.
void show_status_line(const std::string& text);

/// Removes the line that is shown, if any.
void remove_status_line() noexcept;

/// The same for handlers of signals, which must not wait for other threads.
void remove_status_line_at_signal() noexcept;

extern template void logging<error>(const std::string&);
extern template void logging<warning>(const std::string&);
extern template void logging<info>(const std::string&);
