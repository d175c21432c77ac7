#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

/// Memory that the system refuses, or that it cannot back.
class Not_Enough_Memory : public std::bad_alloc {
public:
    Not_Enough_Memory(std::uint64_t needed, std::uint64_t available) noexcept;

    /// Begins as the text of std::bad_alloc and says how much was needed and is available.
    [[nodiscard]] const char* what() const noexcept override { return text.data(); }

private:
    std::array<char, 160> text{};
};

/// Memory of zero bytes, in huge pages where the system offers them, and left out of core files.
/// Throws: Not_Enough_Memory if the system refuses it, or if it is more than `available_memory`: an
/// image that cannot be backed must fail here, not when its last page is counted in.
[[nodiscard]] void* allocate_zeroed_pages(std::size_t bytes);

/// Gives memory from `allocate_zeroed_pages` back.
void free_pages(void* pages, std::size_t bytes) noexcept;

/// Allocator for counting images: cells are zero because their fresh pages are, so creating an
/// image touches no memory.
template <class T>
class Image_Allocator {
public:
    using value_type = T;

    Image_Allocator() = default;
    template <class U>
    explicit Image_Allocator(const Image_Allocator<U>&) noexcept {}

    [[nodiscard]] T* allocate(std::size_t n) {
        if (n > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(allocate_zeroed_pages(n * sizeof(T)));
    }
    void deallocate(T* cells, std::size_t n) noexcept { free_pages(cells, n * sizeof(T)); }

    /// Leaves a new cell as the zero bytes that it is.
    void construct(T* /*cell*/) const noexcept {}

    bool operator==(const Image_Allocator&) const = default;
};
