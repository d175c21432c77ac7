// The main of a fuzzer without libFuzzer: runs each file named, and all files of each folder named.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz_input.h"

namespace {

std::size_t replay(const std::filesystem::path& path) {
    std::size_t nReplayed = 0;
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            nReplayed += replay(entry.path());
        }
        return nReplayed;
    }
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    std::size_t nReplayed = 0;
    for (int i = 1; i < argc; ++i) {
        nReplayed += replay(std::filesystem::absolute(argv[i]));
    }
    expect(nReplayed > 0, "at least one input");
    return 0;
}
