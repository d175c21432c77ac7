#include "Ranks.h"
#include "count_on_ranks.h"
#include "run_program.h"
#include "send_job.h"

/// Exceptions leave main on purpose: the runtime's report of their message is the error message,
/// and MPI then ends the other processes.
int main(int argc, char* argv[]) {  // NOLINT(bugprone-exception-escape)
    const Ranks ranks(argc, argv);
    if (ranks.is_alone()) {
        run_program(argc, argv, count_in_this_process);
    } else if (ranks.is_first()) {
        run_program(argc, argv, [&ranks](const auto&... arguments) {
            return count_on_ranks(ranks, arguments...);
        });
        send_end(ranks);
    } else {
        help_count(ranks);
    }
    ranks.leave();
    return 0;
}
