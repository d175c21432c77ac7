#include "counting/Image_Memory.h"

#include <sys/mman.h>

#include <fstream>
#include <string>

namespace {

/// The memory that the machine can still give, swap included; no limit if it does not tell.
std::size_t available_bytes() {
    std::ifstream meminfo("/proc/meminfo");
    std::size_t kibibytes = 0;
    bool known = false;
    std::string name;
    for (std::size_t value = 0; meminfo >> name >> value;) {
        if (name == "MemAvailable:" || name == "SwapFree:") {
            kibibytes += value;
            known = known || name == "MemAvailable:";
        }
        meminfo.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return known ? kibibytes * 1024 : std::numeric_limits<std::size_t>::max();
}

}  // namespace

void* allocate_zeroed_pages(std::size_t bytes) {
    if (bytes > available_bytes()) {
        throw std::bad_alloc();
    }
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    madvise(pages, bytes, MADV_HUGEPAGE);  // advice only: small pages count as well
    return pages;
}

void free_pages(void* pages, std::size_t bytes) noexcept {
    munmap(pages, bytes);
}
