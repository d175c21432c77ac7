#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

/// Zeroed counters, in huge pages where the system offers them.
class Counter_Memory {
public:
    explicit Counter_Memory(std::size_t nCells)
        : bytes(nCells * sizeof(std::uint32_t)),
          memory(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        if (memory == MAP_FAILED) {
            throw std::runtime_error("no memory for the counters");
        }
        madvise(memory, bytes, MADV_HUGEPAGE);
    }
    Counter_Memory(Counter_Memory&& other) noexcept : bytes(other.bytes), memory(other.memory) {
        other.memory = nullptr;
    }
    Counter_Memory& operator=(Counter_Memory&&) = delete;
    ~Counter_Memory() {
        if (memory != nullptr) {
            munmap(memory, bytes);
        }
    }

    [[nodiscard]] std::span<std::uint32_t> cells() const {
        return {static_cast<std::uint32_t*>(memory), bytes / sizeof(std::uint32_t)};
    }

private:
    std::size_t bytes;
    void* memory;
};
