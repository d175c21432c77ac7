#pragma once

#include "reading/count_files.h"

/// Does all that a command line asks for, and counts files by `count`.
/// Throws: whatever ends the run. It must leave main: the runtime's report of its message is the
/// error message.
void run_program(int argc, char* argv[], const Count_Files& count);
