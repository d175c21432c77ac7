#include "counting/Available_Memory.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

/// The first word of a file, if it is a number.
std::optional<std::uint64_t> number_in(const fs::path& path) {
    std::uint64_t number = 0;
    return std::ifstream(path) >> number ? std::optional(number) : std::nullopt;
}

/// The sum of the numbers behind these names, each at the start of a line.
std::uint64_t sum_in(const fs::path& path, std::span<const std::string_view> names) {
    std::ifstream file(path);
    std::uint64_t sum = 0;
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string name;
        std::uint64_t number = 0;
        if (words >> name >> number && std::ranges::find(names, name) != names.end()) {
            sum += number;
        }
    }
    return sum;
}

/// What one version of control groups calls the things that count here.
struct Group_Files {
    const char* limit;
    const char* usage;
    std::span<const std::string_view> kept_files;  ///< in memory.stat
};

constexpr std::array<std::string_view, 2> kept_files_v2{"active_file", "inactive_file"};
constexpr std::array<std::string_view, 2> kept_files_v1{"total_active_file", "total_inactive_file"};
constexpr std::array<std::string_view, 2> machine_memory{"MemAvailable:", "SwapFree:"};

/// What the limit of one group leaves.
std::uint64_t left_in(const fs::path& group, const Group_Files& files) {
    const std::optional<std::uint64_t> limit = number_in(group / files.limit);
    const std::optional<std::uint64_t> usage = number_in(group / files.usage);
    if (!limit || !usage) {
        return no_limit;
    }
    const std::uint64_t kept = sum_in(group / "memory.stat", files.kept_files);
    return *limit - std::min(*limit, *usage - std::min(*usage, kept));
}

/// Where the groups of one hierarchy are found, and which part of it is mounted there.
struct Hierarchy {
    fs::path mounted_at;
    std::string mounted_part;
};

bool has_word(const std::string& list, std::string_view word) {
    std::istringstream words(list);
    for (std::string each; std::getline(words, each, ',');) {
        if (each == word) {
            return true;
        }
    }
    return false;
}

/// The hierarchy of this type that is mounted with this option, if one is wanted.
std::optional<Hierarchy> find_hierarchy(const fs::path& root, std::string_view type,
                                        std::string_view option) {
    std::ifstream mounts(root / "proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        const std::size_t separator = line.find(" - ");
        if (separator == std::string::npos) {
            continue;
        }
        std::istringstream place(line.substr(0, separator));
        std::istringstream kind(line.substr(separator + 3));
        std::string ignored, part, point, found_type, options;  // NOLINT: fields of one line
        place >> ignored >> ignored >> ignored >> part >> point;
        kind >> found_type >> ignored >> options;
        if (found_type == type && (option.empty() || has_word(options, option))) {
            return Hierarchy{root / fs::path(point).relative_path(), part};
        }
    }
    return std::nullopt;
}

/// The group of this process in the hierarchy with this controller, as the system names it.
std::optional<std::string> group_name(const fs::path& root, std::string_view controller) {
    std::ifstream groups(root / "proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const std::size_t first = line.find(':');
        const std::size_t second = line.find(':', first + 1);
        if (second == std::string::npos) {
            continue;
        }
        const std::string controllers = line.substr(first + 1, second - first - 1);
        if (controller.empty() ? controllers.empty() : has_word(controllers, controller)) {
            return line.substr(second + 1);
        }
    }
    return std::nullopt;
}

/// What the groups of one version leave, from the process's own up to the one mounted.
std::uint64_t left_by_groups(const fs::path& root, std::string_view type,
                             std::string_view controller, const Group_Files& files) {
    const std::optional<Hierarchy> hierarchy = find_hierarchy(root, type, controller);
    const std::optional<std::string> name = group_name(root, controller);
    if (!hierarchy || !name) {
        return no_limit;
    }
    // In a container only a part of the hierarchy may be mounted.
    const bool inside =
        hierarchy->mounted_part != "/" && name->starts_with(hierarchy->mounted_part);
    fs::path below = fs::path(name->substr(inside ? hierarchy->mounted_part.size() : 0));
    std::uint64_t left = left_in(hierarchy->mounted_at, files);
    for (below = below.relative_path(); !below.empty(); below = below.parent_path()) {
        left = std::min(left, left_in(hierarchy->mounted_at / below, files));
    }
    return left;
}

std::uint64_t left_by_machine(const fs::path& root) {
    const fs::path account = root / "proc/meminfo";
    const std::span names(machine_memory);
    const bool known = sum_in(account, names.first(1)) != 0;
    return known ? sum_in(account, names) * 1024 : no_limit;  // it counts in KiB
}

}  // namespace

std::uint64_t available_memory(const fs::path& root) {
    return std::min(
        {left_by_machine(root),
         left_by_groups(root, "cgroup2", "", {"memory.max", "memory.current", kept_files_v2}),
         left_by_groups(root, "cgroup", "memory",
                        {"memory.limit_in_bytes", "memory.usage_in_bytes", kept_files_v1})});
}
