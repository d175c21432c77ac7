#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

/// An open file, closed when it goes out of scope; negative: none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) noexcept : number(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor() { close(); }

    [[nodiscard]] int get() const noexcept { return number; }
    [[nodiscard]] bool is_open() const noexcept { return number >= 0; }

    /// Returns 0 or the errno value of what failed: the file is closed in any case.
    int close() noexcept {
        const int closed = std::exchange(number, -1);
        return closed < 0 || ::close(closed) == 0 || errno == EINTR ? 0 : errno;
    }

private:
    int number = -1;
};
