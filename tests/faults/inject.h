#pragma once

// Makes the system fail on demand: the library's calls for memory and files come through here.

#include <cerrno>

namespace faults {

enum class Call { allocate, open, read, write, seek, stat, close };

struct Fault {
    const char* name;
    Call call;
    int error;             // what errno says; 0: nothing is wrong, a transfer is only short
    bool lasts = false;    // from there on, instead of once
    bool partial = false;  // the first transfer that fails brings half of its bytes
};

/// Lets call number `nth` of its sort fail, counted from 0.
void arm(const Fault& fault, int nth);

/// Ends that, and says whether the fault has come up.
bool disarm();

/// What the library holds at this moment.
struct Held {
    int blocks = 0;
    int files = 0;
    bool operator==(const Held&) const = default;
};
Held held();

}  // namespace faults
