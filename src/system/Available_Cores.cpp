#include "system/Available_Cores.h"

#include "system/Control_Groups.h"

#include <sched.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();

/// The cores that so much time in each period keeps busy, the last one perhaps in part.
std::size_t cores_for(std::optional<std::int64_t> time, std::optional<std::int64_t> period) {
    if (!time || !period || *time <= 0 || *period <= 0) {
        return no_limit;
    }
    return static_cast<std::size_t>((*time + *period - 1) / *period);
}

std::size_t cores_of_group_1(const fs::path& group) {
    return cores_for(number_in(group / "cpu.cfs_quota_us"), number_in(group / "cpu.cfs_period_us"));
}

/// One file has both numbers, or a word instead of the first.
std::size_t cores_of_group_2(const fs::path& group) {
    std::ifstream file(group / "cpu.max");
    std::int64_t time = 0;
    std::int64_t period = 0;
    return file >> time >> period ? cores_for(time, period) : no_limit;
}

}  // namespace

std::vector<std::size_t> usable_cores() {
    constexpr std::size_t most_cores = std::size_t{1} << 20U;
    std::vector<std::size_t> cores;
    for (std::size_t n = CPU_SETSIZE; n <= most_cores; n *= 2) {
        std::vector<cpu_set_t> mask(n / CPU_SETSIZE);
        const std::size_t bytes = mask.size() * sizeof(cpu_set_t);
        if (sched_getaffinity(0, bytes, mask.data()) == 0) {
            for (std::size_t core = 0; core < n; ++core) {
                if (CPU_ISSET_S(core, bytes, mask.data())) {
                    cores.push_back(core);
                }
            }
            return cores;
        }
    }
    return cores;
}

std::size_t available_cores(const fs::path& root) {
    std::size_t cores = usable_cores().size();
    for_each_group(root, Group_Version::one, "cpu", [&](const fs::path& group) {
        cores = std::min(cores, cores_of_group_1(group));
    });
    for_each_group(root, Group_Version::two, "cpu", [&](const fs::path& group) {
        cores = std::min(cores, cores_of_group_2(group));
    });
    return std::max<std::size_t>(cores, 1);
}
