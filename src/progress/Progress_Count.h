#pragma once

#include <atomic>
#include <cstdint>

/// Thrown out of work that nobody wants any more. It is no failure of any file.
struct Cancelled {};

/// How much of some work is done, and whether it is still wanted.
/// Threads: any number may call all members.
class Progress_Count {
public:
    /// Throws: as `check`.
    void add(std::uint64_t n) {
        done.fetch_add(n, std::memory_order_relaxed);
        check();
    }
    void start_again() noexcept { done = 0; }
    [[nodiscard]] std::uint64_t get() const noexcept { return done; }

    /// Ends the work where it next looks here.
    void cancel() noexcept { cancelled = true; }
    /// Throws: Cancelled if the work has been cancelled.
    void check() const {
        if (cancelled.load(std::memory_order_relaxed)) {
            throw Cancelled();
        }
    }

private:
    std::atomic<std::uint64_t> done = 0;
    std::atomic<bool> cancelled = false;
};
