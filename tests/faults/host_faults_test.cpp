// Every call of the host library with each of its calls to the system failing in turn: it throws
// what it says it throws, or its result is whole; nothing leaks; a target stays as it was, with
// nothing beside it; the next call works.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>

#include "trellis/examine.hpp"
#include "trellis/header_edit.hpp"
#include "trellis/host.hpp"
#include "trellis/sequence.hpp"

#include "faults/inject.h"
#include "support/support.h"

namespace {

using namespace trellis;
using faults::Call;

const std::vector<faults::Fault> all_faults = {
    {"no memory", Call::allocate, ENOMEM},
    {"no memory from there on", Call::allocate, ENOMEM, true},
    {"cannot be opened", Call::open, EACCES},
    {"bad block", Call::read, EIO},
    {"bad disk", Call::read, EIO, true},
    {"full disk", Call::write, ENOSPC, true},
    {"full disk, noticed in a transfer", Call::write, ENOSPC, true, true},
    {"no status", Call::stat, EIO},
    {"no close", Call::close, EIO, true},
    {"interrupted read", Call::read, EINTR},
    {"interrupted write", Call::write, EINTR},
    {"short read", Call::read, 0},
    {"short writes", Call::write, 0, true},
};

// A result as text, so that results can be compared.
std::string text_of(const host::Picture& picture) {
    const std::size_t bytes = static_cast<std::size_t>(picture.pixels()) * (picture.has_words() ? 2 : 1);
    std::string text = std::to_string(picture.width()) + " x " + std::to_string(picture.height());
    const auto add = [&](const std::uint8_t* samples, std::size_t count) {
        if (samples != nullptr) { text.append(reinterpret_cast<const char*>(samples), count); }
    };
    add(picture.colour(), bytes * static_cast<std::size_t>(picture.colour_samples()));
    add(picture.matte(), bytes);
    return text;
}

struct Operation {
    std::string name;
    std::function<std::string()> run;
    std::string target = {};    // the file that it replaces
    bool may_say_less = false;  // where a failure is excused: what is unknown is left out
};

class HostFaults : public testing::Test {
  protected:
    HostFaults() : picture_(TRELLIS_KIND_CUTOUT, 40, 30) {
        support::Noise noise(3);
        std::generate_n(picture_.colour(), 40 * 30 * 4, [&] { return noise.byte(); });
        std::generate_n(picture_.matte(), 40 * 30, [&] { return noise.byte(); });
        for (const char* extension : {"pic", "dpx", "cin", "iff", "png"}) { host::save(picture_, source(extension)); }
    }

    std::string source(const std::string& extension) const { return dir_.path("source." + extension); }

