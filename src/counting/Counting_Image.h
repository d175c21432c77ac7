#pragma once

#include "analysis/Vector_MultiDim.h"
#include "counting/Image_Memory.h"

#include <atomic>
#include <cstddef>

/// One cell of a counting image; wraps modulo 2^32.
using Counter = std::atomic<unsigned int>;
static_assert(Counter::is_always_lock_free && sizeof(Counter) == sizeof(unsigned int));

/// A counting image: {rows, columns}, or {time bins, rows, columns}.
template <std::size_t nDims>
using Counting_Image = orven::Vector_MultiDim<Counter, nDims, Image_Allocator<Counter>>;
