#include "logging.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <mutex>
#include <sstream>

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
        case detail:
            return "detail:  ";
    }
    return "";
}

std::tm local_time_now() {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

std::mutex terminal;
bool status_shown = false;  // needs the mutex

void erase_status_line() {
    if (status_shown) {
        std::cerr << "\r\033[K" << std::flush;
        status_shown = false;
    }
}

std::size_t terminal_columns() {
    constexpr std::size_t usual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : usual;
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
    const std::lock_guard lock(terminal);
    erase_status_line();
    (level >= info ? std::cout : std::cerr) << line.str() << std::flush;
}

void show_status_line(const std::string& text) {
    const std::string line = "\r\033[K" + text.substr(0, terminal_columns() - 1);
    const std::lock_guard lock(terminal);
    std::cerr << line << std::flush;
    status_shown = true;
}

void remove_status_line() noexcept {
    const std::lock_guard lock(terminal);
    erase_status_line();
}

template void logging<error>(const std::string&);
template void logging<warning>(const std::string&);
template void logging<info>(const std::string&);
template void logging<detail>(const std::string&);