    // The names in the folder and what is in the target.
    std::string state(const Operation& operation) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path("."))) {
            names.push_back(entry.path().filename());
        }
        std::ranges::sort(names);
        std::string text;
        for (const std::string& name : names) { text += name + "\n"; }
        if (!operation.target.empty()) {
            for (const std::uint8_t byte : support::contents(operation.target)) { text += static_cast<char>(byte); }
        }
        return text;
    }

    void try_all(const std::vector<Operation>& operations) {
        for (const Operation& operation : operations) {
            operation.run();  // what is made once, by the first call, stays
            const std::string good = operation.run();
            const std::string good_state = state(operation);
            for (const faults::Fault& fault : all_faults) { try_fault(operation, fault, good, good_state); }
        }
    }

    void try_fault(const Operation& operation, const faults::Fault& fault, const std::string& good,
                   const std::string& good_state) {
        Outcome outcome = {.came_up = true};
        for (int nth = 0; outcome.came_up && !HasFailure(); ++nth) {
            if (!operation.target.empty()) { std::ofstream(operation.target) << "old"; }
            const std::string before = state(operation);
            outcome = outcome_of(operation, fault, nth, good);
            const std::string what = operation.name + ", call " + std::to_string(nth) + ": " + fault.name;
            if (outcome.failed) {
                EXPECT_EQ(state(operation), before) << what << " leaves something: " << outcome.error;
                EXPECT_FALSE(fault.error == 0 || fault.error == EINTR) << what << " fails: " << outcome.error;
            } else if (!operation.may_say_less) {
                EXPECT_TRUE(outcome.same) << what << ": another result, and no error";
                EXPECT_TRUE(state(operation) == good_state) << what << ": another file, and no error";
            }
            EXPECT_EQ(outcome.files, 0) << what << ": open files are left";
            EXPECT_EQ(outcome.blocks, 0) << what << ": memory is left";
        }
    }

    struct Outcome {
        bool came_up = false;
        bool failed = false;
        bool same = false;
        char error[300] = "";
        int files = 0, blocks = 0;  // left behind
    };

    static Outcome outcome_of(const Operation& operation, const faults::Fault& fault, int nth,
                              const std::string& good) {
        Outcome outcome;
        const faults::Held before = faults::held();
        const auto end = [&](const char* error) {
            outcome.came_up = faults::disarm();
            outcome.failed = error != nullptr;
            if (outcome.failed) { std::snprintf(outcome.error, sizeof outcome.error, "%s", error); }
        };
        faults::arm(fault, nth);
        try {
            const std::string result = operation.run();
            end(nullptr);
            outcome.same = result == good;
        } catch (const host::Error& error) {
            end(error.what());
            EXPECT_GT(error.code(), 0);
        } catch (const std::bad_alloc&) { end("no memory"); }
        outcome.files = faults::held().files - before.files;
        outcome.blocks = faults::held().blocks - before.blocks;
        return outcome;
    }

    support::TempDir dir_;
    host::Picture picture_;
};

TEST_F(HostFaults, Loads) {
    std::vector<Operation> operations;
    for (const std::string extension : {"pic", "dpx", "cin", "iff", "png"}) {
        const std::string name = source(extension);
        operations.push_back({"load " + extension, [=] { return text_of(host::load(name)); }});
        operations.push_back({"checksum " + extension, [=] { return host::pixel_checksum(name).text(); }});
        operations.push_back({"examine " + extension, [=] { return host::examine(name).stored.text(); }});
        operations.push_back({"describe " + extension, [=] {
                                  const host::Description found = host::describe(name);
                                  return std::to_string(found.width) + found.refusal + found.missing;
                              }});
    }
    operations.push_back({"catalogue", [this] { return text_of(host::load_catalogue(source("cin"))); }});
    operations.push_back(
        {"header", [this] { return std::to_string(host::read_header(source("dpx")).sections.size()); }});
    host::copy_file(source("dpx"), dir_.path("source.7.dpx"), false);
    operations.push_back({"frames", [this] {
                              const auto pattern = host::Pattern::parse(dir_.path("source.%d.dpx"));
                              return std::to_string(pattern->frames_on_disk().size());
                          }});
    try_all(operations);
}

TEST_F(HostFaults, Saves) {
    std::vector<Operation> operations;
    for (const std::string extension : {"pic", "dpx", "cin", "iff", "png"}) {
        const std::string target = dir_.path("target." + extension);
        operations.push_back({"save " + extension,
                              [=, this] {
                                  host::save(picture_, target, {.force = true});
                                  return std::string();
                              },
                              target});
    }
    try_all(operations);
}

TEST_F(HostFaults, Edits) {
    const std::string target = dir_.path("target.dpx");
    const std::vector<host::FieldEdit> edits = {{"project", "A film"}};
    try_all({{"copy",
              [=, this] {
                  host::copy_file(source("dpx"), target, true);
                  return std::string();
              },
              target}});
    host::copy_file(source("dpx"), source("edited.dpx"), true);
    try_all({{"edit", [=, this] {
                  host::edit_header(source("edited.dpx"), edits);
                  return std::string();
              }}});
}

}  // namespace
