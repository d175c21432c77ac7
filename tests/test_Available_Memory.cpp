#include "counting/Counting_Image.h"
#include "recordings.h"
#include "system/Available_Cores.h"
#include "system/Available_Memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <sstream>

namespace {

constexpr std::uint64_t no_limit = std::numeric_limits<std::uint64_t>::max();

const char* const v2_mount = "30 1 0:26 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n";
const char* const v1_mounts =
    "31 1 0:27 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu\n"
    "32 1 0:28 / /sys/fs/cgroup/memory rw shared:9 - cgroup cgroup rw,memory\n";

struct System {
    const char* what;
    std::map<std::string, std::string> files;
    std::uint64_t available;
};

const std::vector<System> systems{
    {"nothing is told", {}, no_limit},
    {"no groups",
     {{"proc/meminfo", "MemTotal: 900 kB\nMemAvailable: 100 kB\nSwapFree: 5 kB\n"}},
     105UL * 1024},
    {"the machine has less than the group",
     {{"proc/meminfo", "MemAvailable: 1 kB\n"},
      {"proc/self/mountinfo", v2_mount},
      {"proc/self/cgroup", "0::/a\n"},
      {"sys/fs/cgroup/a/memory.max", "5000\n"},
      {"sys/fs/cgroup/a/memory.current", "100\n"}},
     1024},
    {"version 2, a group above is tighter, kept files can go",
     {{"proc/self/mountinfo", v2_mount},
      {"proc/self/cgroup", "1:name=systemd:/x\n0::/a/b/c\n"},
      {"sys/fs/cgroup/a/memory.max", "1000\n"},
      {"sys/fs/cgroup/a/memory.current", "700\n"},
      {"sys/fs/cgroup/a/memory.stat",
       "anon 500\ninactive_anon 9\nactive_file 30\ninactive_file 50\nfile 80\n"},
      {"sys/fs/cgroup/a/b/memory.max", "max\n"},
      {"sys/fs/cgroup/a/b/memory.current", "600\n"},
      {"sys/fs/cgroup/a/b/c/memory.max", "5000\n"},
      {"sys/fs/cgroup/a/b/c/memory.current", "600\n"}},
     380},
    {"version 2, no limit at all",
     {{"proc/self/mountinfo", v2_mount},
      {"proc/self/cgroup", "0::/a\n"},
      {"sys/fs/cgroup/a/memory.max", "max\n"},
      {"sys/fs/cgroup/a/memory.current", "600\n"}},
     no_limit},
    {"version 2, more in use than is allowed",
     {{"proc/self/mountinfo", v2_mount},
      {"proc/self/cgroup", "0::/a\n"},
      {"sys/fs/cgroup/a/memory.max", "500\n"},
      {"sys/fs/cgroup/a/memory.current", "600\n"}},
     0},
    {"version 2 in a container that sees itself as the root",
     {{"proc/self/mountinfo", v2_mount},
      {"proc/self/cgroup", "0::/\n"},
      {"sys/fs/cgroup/memory.max", "1000\n"},
      {"sys/fs/cgroup/memory.current", "1\n"}},
     999},
    {"version 1, hierarchical limits and a mount with options",
     {{"proc/self/mountinfo", v1_mounts},
      {"proc/self/cgroup", "5:cpu:/other\n4:devices,memory:/a/b\n"},
      {"sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n"},
      {"sys/fs/cgroup/memory/memory.usage_in_bytes", "12345\n"},
      {"sys/fs/cgroup/memory/a/memory.limit_in_bytes", "4000\n"},
      {"sys/fs/cgroup/memory/a/memory.usage_in_bytes", "3000\n"},
      {"sys/fs/cgroup/memory/a/memory.stat",
       "active_file 900\ntotal_active_file 20\ntotal_inactive_file 1\n"},
      {"sys/fs/cgroup/memory/a/b/memory.limit_in_bytes", "9000\n"},
      {"sys/fs/cgroup/memory/a/b/memory.usage_in_bytes", "3000\n"}},
     1021},
    {"version 1 in a container that has only its part mounted",
     {{"proc/self/mountinfo",
       "32 1 0:28 /box/7 /sys/fs/cgroup/memory ro - cgroup cgroup rw,memory\n"},
      {"proc/self/cgroup", "4:memory:/box/7/job\n"},
      {"sys/fs/cgroup/memory/memory.limit_in_bytes", "4000\n"},
      {"sys/fs/cgroup/memory/memory.usage_in_bytes", "3000\n"},
      {"sys/fs/cgroup/memory/job/memory.limit_in_bytes", "2000\n"},
      {"sys/fs/cgroup/memory/job/memory.usage_in_bytes", "1500\n"}},
     500},
};

/// Writes files below the folder.
void put(const Folder& root, const std::map<std::string, std::string>& files) {
    for (const auto& [name, content] : files) {
        std::filesystem::create_directories((root.path / name).parent_path());
        (void)root.write(name, content);
    }
}

TEST(Available_Memory, is_the_least_that_machine_and_groups_leave) {
    for (const auto& [what, files, available] : systems) {
        const Folder root;
        put(root, files);
        EXPECT_EQ(available_memory(root.path), available) << what;
    }
}

TEST(Available_Cores, are_those_of_the_mask_as_far_as_a_quota_allows) {
    const std::size_t all = available_cores(Folder().path);
    struct Quota {
        const char* time;
        std::size_t cores;
    };
    for (const Quota quota : {Quota{"1", 1}, Quota{"1000", 1}, Quota{"1001", 2}, Quota{"2000", 2},
                              Quota{"900000000", all}, Quota{"-1", all}, Quota{"max", all}}) {
        const std::string time = quota.time;
        const Folder v1;
        put(v1, {{"proc/self/mountinfo", v1_mounts},
                 {"proc/self/cgroup", "5:cpu:/a/b\n"},
                 {"sys/fs/cgroup/cpu/a/cpu.cfs_quota_us", time + "\n"},
                 {"sys/fs/cgroup/cpu/a/cpu.cfs_period_us", "1000\n"}});
        EXPECT_EQ(available_cores(v1.path), std::min(all, quota.cores)) << time;
        const Folder v2;
        put(v2, {{"proc/self/mountinfo", v2_mount},
                 {"proc/self/cgroup", "0::/a/b\n"},
                 {"sys/fs/cgroup/a/cpu.max", time + " 1000\n"}});
        EXPECT_EQ(available_cores(v2.path), std::min(all, quota.cores)) << time;
    }
}

TEST(Counting_Image, is_left_out_of_core_files) {
    Counting_Image<2> image({1024, 1024});
    const auto address = reinterpret_cast<std::uintptr_t>(image.get_content().data());
    std::ifstream maps("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t start = 0;
        std::uintptr_t end = 0;
        char dash = 0;
        if (std::istringstream(line) >> std::hex >> start >> dash >> end && dash == '-') {
            inside = start <= address && address < end;
        } else if (inside && line.starts_with("VmFlags:")) {
            EXPECT_NE(line.find(" dd "), std::string::npos) << line;
            return;
        }
    }
    FAIL() << "no such memory";
}

}  // namespace
