#include "system/Available_Memory.h"

#include "system/Control_Groups.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>
#include <span>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;
using Names = std::span<const std::string_view>;

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

/// What a version of control groups calls the things that count here.
struct Group_Files {
    Group_Version version;
    const char* limit;
    const char* usage;
    std::array<std::string_view, 2> kept_files;  ///< lines of memory.stat
};

constexpr Group_Files version_1{Group_Version::one,
                                "memory.limit_in_bytes",
                                "memory.usage_in_bytes",
                                {"total_active_file", "total_inactive_file"}};
constexpr Group_Files version_2{
    Group_Version::two, "memory.max", "memory.current", {"active_file", "inactive_file"}};

/// The sum of the numbers behind these names, each at the start of a line.
std::uint64_t sum_in(const fs::path& path, Names names) {
    std::ifstream file(path);
    std::uint64_t sum = 0;
    std::string name;
    for (std::uint64_t number = 0; file >> name >> number;) {
        sum += std::ranges::count(names, name) > 0 ? number : 0;
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return sum;
}

/// What the limit of one group leaves. What the system keeps of files is given up when needed.
std::uint64_t left_in(const fs::path& group, const Group_Files& files) {
    const auto limit = number_in(group / files.limit);
    const auto usage = number_in(group / files.usage);
    if (!limit || !usage || *limit < 0) {
        return no_limit;
    }
    const auto used = static_cast<std::uint64_t>(*usage);
    const std::uint64_t kept = std::min(used, sum_in(group / "memory.stat", files.kept_files));
    const auto most = static_cast<std::uint64_t>(*limit);
    return most - std::min(most, used - kept);
}

std::uint64_t left_by_groups(const fs::path& root, const Group_Files& files) {
    std::uint64_t left = no_limit;
    for_each_group(root, files.version, "memory",
                   [&](const fs::path& group) { left = std::min(left, left_in(group, files)); });
    return left;
}

std::uint64_t left_by_machine(const fs::path& root) {
    constexpr std::array<std::string_view, 2> names{"MemAvailable:", "SwapFree:"};
    const fs::path account = root / "proc/meminfo";
    const bool known = sum_in(account, Names(names).first(1)) != 0;
    return known ? sum_in(account, names) * 1024 : no_limit;  // it counts in KiB
}

}  // namespace

std::uint64_t available_memory(const fs::path& root) {
    return std::min(
        {left_by_machine(root), left_by_groups(root, version_1), left_by_groups(root, version_2)});
}
