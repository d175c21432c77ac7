#pragma once

#include <sys/types.h>

/// Reads that begin at this position of any file fail.
inline off_t failing_position = -1;
