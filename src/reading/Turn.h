#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

/// Hands a number from one thread to another, which waits for it.
class Hand_Over {
public:
    void give(std::int64_t number_) noexcept {
        number = number_;
        given = 1;
        given.notify_one();
    }
    [[nodiscard]] std::int64_t wait() const noexcept {
        given.wait(0);
        return number;
    }

private:
    std::int64_t number = 0;
    std::atomic<int> given = 0;  // of the type that the system can wait for by itself
};

/// A place in a line in which each gets a number from the one before and gives one to the next.
/// Whoever leaves without giving a number on gives the one that came: nobody waits for ever, as
/// long as turns begin in the order of the line.
/// Threads: each turn belongs to one; turns of one line may belong to different ones.
class Turn {
public:
    Turn(std::shared_ptr<const Hand_Over> before_, std::shared_ptr<Hand_Over> after_) noexcept
        : before(std::move(before_)), after(std::move(after_)) {}
    Turn(Turn&&) = default;
    Turn& operator=(Turn&&) = delete;
    ~Turn() { pass_on(); }

    /// The number of the one before. Waits for it.
    [[nodiscard]] std::int64_t number() const noexcept { return before->wait(); }

    /// Gives a number to the next; at most once.
    void give(std::int64_t next) noexcept {
        after->give(next);
        after = nullptr;
    }

private:
    void pass_on() noexcept {
        if (after != nullptr) {
            give(number());
        }
    }

    std::shared_ptr<const Hand_Over> before;
    std::shared_ptr<Hand_Over> after;
};

/// A line of turns, which begins with a number.
/// Threads: `next` must not be called by several at once.
class Line_Of_Turns {
public:
    explicit Line_Of_Turns(std::int64_t first) : last(std::make_shared<Hand_Over>()) {
        last->give(first);
    }

    /// The turn after those before.
    /// Throws: std::bad_alloc.
    [[nodiscard]] Turn next() {
        auto after = std::make_shared<Hand_Over>();
        Turn turn(last, after);
        last = std::move(after);
        return turn;
    }

private:
    std::shared_ptr<Hand_Over> last;
};
