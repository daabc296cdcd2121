#pragma once

// The last-header buffer, seen as the record that it holds.

#include "trellis/pic_format.h"
#include "trellis/settings.h"

namespace trellis::dpx {

/// The record in the buffer, when it has exactly this format's type and this record's size.
template <class Record>
Record* held_last_header(trellis_format_type type) {
    void* block = nullptr;
    int size = 0;
    int held_type = 0;
    inq_last_header_trellis(&block, &size);
    inq_last_header_type_trellis(&held_type);
    return held_type == type && size == sizeof(Record) ? static_cast<Record*>(block) : nullptr;
}

/// Makes the buffer an all-zero record of this type; null when memory runs out.
template <class Record>
Record* new_last_header(trellis_format_type type) {
    void* block = nullptr;
    int size = 0;
    if (realloc_last_header_trellis(sizeof(Record)) != 0) {
        return nullptr;
    }
    set_last_header_type_trellis(type);
    inq_last_header_trellis(&block, &size);
    auto* record = static_cast<Record*>(block);
    *record = {};
    return record;
}

}  // namespace trellis::dpx
