#pragma once

#include <vector>

#include "trellis/host.hpp"

namespace trellis::host {

/// What the header of a DPX file says in the fields of a Cineon header, or the other way round:
/// only what both have, and the file has defined.
std::vector<FieldEdit> fields_for_other_format(const Header& header);

}  // namespace trellis::host
