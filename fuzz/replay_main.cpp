// The main of a fuzzer without libFuzzer: runs each file named, and all files of each folder named.

#include "fuzz_input.h"
#include "recordings.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <span>
#include <vector>

int main(int argc, char* argv[]) {
    std::vector<std::filesystem::path> paths;
    for (const std::filesystem::path argument : std::span(argv, argv + argc).subspan(1)) {
        if (is_directory(argument)) {
            std::ranges::copy(std::filesystem::directory_iterator(absolute(argument)),
                              std::back_inserter(paths));
        } else {
            paths.push_back(absolute(argument));
        }
    }
    for (const std::filesystem::path& path : paths) {
        std::fprintf(stderr, "%s\n", path.c_str());
        const std::string bytes = read_file(path);
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                     bytes.size());
    }
    expect(!paths.empty(), "at least one input");
    return 0;
}
