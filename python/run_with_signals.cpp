#include "run_with_signals.h"

#include <chrono>
#include <future>

namespace py = pybind11;

namespace {

constexpr std::chrono::milliseconds between_looks(20);

/// Waits without the interpreter lock, and tells whether the work has ended. If the interpreter
/// ends meanwhile, it ends this thread as it takes the lock: not in a destructor, which must not
/// be left that way.
bool wait(std::future<void>& work) {
    PyThreadState* const thread = PyEval_SaveThread();
    const std::future_status status = work.wait_for(between_looks);
    PyEval_RestoreThread(thread);
    return status == std::future_status::ready;
}

void look_at_signals() {
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
}

}  // namespace

void run_with_signals(const std::function<void()>& work, Progress_Count& done,
                      const py::object& report) {
    std::future<void> running = std::async(std::launch::async, work);
    try {
        while (!wait(running)) {
            look_at_signals();
            if (!report.is_none()) {
                report(done.get());
            }
        }
    } catch (...) {
        done.cancel();
        running.wait();
        throw;
    }
    running.get();
}
