#include "logging.h"

#include <chrono>
#include <ctime>
#include <iomanip>
#include <iostream>
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
    (level >= info ? std::cout : std::cerr) << line.str() << std::flush;
}

template void logging<error>(const std::string&);
template void logging<warning>(const std::string&);
template void logging<info>(const std::string&);
template void logging<detail>(const std::string&);
