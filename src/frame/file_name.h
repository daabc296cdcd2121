#pragma once

// File names on the heap.

#include "frame/error.h"
#include "frame/memory.h"

namespace trellis {

/// Makes `joined` the C string `name` with `suffix` behind it. A null name is Error::open, because
/// no file can be opened by it.
Error join_name(const char* name, const char* suffix, Block<char>& joined);

}  // namespace trellis
