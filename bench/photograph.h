#pragma once

// A picture that codes like a scanned photograph: smooth light, edges, blown-out highlights, and
// grain that is strong in one place and absent in another. It is made with integers alone, so every
// machine measures the same bytes.

#include <cstddef>

namespace bench {

/// The value of a channel at a pixel, from 0 to `highest`. Channels are red, green, blue.
int photograph_value(int x, int y, std::size_t channel, int highest);

/// Codes the photograph with both run-length coders and counts the packets. False, with what is
/// wrong on standard error, when it no longer is the picture that docs/performance.md describes.
bool check_photograph();

}  // namespace bench
