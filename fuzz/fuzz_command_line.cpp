// Any lines as command line arguments, up to the point where a run would start: taken or refused
// with a documented exception, and the same way each time.

#include "arguments_outcome.h"
#include "fuzz_input.h"

#include <cstdlib>
#include <set>

namespace {

/// A folder for good, with the files that arguments can name.
const Folder& enter_folder() {
    static const Folder folder;
    (void)folder.write("s.json", R"({"vexolan": {"size_x": 9, "psd_max": 2, "time_limit": 7.5}})");
    (void)folder.write("t.json", R"({"vexolan": {"size_y": 3, "time_extTrigger": "no"}})");
    (void)folder.write("list", "a.orvenevent\n\nb");
    (void)folder.write("a.orvenevent", "");
    std::filesystem::current_path(folder.path);
    return folder;
}

std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line.substr(0, line.find('\0')));
    }
    return lines;
}

/// Whether they name nothing outside of the folder, and as settings only JSON objects: without one
/// the program ends on purpose, and a fuzzer could not go on from there.
bool are_harmless(std::vector<std::string> lines) {
    std::vector<char*> arguments{const_cast<char*>("vexolan")};
    for (std::string& line : lines) {
        if (line.find('/') != std::string::npos || line.find("..") != std::string::npos) {
            return false;
        }
        arguments.push_back(line.data());
    }
    arguments.push_back(nullptr);
    const std::set<std::string> settings{"s.json", "t.json"};
    const int count = static_cast<int>(arguments.size()) - 1;
    optind = 0;  // makes getopt start anew
    for (int option = 0; option != -1;) {
        option = getopt_long(count, arguments.data(),
                             "hf:i:I:o:x:y:m:M:E:t:T:p:P:", Parameters::long_options, nullptr);
        if (option == 'f' && !settings.contains(optarg)) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const Folder& folder = enter_folder();
    const std::vector<std::string> lines = lines_of(Fuzz_Input(bytes, size).rest);
    if (are_harmless(lines)) {
        const std::string found = outcome(lines);
        expect(found == outcome(lines), "the same outcome in " + folder.path.string());
    }
    return 0;
}
