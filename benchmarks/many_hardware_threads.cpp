// Preloaded into the tool, this makes a machine report 64 hardware threads, as a node does whose
// scheduler gives a job few of its many cores.

#include <thread>

unsigned int std::thread::hardware_concurrency() noexcept {
    return 64;
}
