#include "count_on_ranks.h"

#include "Machine_Share.h"
#include "count_part.h"
#include "counting/Cell_Counter.h"
#include "gather_failures.h"
#include "logging.h"
#include "reading/count_files.h"
#include "send_job.h"
#include "survey_files.h"
#include "system/Available_Memory.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace {

/// The counters of this rank; none on the first one, which counts in the image itself.
/// Throws: Not_Enough_Memory, also where it would be enough but for other ranks of the machine.
Counters make_counters(const Ranks& ranks, std::size_t nCells, std::size_t nRanks_here) {
    Counters counters;
    ranks.together([&] {
        const std::size_t needed = nCells * sizeof(Counter) * nRanks_here;
        const std::uint64_t available = available_memory();
        if (needed > available) {
            throw Not_Enough_Memory(needed, available);
        }
        if (!ranks.is_first()) {
            counters = Counters(nCells);
        }
    });
    return counters;
}

/// Lets failures that have just come to light do to the run what they do; of each file, the first
/// one counts.
void take_failures(const Ranks& ranks, const Ranked_Job& ranked,
                   const std::vector<File_Failure>& failures, std::vector<File_Account>& files) {
    for (const auto& [file, failure] : failures) {
        if (files[file].failure == nullptr) {
            files[file].failure = failure;
            if (ranks.is_first() && ranked.onFailure == On_Failure::log) {
                logging<error>(message_of(failure));
            }
        }
    }
    ranks.together([&] {
        if (ranks.is_first()) {
            rethrow_failure(ranked.paths, files, ranked.onFailure);
        }
    });
}

/// What a rank does of a job. Returns what all of them have done.
Run_Account count(const Ranks& ranks, const Ranked_Job& ranked, std::size_t nTasks) {
    Survey survey = survey_files(ranks, ranked, nTasks);
    take_failures(ranks, ranked, survey.failures, survey.accounts);
    const Part_Count part = count_part(ranks, ranked, survey, {nTasks, events_per_piece});
    take_failures(ranks, ranked, gather_failures(ranks, part.failures), survey.accounts);
    ranks.add_up(ranked.job.cells);
    Run_Account account;
    for (const Event_Account& events : ranks.gather(std::array{part.events})) {
        account.events += events;
    }
    account.nIntervals = count_intervals(ranked.job.mode, survey.accounts);
    account.files = std::move(survey.accounts);
    return account;
}

}  // namespace

Run_Account count_on_ranks(const Ranks& ranks, const Counting_Job& job,
                           std::span<const std::string> paths, On_Failure onFailure,
                           bool concurrent) {
    const Ranked_Job ranked{
        job, job.cells.size(), {paths.begin(), paths.end()}, onFailure, concurrent};
    send_job(ranks, ranked);
    const Machine_Share machine = share_machines(ranks);
    logging<info>("Counting by " + machine.all_at_work);
    make_counters(ranks, ranked.nCells, machine.nRanks);
    return count(ranks, ranked, concurrent ? machine.nTasks : 1);
}

void help_count(const Ranks& ranks) {
    while (std::optional<Ranked_Job> ranked = receive_job(ranks)) {
        const Machine_Share machine = share_machines(ranks);
        Counters counters = make_counters(ranks, ranked->nCells, machine.nRanks);
        ranked->job.cells = counters;
        count(ranks, *ranked, ranked->concurrent ? machine.nTasks : 1);
    }
}
