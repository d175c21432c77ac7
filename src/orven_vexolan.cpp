#include "run_program.h"

/// Exceptions leave main on purpose: the runtime's report of their message is the error message.
int main(int argc, char* argv[]) {  // NOLINT(bugprone-exception-escape)
    run_program(argc, argv, count_in_this_process);
    return 0;
}
