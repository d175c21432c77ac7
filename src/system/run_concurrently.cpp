#include "system/run_concurrently.h"

#include <future>
#include <vector>

void run_concurrently(std::size_t n, const std::function<void(std::size_t)>& work,
                      const std::function<void()>& stop) {
    if (n == 1) {
        work(0);
        return;
    }
    const auto or_stop = [&stop](const auto& action) {
        try {
            action();
        } catch (...) {
            stop();
            throw;
        }
    };
    std::vector<std::future<void>> futures;
    futures.reserve(n);
    or_stop([&] {
        for (std::size_t i = 0; i < n; ++i) {
            futures.push_back(
                std::async(std::launch::async, [&, i] { or_stop([&] { work(i); }); }));
        }
    });
    for (std::future<void>& future : futures) {
        future.wait();
    }
    for (std::future<void>& future : futures) {
        future.get();
    }
}
