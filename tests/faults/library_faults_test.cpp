// Every function of the library that touches files or takes memory, with each of its calls to the
// system failing in turn: the result is whole, or an error that is documented; nothing leaks, and
// the next call works.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "faults/inject.h"
#include "support/formats.h"
#include "support/support.h"

namespace {

using faults::Call;
using faults::Fault;
using support::Bytes;

// Faults that a program has to live with, and those that are none: the result must be the same.
const std::vector<Fault> all_faults = {
    {"no memory", Call::allocate, ENOMEM},
    {"no memory from there on", Call::allocate, ENOMEM, true},
    {"cannot be opened", Call::open, EACCES},
    {"bad block", Call::read, EIO},
    {"bad disk", Call::read, EIO, true},
    {"bad disk, noticed in a transfer", Call::read, EIO, true, true},
    {"bad block in a save", Call::write, EIO},
    {"full disk", Call::write, ENOSPC, true},
    {"full disk, noticed in a transfer", Call::write, ENOSPC, true, true},
    {"no place", Call::seek, EIO},
    {"no place from there on", Call::seek, EIO, true},
    {"no status", Call::stat, EIO},
    {"no close", Call::close, EIO, true},
    {"interrupted open", Call::open, EINTR},
    {"interrupted read", Call::read, EINTR},
    {"interrupted write", Call::write, EINTR},
    {"short read", Call::read, 0},
    {"short reads", Call::read, 0, true},
    {"short write", Call::write, 0},
    {"short writes", Call::write, 0, true},
};

bool must_not_matter(const Fault& fault) { return fault.error == EINTR || fault.error == 0; }

struct Size {
    int width, height;
};
constexpr Size to_save = {300, 290};  // more than a buffer of the library holds
constexpr Size to_load = {150, 140};
constexpr Size small = {30, 20};

// Memory of the host: numbers, colours and mattes, with unused bytes before and behind.
struct Memory {
    Bytes bytes;

