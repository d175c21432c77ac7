#pragma once

#include "Ranks.h"

#include <cstddef>
#include <string>

/// What a rank may use of its machine, which it shares with other ranks.
struct Machine_Share {
    std::size_t nTasks;  ///< of this rank in a concurrent run: all ranks divide cores among them
    std::size_t nRanks;  ///< on the machine
    /// How many ranks, machines and cores are at work, for users: MPI may bind a rank to one core
    /// of many.
    std::string all_at_work;
};

/// Works out how ranks share their machines.
[[nodiscard]] Machine_Share share_machines(const Ranks& ranks);
