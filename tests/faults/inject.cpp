// The linker puts these functions in front of the C library's (`--wrap`), for every object of the
// program that holds this file.

#include "faults/inject.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>
#include <optional>

namespace faults {

namespace {

std::optional<Fault> fault;
int calls_left = 0;  // before the fault
bool came_up = false;
Held now;

enum class Fate { good, shortened, failed };

Fate fate(Call call) {
    if (!fault || fault->call != call || calls_left-- > 0 || (came_up && !fault->lasts)) { return Fate::good; }
    const bool is_short = fault->error == 0 || (fault->partial && !came_up);
    came_up = true;
    if (is_short) { return Fate::shortened; }
    errno = fault->error;
    return Fate::failed;
}

bool fails(Call call) { return fate(call) == Fate::failed; }

// A transfer of as many of `size` bytes as it is to have.
template <class Transfer>
ssize_t transfer(Call call, std::size_t size, Transfer bytes) {
    const Fate its_fate = fate(call);
    return its_fate == Fate::failed ? -1 : bytes(its_fate == Fate::shortened ? (size + 1) / 2 : size);
}

template <class Pointer>
Pointer counted(Pointer resource, int& count) {
    count += resource != nullptr ? 1 : 0;
    return resource;
}

}  // namespace

void arm(const Fault& next, int nth) {
    fault = next;
    calls_left = nth;
    came_up = false;
}

bool disarm() {
    fault.reset();
    return came_up;
}

Held held() { return now; }

}  // namespace faults

using faults::Call;
using faults::now;

// Declares the real function, and starts the definition of the one in front of it.
#define IN_FRONT_OF(result, name, ...) \
    result __real_##name(__VA_ARGS__); \
    result __wrap_##name(__VA_ARGS__); \
    result __wrap_##name(__VA_ARGS__)

extern "C" {

IN_FRONT_OF(void*, malloc, std::size_t size) {
    return faults::fails(Call::allocate) ? nullptr : faults::counted(__real_malloc(size), now.blocks);
}

IN_FRONT_OF(void*, calloc, std::size_t count, std::size_t size) {
    return faults::fails(Call::allocate) ? nullptr : faults::counted(__real_calloc(count, size), now.blocks);
}

IN_FRONT_OF(void*, realloc, void* block, std::size_t size) {
    if (faults::fails(Call::allocate)) { return nullptr; }
    return block == nullptr ? faults::counted(__real_realloc(block, size), now.blocks) : __real_realloc(block, size);
}

IN_FRONT_OF(void, free, void* block) {
    now.blocks -= block != nullptr ? 1 : 0;
    __real_free(block);
}

IN_FRONT_OF(int, open, const char* name, int flags, mode_t mode) {
    const int file = faults::fails(Call::open) ? -1 : __real_open(name, flags, mode);
    now.files += file >= 0 ? 1 : 0;
    return file;
}

IN_FRONT_OF(ssize_t, read, int file, void* to, std::size_t size) {
    return faults::transfer(Call::read, size, [=](std::size_t n) { return __real_read(file, to, n); });
}

IN_FRONT_OF(ssize_t, pread, int file, void* to, std::size_t size, off_t place) {
    return faults::transfer(Call::read, size, [=](std::size_t n) { return __real_pread(file, to, n, place); });
}

IN_FRONT_OF(ssize_t, write, int file, const void* from, std::size_t size) {
    return faults::transfer(Call::write, size, [=](std::size_t n) { return __real_write(file, from, n); });
}

IN_FRONT_OF(off_t, lseek, int file, off_t place, int from) {
    return faults::fails(Call::seek) ? -1 : __real_lseek(file, place, from);
}

IN_FRONT_OF(int, stat, const char* name, struct stat* status) {
    return faults::fails(Call::stat) ? -1 : __real_stat(name, status);
}

IN_FRONT_OF(int, fstat, int file, struct stat* status) {
    return faults::fails(Call::stat) ? -1 : __real_fstat(file, status);
}

// A close that fails has closed the file.
IN_FRONT_OF(int, close, int file) {
    --now.files;
    const int result = __real_close(file);
    return faults::fails(Call::close) ? -1 : result;
}

// All saves happen at the same moment, so that their files can be compared.
IN_FRONT_OF(std::time_t, time, std::time_t* also) {
    constexpr std::time_t moment = 1'700'000'000;
    if (also != nullptr) { *also = moment; }
    return moment;
}
}
