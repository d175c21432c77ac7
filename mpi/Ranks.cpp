#include "Ranks.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <limits>
#include <thread>

namespace {

using namespace std::chrono_literals;

/// MPI's own wait keeps a core busy, which another task could use.
void sleep_until_done(MPI_Request request) {
    constexpr auto longest = 1000us;
    auto pause = 20us;
    int done = 0;
    while (MPI_Test(&request, &done, MPI_STATUS_IGNORE), done == 0) {
        std::this_thread::sleep_for(pause);
        pause = std::min<decltype(pause)>(2 * pause, longest);
    }
}

/// Launchers tell a process its rank in one of these variables: those of MPI itself, and of the
/// interfaces to process managers that it uses. A process without is alone, and needs no MPI.
bool is_launched() {
    constexpr std::array names{"OMPI_COMM_WORLD_RANK", "PMIX_RANK", "PMI_RANK"};
    return std::ranges::any_of(names,
                               [](const char* name) { return std::getenv(name) != nullptr; });
}

/// Keeps what signals do while MPI starts, which may install handlers that print reports of its
/// own.
MPI_Comm join_all(int& argc, char**& argv) {
    if (!is_launched()) {
        return MPI_COMM_NULL;
    }
    std::array<struct sigaction, NSIG> before{};
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, nullptr, &before.at(static_cast<std::size_t>(number)));
    }
    int provided = 0;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
    for (int number = 1; number < NSIG; ++number) {
        sigaction(number, &before.at(static_cast<std::size_t>(number)), nullptr);
    }
    return MPI_COMM_WORLD;
}

}  // namespace

Ranks::Ranks(int& argc, char**& argv) : Ranks(join_all(argc, argv)) {}

Ranks::Ranks(MPI_Comm communicator_) : communicator(communicator_) {
    if (communicator != MPI_COMM_NULL) {
        MPI_Comm_rank(communicator, &number);
        MPI_Comm_size(communicator, &count);
    }
}

Ranks Ranks::on_this_machine() const {
    meet();
    MPI_Comm machine = MPI_COMM_NULL;
    MPI_Comm_split_type(communicator, MPI_COMM_TYPE_SHARED, number, MPI_INFO_NULL, &machine);
    return Ranks(machine);
}

void Ranks::together(const std::function<void()>& step) const {
    std::exception_ptr failure;
    try {
        step();
    } catch (...) {
        failure = std::current_exception();
    }
    meet();
    const int failed = failure ? number : count;
    int lowest = count;
    MPI_Allreduce(&failed, &lowest, 1, MPI_INT, MPI_MIN, communicator);
    if (lowest == number) {
        std::rethrow_exception(failure);
    }
    while (lowest < count) {
        pause();
    }
}

void Ranks::add_up(std::span<Counter> counters) const {
    if (size() == 1) {
        return;
    }
    constexpr std::size_t block_length = std::size_t{2} << 20U;
    while (!counters.empty()) {
        const auto block = counters.first(std::min(block_length, counters.size()));
        const void* const own = is_first() ? MPI_IN_PLACE : block.data();
        meet();
        MPI_Reduce(own, block.data(), static_cast<int>(block.size()), MPI_UNSIGNED, MPI_SUM, 0,
                   communicator);
        counters = counters.subspan(block.size());
    }
}

void Ranks::leave() const {
    if (communicator != MPI_COMM_NULL) {
        MPI_Finalize();
    }
}

void Ranks::meet() const {
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Ibarrier(communicator, &request);
    sleep_until_done(request);
}

std::vector<int> Ranks::gather_sizes(std::size_t own) const {
    meet();
    const std::uint64_t size_here = own;
    std::vector<std::uint64_t> sizes(size());
    MPI_Allgather(&size_here, 1, MPI_UINT64_T, sizes.data(), 1, MPI_UINT64_T, communicator);
    const std::uint64_t sum = std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0});
    assert(sum <= std::numeric_limits<int>::max());
    return {sizes.begin(), sizes.end()};
}

void Ranks::gather_bytes(const void* own, const std::vector<int>& sizes, void* all) const {
    std::vector<int> places(size());
    for (std::size_t i = 1; i < size(); ++i) {
        places[i] = places[i - 1] + sizes[i - 1];
    }
    MPI_Allgatherv(own, sizes[rank()], MPI_BYTE, all, sizes.data(), places.data(), MPI_BYTE,
                   communicator);
}
