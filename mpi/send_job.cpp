#include "send_job.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>
#include <type_traits>

namespace {

using Counts = orven::Photon_Filters::NPhotons_Core;
using Psds = orven::Photon_Filters::PSD_Core;

/// What is sent of a job beside the paths, byte by byte: all ranks run the same program.
struct Message {
    Image_Settings::ExtTrigger_Mode mode;
    Placement placement;
    Counts counts;
    Psds psds;
    std::size_t nCells;
    std::size_t firstFrame;
    bool keepAccount;
    On_Failure onFailure;
    bool concurrent;
};
static_assert(std::is_trivially_copyable_v<Message>);
using Bytes = std::array<std::byte, sizeof(Message)>;

std::vector<std::string> split(std::string_view names, std::span<const std::size_t> lengths) {
    std::vector<std::string> paths;
    for (const std::size_t length : lengths) {
        paths.emplace_back(names.substr(0, length));
        names.remove_prefix(length);
    }
    return paths;
}

}  // namespace

void send_job(const Ranks& ranks, const Ranked_Job& ranked) {
    const Counting_Job& job = ranked.job;
    const auto bytes = std::bit_cast<Bytes>(Message{
        job.mode, job.placement, job.filter.core<Counts>(), job.filter.core<Psds>(), ranked.nCells,
        job.firstFrame, job.keepAccount, ranked.onFailure, ranked.concurrent});
    std::vector<std::size_t> lengths;
    std::string names;
    for (const std::string& path : ranked.paths) {
        lengths.push_back(path.size());
        names += path;
    }
    ranks.give(bytes);
    ranks.give(lengths);
    ranks.give(names);
}

void send_end(const Ranks& ranks) {
    ranks.give(std::vector<std::byte>());
}

std::optional<Ranked_Job> receive_job(const Ranks& ranks) {
    const auto received = ranks.gather(std::vector<std::byte>());
    if (received.empty()) {
        return std::nullopt;
    }
    const auto lengths = ranks.gather(std::vector<std::size_t>());
    const auto names = ranks.gather(std::string());
    Bytes bytes;
    std::ranges::copy(received, bytes.begin());
    const auto message = std::bit_cast<Message>(bytes);
    return Ranked_Job{{message.mode,
                       message.placement,
                       orven::Photon_Filter(message.counts, message.psds),
                       {},
                       message.firstFrame,
                       message.keepAccount},
                      message.nCells,
                      split({names.data(), names.size()}, lengths),
                      message.onFailure,
                      message.concurrent};
}
