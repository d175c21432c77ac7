#include "logging.h"

#include "system/Mutex.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <iomanip>
#include <iostream>
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

Mutex terminal;
std::atomic<bool> status_shown = false;
static_assert(std::atomic<bool>::is_always_lock_free);

/// Whether the terminal is this job's. One in the background would write over what is being typed,
/// and is stopped by some terminals. Of a terminal without jobs nobody knows.
bool has_terminal() noexcept {
    const pid_t foreground = tcgetpgrp(STDERR_FILENO);
    return foreground <= 0 || foreground == getpgrp();
}

/// Calls nothing that a signal may not.
void erase_status_line() noexcept {
    constexpr std::string_view erasure = "\r\033[K";
    if (status_shown.exchange(false) && has_terminal()) {
        [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, erasure.data(), erasure.size());
    }
}

/// How many characters a line may have that leaves room for the cursor, and for ^C before it.
std::size_t status_columns() {
    constexpr std::size_t usual = 80;
    constexpr std::size_t left_free = 3;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > left_free;
    return (known ? size.ws_col : usual) - left_free;
}

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
    const Lock lock(terminal);
    erase_status_line();
    (level >= info ? std::cout : std::cerr) << line.str() << std::flush;
}

void show_status_line(const std::string& text) {
    const std::string line = "\r\033[K" + text.substr(0, status_columns());
    const Lock lock(terminal);
    status_shown = has_terminal();
    if (status_shown) {
        std::cerr << line << std::flush;
    }
}

void remove_status_line() noexcept {
    const Lock lock(terminal);
    erase_status_line();
}

void remove_status_line_at_signal() noexcept {
    erase_status_line();
}

template void logging<error>(const std::string&);
template void logging<warning>(const std::string&);
template void logging<info>(const std::string&);