    unsigned int* number(std::size_t i) { return reinterpret_cast<unsigned int*>(&bytes[64 + 4 * i]); }
    int* integer(std::size_t i) { return reinterpret_cast<int*>(number(i)); }
    float* real(std::size_t i) { return reinterpret_cast<float*>(number(i)); }
    void* outline() { return &bytes[256]; }
    void* colour() { return &bytes[4096]; }
    void* matte() { return &bytes[bytes.size() * 3 / 4]; }
};

// What a host saves: noise and some runs, whose packets are more than a buffer of the library holds.
Memory& pictures() {
    static Memory memory = [] {
        Memory made{Bytes(800'000)};
        support::Noise noise(1);
        for (std::size_t i = 0; i < made.bytes.size(); ++i) {
            made.bytes[i] = i / 512 % 8 != 0 ? noise.byte() : static_cast<std::uint8_t>(i / 1024);
        }
        return made;
    }();
    return memory;
}

/// The codes that a failing call of each sort may end with, 0 only where the result is whole.
struct Codes {
    using List = std::vector<int>;
    List allocate = {3}, open = {6}, read = {1}, write = {2}, seek = {0}, stat = {0}, close = {15};

    bool allow(Call call, int code) const {
        const List* const lists[] = {&allocate, &open, &read, &write, &seek, &stat, &close};
        return std::ranges::count(*lists[static_cast<std::size_t>(call)], code) > 0;
    }
};

struct Operation {
    std::string name;
    std::function<int(Memory&)> run;
    Codes codes;
    std::string file = {};  // that it makes
};

struct Outcome {
    int code;
    bool came_up;  // the fault
    Bytes memory, file;
    faults::Held held;
};

Outcome outcome_of(const Operation& operation, std::uint8_t filler = 0xA5) {
    Memory memory{Bytes(400'000, filler)};
    if (!operation.file.empty()) { unlink(operation.file.c_str()); }
    const int code = operation.run(memory);
    const bool came_up = faults::disarm();
    const bool has_file = code == 0 && !operation.file.empty();
    const Bytes file = has_file ? support::contents(operation.file) : Bytes();
    return {code, came_up, memory.bytes, file, faults::held()};
}

// Whether a run wrote where the operation writes nothing: where two runs over different fillers
// differ.
bool wrote_outside(const Bytes& memory, const Outcome& one, const Outcome& other) {
    if (memory == one.memory) { return false; }
    for (std::size_t i = 0; i < memory.size(); ++i) {
        if (one.memory[i] != other.memory[i] && memory[i] != one.memory[i]) { return true; }
    }
    return false;
}

bool may_end(const Operation& operation, const Fault& fault, int code) {
    return must_not_matter(fault) ? code == 0 : operation.codes.allow(fault.call, code);
}

// What is wrong with the operation when call number `nth` fails. `came_up` becomes false when there
// are not so many.
std::string complaint(const Operation& operation, const Fault& fault, int nth, const Outcome& good,
                      const Outcome& other, bool& came_up) {
    free_last_header_trellis();
    faults::arm(fault, nth);
    const Outcome faulty = outcome_of(operation);
    came_up = faulty.came_up;
    if (came_up ? !may_end(operation, fault, faulty.code) : faulty.code != 0) {
        return "ends with " + std::to_string(faulty.code);
    }
    if (faulty.code == 0 && faulty.file != good.file) { return "answers 0 for another file"; }
    if (faulty.code == 0 && faulty.memory != good.memory) { return "answers 0 for another result"; }
    if (fault.call == Call::close && faulty.memory != good.memory) { return "keeps its answers back"; }
    if (wrote_outside(faulty.memory, good, other)) { return "writes outside"; }
    const Outcome next = outcome_of(operation);
    if (next.held != good.held) { return "keeps memory or files"; }
    if (next.code != 0 || next.memory != good.memory || next.file != good.file) { return "spoils the next call"; }
    return "";
}

void try_all(const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
        free_last_header_trellis();
        outcome_of(operation);
        const Outcome good = outcome_of(operation);
        const Outcome other = outcome_of(operation, 0x5A);
        ASSERT_EQ(good.code, 0) << operation.name;
        for (const Fault& fault : all_faults) {
            std::string wrong;
            bool came_up = true;
            for (int nth = 0; came_up && wrong.empty(); ++nth) {
                wrong = complaint(operation, fault, nth, good, other, came_up);
                EXPECT_EQ(wrong, "") << operation.name << ", call " << nth << ": " << fault.name;
            }
        }
    }
}

// What the host calls, all with the same pictures.
enum Kind { picture, cutout, mask };
const char* const kind_names[] = {"picture", "cutout", "mask"};

int save(const pic_format& format, Kind kind, const std::string& file, Size size, int compress) {
    Memory& from = pictures();
    const char* name = file.c_str();
    const int x = size.width - 1;
    const int y = size.height - 1;
    switch (kind) {
        case picture: return format.save_pic_fn(name, from.colour(), x + 4, 0, 0, x, y, compress);
        case cutout: return format.save_cut_fn(name, from.colour(), x + 4, from.matte(), x + 6, 0, 0, x, y, compress);
        default: return format.save_mask_fn(name, from.matte(), x + 6, 0, 0, x, y, compress);
    }
}

int load(const pic_format& format, Kind kind, const std::string& file, Size size, Memory& to) {
    const char* name = file.c_str();
    const int x = size.width - 1;
    const int y = size.height - 1;
    switch (kind) {
        case picture: return format.load_pic_fn(name, to.colour(), x + 4, 0, 0, x, y, 0, 0);
        case cutout: return format.load_cut_fn(name, to.colour(), x + 4, to.matte(), x + 6, 0, 0, x, y, 0, 0);
        default: return format.load_mask_fn(name, to.matte(), x + 6, 0, 0, x, y, 0, 0);
    }
}

constexpr int not_recognised = -1;

int probe(const pic_format& format, const std::string& file, Bytes& header) {
    unsigned int kind = 0;
    unsigned int is_this_format = 0;
    const int code = format.inq_type_fn(header.data(), 594, file.c_str(), 0, &kind, &is_this_format);
    return code == 0 && is_this_format == 0 ? not_recognised : code;
}

int information(const pic_format& format, const std::string& file, Memory& to) {
    const auto out = [&to](std::size_t i) { return to.number(i); };
    return format.info_fn(file.c_str(), out(0), out(1), out(2), out(3), out(4), out(5), out(6), out(7), out(8), out(9),
                          out(10), out(11));
}

struct Family {
    std::string name;
    const pic_format& format;
    std::vector<Kind> kinds;
    std::vector<int> compress;
    Codes save, load, query;
};

const std::vector<Kind> colours = {picture, cutout};
const std::vector<Kind> all = {picture, cutout, mask};
const std::vector<int> both = {0, 1};

// A read ahead that fails does not matter where its bytes are not needed. Pixar files do not report
// a failing close: all is written and checked before.
const Codes query = {.read = {0, 1}};
const Codes probes = {.allocate = {not_recognised},
                      .open = {not_recognised},
                      .read = {0, 1, not_recognised},
                      .seek = {0, not_recognised},
                      .close = {0}};
const Codes film_load = {.read = {0, 1}, .seek = {0, 3, 16}};
const Family pixar = {"Pixar",
                      support::pixar,
                      colours,
                      both,
                      {.seek = {16}, .close = {0}},
                      {.read = {0, 1}, .seek = {0, 1, 16}, .close = {0}},
                      {.read = {0, 1}, .close = {0}}};
const Family dpx = {"DPX", support::dpx, all, {0}, {}, film_load, query};
const Family cineon = {"Cineon", support::cineon, all, {0}, {}, film_load, query};
const Family maya = {"Maya", support::maya, all, both, {.seek = {2}}, query, query};
const std::vector<const Family*> families = {&pixar, &dpx, &cineon, &maya};

template <class... Slots>
trellis_slot_fn slot(int kind, Slots... slots) {
    const trellis_slot_fn all_slots[] = {reinterpret_cast<trellis_slot_fn>(slots)...};
    return all_slots[kind - 1];
}

class LibraryFaults : public testing::Test {
  protected:
    // A file with all that it was saved from in its name.
    std::string file(const Family& family, Kind kind, int compress) const {
        return dir_.path(family.name + " " + kind_names[kind] + " " + std::to_string(compress));
    }

    std::string saved(const Family& family, Kind kind, Size size, int compress = 0) const {
        EXPECT_EQ(save(family.format, kind, file(family, kind, compress), size, compress), 0);
        return file(family, kind, compress);
    }

    template <class Do>
    void for_each_file(Do run) const {
        for (const Family* family : families) {
            for (const Kind kind : family->kinds) {
                for (const int compress : family->compress) { run(*family, kind, compress); }
            }
        }
    }

    support::TempDir dir_;
};

TEST_F(LibraryFaults, Saves) {
    std::vector<Operation> operations;
    for_each_file([&](const Family& family, Kind kind, int compress) {
        const std::string name = file(family, kind, compress);
        operations.push_back({"save " + name,
                              [=, &family](Memory&) { return save(family.format, kind, name, to_save, compress); },
                              family.save, name});
    });
    try_all(operations);
}

TEST_F(LibraryFaults, Loads) {
    std::vector<Operation> operations;
    for_each_file([&](const Family& family, Kind kind, int compress) {
        const std::string name = saved(family, kind, to_load, compress);
        operations.push_back({"load " + name,
                              [=, &family](Memory& to) { return load(family.format, kind, name, to_load, to); },
                              family.load});
    });
    try_all(operations);
}

TEST_F(LibraryFaults, Queries) {
    std::vector<Operation> operations;
    for_each_file([&](const Family& family, Kind kind, int compress) {
        const std::string name = saved(family, kind, small, compress);
        const pic_format& format = family.format;
        const auto add = [&](const char* what, auto run) { operations.push_back({what + name, run, family.query}); };
        add("size of ",
            [=, &format](Memory& to) { return format.size_pic_fn(name.c_str(), to.number(0), to.number(1)); });
        add("information on ", [=, &format](Memory& to) { return information(format, name, to); });
        add("probe of ",
            [=, &format, header = support::contents(name)](Memory&) mutable { return probe(format, name, header); });
        operations.back().codes = probes;
    });
    try_all(operations);
}

TEST_F(LibraryFaults, Wrappers) {
    std::vector<Operation> operations;
    constexpr int width = small.width;
    constexpr int height = small.height;
    constexpr int x = width - 1;
    constexpr int y = height - 1;
    for (const int mode : {0, 1, 2}) {
        // Film slots have 16-bit buffers.
        const Family& source = mode == 2 ? dpx : maya;
        const Family& target = mode == 1 ? dpx : maya;
        const std::string from = saved(source, cutout, small, 1);
        const std::string to = dir_.path("saved");
        const auto load = [&](const char* name, auto run) {
            operations.push_back({name + std::to_string(mode),
                                  [=, &source](Memory& memory) { return run(source.format, from.c_str(), memory); },
                                  source.load});
        };
        const auto save = [&](const char* name, auto run) {
            operations.push_back({name + std::to_string(mode),
                                  [=, &target](Memory&) { return run(target.format, to.c_str(), pictures()); },
                                  target.save, to});
        };
        load("load_pic", [=](const pic_format& f, const char* name, Memory& m) {
            return load_pic_fn_convert_trellis(mode, f.load_pic_fn, name, m.colour(), width, 0, 0, x, y, 0, 0);
        });
        save("save_pic", [=](const pic_format& f, const char* name, Memory& m) {
            return save_pic_fn_convert_trellis(mode, f.save_pic_fn, name, m.colour(), width, 0, 0, x, y, 1);
        });
        load("load_rgba", [=](const pic_format& f, const char* name, Memory& m) {
            return load_rgba_fn_convert_trellis(mode, f.load_cut_fn, name, m.colour(), width, m.matte(), width, 0, 0, x,
                                                y, 0, 0);
        });
        save("save_rgba", [=](const pic_format& f, const char* name, Memory& m) {
            return save_rgba_fn_convert_trellis(mode, f.save_cut_fn, name, m.colour(), width, m.matte(), width, 0, 0, x,
                                                y, 1);
        });
        if (mode == 0) {  // film slots have no pixels of four samples
            load("load_rgba_inone", [=](const pic_format& f, const char* name, Memory& m) {
                return load_rgba_inone_fn_convert_trellis(mode, f.load_pic_fn, name, m.colour(), width, 0, 0, x, y, 0,
                                                          0);
            });
            save("save_rgba_inone", [=](const pic_format& f, const char* name, Memory& m) {
                return save_rgba_inone_fn_convert_trellis(mode, f.save_pic_fn, name, m.colour(), width, 0, 0, x, y, 1);
            });
        }
        for (const int kind : {1, 2, 3}) {
            load("load_mask", [=](const pic_format& f, const char* name, Memory& m) {
                return load_mask_fn_convert_trellis(mode, kind,
                                                    slot(kind, f.load_pic_fn, f.load_cut_fn, f.load_mask_fn), name,
                                                    m.matte(), width, 0, 0, x, y, 0, 0);
            });
            save("save_mask", [=](const pic_format& f, const char* name, Memory& m) {
                return save_mask_fn_convert_trellis(mode, kind,
                                                    slot(kind, f.save_pic_fn, f.save_cut_fn, f.save_mask_fn), name,
                                                    m.matte(), width, 0, 0, x, y, 1);
            });
            if (kind == 3) { continue; }
            load("load_cut", [=](const pic_format& f, const char* name, Memory& m) {
                *m.number(0) = width;
                *m.number(1) = height;
                return load_cut_fn_convert_trellis(mode, kind, slot(kind, f.load_pic_fn, f.load_cut_fn, f.load_mask_fn),
                                                   name, m.number(0), m.number(1), m.number(2), m.number(3), m.real(4),
                                                   m.real(5), m.real(6), m.real(7), m.number(8), m.number(9),
                                                   m.number(10), m.outline(), m.number(11), m.colour(), m.number(12));
            });
            save("save_cut", [=](const pic_format& f, const char* name, Memory& m) {
                return save_cut_fn_convert_trellis(mode, kind, slot(kind, f.save_pic_fn, f.save_cut_fn, f.save_mask_fn),
                                                   name, width, height, 0, 0, 0, 0, 0, nullptr, 0, m.colour(), 0, 0, 0,
                                                   0, 0);
            });
        }
        load("size_cut", [=](const pic_format& f, const char* name, Memory& m) {
            return size_cut_fn_convert_trellis(mode, 2, reinterpret_cast<trellis_slot_fn>(f.size_pic_fn), name,
                                               m.number(0), m.number(1), m.number(2), m.number(3), m.real(4), m.real(5),
                                               m.real(6), m.real(7), m.number(8), m.number(9), m.number(10),
                                               m.number(11));
        });
    }
    try_all(operations);
}

TEST_F(LibraryFaults, SideFiles) {
    const std::string name = dir_.path("picture");
    const char* const n = name.c_str();
    const std::string catalogue = saved(cineon, picture, small);
    const Codes size_codes = {.read = {0, 1}, .seek = {0, 16}, .close = {0}};
    const auto load_info = [=](Memory& m, void* outline) {
        *m.number(10) = 0;
        return load_cutout_info_trellis(n, m.number(0), m.number(1), m.number(2), m.number(3), m.real(4), m.real(5),
                                        m.real(6), m.real(7), m.number(8), m.number(9), m.number(10), outline, nullptr,
                                        m.number(11));
    };
    const auto write_previews = [=](int depth, int source) {
        Memory& m = pictures();
        return write_minipic_trellis(n, m.colour(), m.matte(), m.colour(), 30, 0, 0, 29, 19, depth, source);
    };
    const Codes previews = {.allocate = {2}, .open = {2}, .close = {2}};
    try_all({
        {"save information",
         [=](Memory&) {
             return save_cutout_info_trellis(n, 30, 20, 1, 2, 3, 4, 5, 6, 7, 8, 300'000, pictures().outline(), nullptr,
                                             9);
         },
         {.close = {0}},
         name + ".cinfo"},
        {"load information", [=](Memory& m) { return load_info(m, m.outline()); }, size_codes},
        {"load information without outline", [=](Memory& m) { return load_info(m, nullptr); }, size_codes},
        {"size of information",
         [=](Memory& m) {
             return size_cutout_info_trellis(n, m.number(0), m.number(1), m.number(2), m.number(3), m.real(4),
                                             m.real(5), m.real(6), m.real(7), m.number(8), m.number(9), nullptr,
                                             m.number(11));
         },
         size_codes},
        {"save previews", [=](Memory&) { return write_previews(0, 1); }, previews, name + ".mpc"},
        {"save previews at 16 bits", [=](Memory&) { return write_previews(1, 3); }, previews, name + ".mpc"},
        {"load preview",
         [=](Memory& m) {
             return read_minipic_trellis(n, m.colour(), 10000, m.integer(0), m.integer(1), m.integer(2));
         },
         {.open = {1}, .stat = {0, 24}, .close = {0}}},
        {"load catalogue",
         [=](Memory& m) {
             return support::cineon.load_cat_fn(catalogue.c_str(), m.colour(), 96 * 64, m.number(0), m.number(1),
                                                m.number(2));
         },
         film_load},
    });
}

}  // namespace
