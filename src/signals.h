#pragma once

/// Makes all signals that end the process, the abort of an uncaught exception included, remove what
/// it would leave behind, and then take their usual effect: a file that is still under another
/// name, and the line on a terminal. Signals that are ignored stay so. To be called once, by main.
void clean_up_at_signals();

/// Makes writes to a closed pipe or beyond a file size limit ordinary errors.
void make_failed_writes_errors();
