#pragma once

// The limits that the host has set.

#include "frame/limits.h"

namespace trellis {

Limits current_limits();

}  // namespace trellis
