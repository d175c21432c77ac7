#include "system/Line_Writer.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

namespace {

/// A descriptor of the same file that is in a mode of its own: the other one is shared with other
/// processes. Where a standard stream is closed, it does not take that one's number.
int open_without_waiting(int descriptor) noexcept {
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/proc/self/fd/%d", descriptor);
    const int opened = open(path.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (opened < 0 || opened > STDERR_FILENO) {
        return opened;
    }
    const int moved = fcntl(opened, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(opened);
    return moved;
}

void wait_until_writable(int descriptor) noexcept {
    pollfd asked{descriptor, POLLOUT, 0};
    poll(&asked, 1, -1);
}

}  // namespace

Line_Writer::~Line_Writer() {
    if (opened >= 0) {
        close(opened);
    }
}

void Line_Writer::write(std::string_view line) {
    if (!keeps_lines()) {
        lines.assign(in_line ? 1 : 0, '\n');
        nWritten = 0;
    }
    lines += line;
    go_on();
}

int Line_Writer::terminal() noexcept {
    if (!examined) {
        examined = true;
        opened = isatty(descriptor) == 1 ? open_without_waiting(descriptor) : -1;
    }
    return opened;
}

void Line_Writer::write_lines(int target) noexcept {
    while (keeps_lines()) {
        const ssize_t n = ::write(target, lines.data() + nWritten, lines.size() - nWritten);
        if (n > 0) {
            nWritten += static_cast<std::size_t>(n);
            in_line = lines[nWritten - 1] != '\n';
        } else if (n < 0 && errno == EAGAIN) {
            if (target == opened) {
                return;
            }
            wait_until_writable(target);
        } else if (n == 0 || errno != EINTR) {
            nWritten = lines.size();
        }
    }
}
