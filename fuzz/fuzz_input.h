#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <initializer_list>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

/// What a fuzzer defines: one test on one input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

/// Ends the process, which makes the input a finding, if the program is not as it should be.
inline void expect(bool condition, const std::string& what) {
    if (!condition) {
        std::fprintf(stderr, "not as expected: %s\n", what.c_str());
        std::abort();
    }
}

/// A file in memory that can be opened by its path.
class Memory_File {
public:
    void replace(std::string_view content) const {
        expect(ftruncate(descriptor, 0) == 0 && pwrite(descriptor, content.data(), content.size(),
                                                       0) == static_cast<ssize_t>(content.size()),
               "a file in memory");
    }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor = memfd_create("fuzz", MFD_CLOEXEC);
};

/// Turns the bytes of an input into values; after the last byte all values are zero.
struct Fuzz_Input {
    std::string_view rest;

    Fuzz_Input(const std::uint8_t* bytes, std::size_t size)
        : rest(reinterpret_cast<const char*>(bytes), size) {}

    template <class T>
    T take() {
        T value{};
        rest.remove_prefix(rest.copy(reinterpret_cast<char*>(&value), sizeof(T)));
        return value;
    }
    /// A number from 0 to `end` - 1.
    std::size_t below(std::size_t end) { return take<std::uint8_t>() % end; }

    template <class T>
    T one_of(std::initializer_list<T> values) {
        return values.begin()[below(values.size())];
    }
};
