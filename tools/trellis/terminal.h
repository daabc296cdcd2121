#pragma once

// Pictures on terminals.

#include <optional>

#include "trellis/view.hpp"

namespace tool {

namespace host = trellis::host;

/// How a terminal is given a picture: in character cells, or in pixels by one of three protocols.
enum class Medium { cells, sixel, kitty, iterm };

/// What standard output can show. Where it is no terminal, or one without colours, a picture is
/// plain text of 80 columns.
class Terminal {
  public:
    /// What is not given is the best that the terminal is known to take, and its whole size.
    Terminal(std::optional<Medium> medium, std::optional<host::Extent> cells);

    /// The pixels that there is room for.
    host::Extent box() const;

    /// Prints a picture, as large as there is room for. Throws OutputError.
    void draw(const host::Picture& picture) const;

  private:
    Medium medium_;
    host::Extent cells_;
    host::Extent cell_;  // in pixels
    bool coloured_;      // or plain text
};

}  // namespace tool
