#include "signals.h"

#include "logging.h"
#include "output/Pending_File.h"

#include <algorithm>
#include <array>
#include <csignal>

namespace {

void clean_up(int signal_number) {
    remove_unfinished_file();
    remove_status_line_at_signal();
    if (signal_number == SIGABRT) {
        show_hint_at_signal();
    }
    // The handler is reset on entry: the signal takes its usual effect when this returns.
    std::raise(signal_number);
}

}  // namespace

void clean_up_at_signals() {
    constexpr std::array harmless{SIGCHLD, SIGCONT, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG, SIGWINCH};
    struct sigaction action {};
    struct sigaction old {};
    action.sa_handler = clean_up;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (int number = 1; number <= SIGRTMAX; ++number) {
        const bool ends = std::ranges::find(harmless, number) == harmless.end();
        if (ends && sigaction(number, nullptr, &old) == 0 && old.sa_handler == SIG_DFL) {
            sigaction(number, &action, nullptr);  // fails for those that nobody may handle
        }
    }
}

void make_failed_writes_errors() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}
