#pragma once

#include <atomic>
#include <cstdint>

/// How much of some work is done.
/// Threads: any number may add and read.
class Progress_Count {
public:
    void add(std::uint64_t n) noexcept { done.fetch_add(n, std::memory_order_relaxed); }
    void start_again() noexcept { done = 0; }
    [[nodiscard]] std::uint64_t get() const noexcept { return done; }

private:
    std::atomic<std::uint64_t> done = 0;
};
