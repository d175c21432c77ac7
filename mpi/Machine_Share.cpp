#include "Machine_Share.h"

#include "reading/count_files.h"
#include "system/Available_Cores.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <vector>

namespace {

using Numbers = std::vector<std::size_t>;

std::size_t sum(const Numbers& numbers) {
    return std::accumulate(numbers.begin(), numbers.end(), std::size_t{0});
}

std::string amount(std::size_t n, const std::string& noun) {
    return std::to_string(n) + ' ' + noun + (n == 1 ? "" : "s");
}

/// How many tasks a rank should run whose cores so many ranks may use, each named by each.
std::size_t task_count(const Numbers& own, const Numbers& users) {
    double share = 0;
    for (const std::size_t core : own) {
        share += 1.0 / static_cast<double>(std::ranges::count(users, core));
    }
    const double part = own.empty() ? 1 : share / static_cast<double>(own.size());
    return static_cast<std::size_t>(
        std::max(std::lround(part * static_cast<double>(default_task_count())), 1L));
}

}  // namespace

Machine_Share share_machines(const Ranks& ranks) {
    const Ranks machine = ranks.on_this_machine();
    const Numbers own = usable_cores();
    const Numbers users = machine.gather(own);
    Numbers used;
    Numbers existing;
    if (machine.is_first()) {  // it speaks for the machine
        used.push_back(std::set(users.begin(), users.end()).size());
        existing.push_back(static_cast<std::size_t>(sysconf(_SC_NPROCESSORS_ONLN)));
    }
    const Numbers all_used = ranks.gather(used);
    const Numbers all_existing = ranks.gather(existing);
    return {task_count(own, users), machine.size(),
            amount(ranks.size(), "rank") + " on " + amount(all_used.size(), "machine") + " with " +
                std::to_string(sum(all_used)) + " of " + amount(sum(all_existing), "core")};
}
