#include "logging.h"

#include "system/Line_Writer.h"
#include "system/Mutex.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <string_view>

int logLevel = 4;

namespace {

constexpr const char* prefix(LogLevel level) {
    switch (level) {
        case error:
            return "ERROR:   ";
        case warning:
            return "WARNING: ";
        case info:
            return "info:    ";
    }
    return "";
}

std::tm local_time_now() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

Mutex mutex;
Line_Writer standard_output GUARDED_BY(mutex){STDOUT_FILENO};
Line_Writer standard_error GUARDED_BY(mutex){STDERR_FILENO};

/// The terminal that shows the status line, and whether it shows one.
std::atomic<int> status_terminal = -1;
std::atomic<bool> status_shown = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

/// Whether the terminal is this job's. One in the background would write over what is being typed,
/// and is stopped by some terminals. Of a terminal without jobs nobody knows.
bool has_terminal() noexcept {
    const pid_t foreground = tcgetpgrp(STDERR_FILENO);
    return foreground <= 0 || foreground == getpgrp();
}

/// Leaves the line where the terminal takes nothing. Calls nothing that a signal may not.
void erase_status_line(int terminal) noexcept {
    constexpr std::string_view erasure = "\r\033[K";
    constexpr ssize_t all = erasure.size();
    if (status_shown &&
        (!has_terminal() || write(terminal, erasure.data(), erasure.size()) == all)) {
        status_shown = false;
    }
}

/// Whether log lines are kept for a terminal that takes nothing.
bool keeps_lines() noexcept REQUIRES(mutex) {
    return standard_error.keeps_lines() || standard_output.keeps_lines();
}

/// Kept where a signal may read it.
std::array<char, 1000> hint_text;
std::atomic<std::size_t> hint_length = 0;

}  // namespace

template <LogLevel level>
void logging(const std::string& message) {
    if (logLevel < static_cast<int>(level)) {
        return;
    }
    const std::tm local = local_time_now();
    std::ostringstream line;
    line.exceptions(std::ios::badbit);  // without memory, fail rather than write half a line
    line << prefix(level) << std::put_time(&local, "%Y-%m-%d %X UTC%z") << ": " << message << '\n';
    const Lock lock(mutex);
    erase_status_line(status_terminal);
    (level >= info ? standard_output : standard_error).write(line.str());
}

bool person_reads() noexcept {
    return logLevel >= static_cast<int>(info) && isatty(STDERR_FILENO) != 0 && has_terminal();
}

void tell(const std::string& lines) {
    if (person_reads()) {
        const Lock lock(mutex);
        erase_status_line(status_terminal);
        standard_error.write(lines);
    }
}

void hint(const std::string& text) noexcept {
    if (person_reads() && text.size() < hint_text.size()) {
        std::ranges::copy(text, hint_text.begin());
        hint_text.at(text.size()) = '\n';
        hint_length = text.size() + 1;
    }
}

void show_hint_at_signal() noexcept {
    if (hint_length > 0 && write(STDERR_FILENO, hint_text.data(), hint_length) < 0) {
        return;  // nobody can be told
    }
}

std::size_t terminal_columns() {
    constexpr std::size_t usual = 80;
    constexpr std::size_t left_free = 3;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > left_free;
    constexpr std::size_t least = 12;  // room for a label and some text
    return std::max(least, (known ? size.ws_col : usual) - left_free);
}

void finish_logging() noexcept {
    const Lock lock(mutex);
    if (keeps_lines()) {
        erase_status_line(STDERR_FILENO);
        standard_error.finish();
        standard_output.finish();
    }
}

void show_status_line(const std::string& text) {
    const std::string line = "\r\033[K" + text.substr(0, terminal_columns());
    const Lock lock(mutex);
    if (keeps_lines()) {
        erase_status_line(status_terminal);
        standard_error.go_on();
        standard_output.go_on();
    }
    status_terminal = standard_error.terminal();
    if (!keeps_lines() && has_terminal()) {
        const bool shown = status_shown.exchange(true);  // a signal may come before it is
        status_shown = write(status_terminal, line.data(), line.size()) > 0 || shown;
    }
}

void remove_status_line() noexcept {
    const Lock lock(mutex);
    erase_status_line(status_terminal);
}

void remove_status_line_at_signal() noexcept {
    erase_status_line(status_terminal);
}

template void logging<error>(const std::string&);
template void logging<warning>(const std::string&);
template void logging<info>(const std::string&);
