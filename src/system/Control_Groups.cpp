#include "system/Control_Groups.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

bool has_part(const std::string& list, std::string_view part) {
    return std::ranges::count(split(list, ','), part) > 0;
}

/// Where the groups are found, and which of them is the topmost one there: in a container that may
/// not be the topmost of all.
struct Hierarchy {
    fs::path folder;
    std::string topmost;
};

std::optional<Hierarchy> find_hierarchy(const fs::path& root, Group_Version version,
                                        std::string_view controller) {
    constexpr std::ptrdiff_t topmost_field = 3;
    constexpr std::ptrdiff_t folder_field = 4;
    std::ifstream mounts(root / "proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        // The fields behind the separator are the type, the source and the options.
        const std::vector<std::string> fields = split(line, ' ');
        const auto separator = std::ranges::find(fields, "-");
        if (fields.end() - separator < 4 || separator - fields.begin() <= folder_field) {
            continue;
        }
        const bool found = version == Group_Version::two
                               ? separator[1] == "cgroup2"
                               : separator[1] == "cgroup" && has_part(separator[3], controller);
        if (found) {
            return Hierarchy{root / fs::path(fields.begin()[folder_field]).relative_path(),
                             fields.begin()[topmost_field]};
        }
    }
    return std::nullopt;
}

/// The name of the process's own group.
std::optional<std::string> group_name(const fs::path& root, Group_Version version,
                                      std::string_view controller) {
    std::ifstream groups(root / "proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const std::size_t list = line.find(':') + 1;
        const std::size_t name = line.find(':', list) + 1;
        if (list == 0 || name == 0) {
            continue;
        }
        const std::string controllers = line.substr(list, name - 1 - list);
        if (version == Group_Version::two ? controllers.empty()
                                          : has_part(controllers, controller)) {
            return line.substr(name);
        }
    }
    return std::nullopt;
}

}  // namespace

void for_each_group(const fs::path& root, Group_Version version, std::string_view controller,
                    const std::function<void(const fs::path&)>& visit) {
    const auto hierarchy = find_hierarchy(root, version, controller);
    const auto name = group_name(root, version, controller);
    if (!hierarchy || !name) {
        return;
    }
    const bool below_topmost = hierarchy->topmost != "/" && name->starts_with(hierarchy->topmost);
    const fs::path own(name->substr(below_topmost ? hierarchy->topmost.size() : 0));
    for (fs::path below = own.relative_path(); !below.empty(); below = below.parent_path()) {
        visit(hierarchy->folder / below);
    }
    visit(hierarchy->folder);
}

std::optional<std::int64_t> number_in(const fs::path& file) {
    std::int64_t number = 0;
    return std::ifstream(file) >> number ? std::optional(number) : std::nullopt;
}
