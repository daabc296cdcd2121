#include "sidedata/minipic_state.h"

#include <new>

namespace trellis::sidedata {

minipic_state& last_minipic() {
    // No destructor runs on it: a host may still make previews while it exits.
    alignas(minipic_state) static std::byte memory[sizeof(minipic_state)];
    static minipic_state& state = *new (memory) minipic_state;
    return state;
}

}  // namespace trellis::sidedata
