#include "counting/Image_Memory.h"

#include "system/Available_Memory.h"

#include <sys/mman.h>

#include <cstdio>

Not_Enough_Memory::Not_Enough_Memory(std::uint64_t needed, std::uint64_t available) noexcept {
    const char* const format =
        needed > available ? "std::bad_alloc: the image needs %lu bytes, of which %lu can be had"
                           : "std::bad_alloc: the image needs %lu bytes, which the system refuses "
                             "although %lu are available";
    std::snprintf(text.data(), text.size(), format, needed, available);
}

void* allocate_zeroed_pages(std::size_t bytes) {
    const std::uint64_t available = available_memory();
    if (bytes > available) {
        throw Not_Enough_Memory(bytes, available);
    }
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw Not_Enough_Memory(bytes, available);
    }
    // Advice only: small pages count as well, and a core file with the image is merely large.
    madvise(pages, bytes, MADV_HUGEPAGE);
    madvise(pages, bytes, MADV_DONTDUMP);
    return pages;
}

void free_pages(void* pages, std::size_t bytes) noexcept {
    munmap(pages, bytes);
}
