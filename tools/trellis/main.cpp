// The trellis tool: what is the same for all of its commands.

#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include "batch.h"
#include "command_line.h"
#include "output.h"

namespace {

enum ExitStatus { success = 0, failure = 1, wrong_command_line = 2, stopped = 3 };

void remove_and_die(int signal) {
    trellis::host::remove_unfinished();
    raise(signal);  // by now with its usual effect, once this handler returns
}

// An interrupted program leaves no unfinished files. A signal that was to be ignored, as under
// nohup, stays so.
void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = remove_and_die;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) {
        struct sigaction old {};
        sigaction(signal, nullptr, &old);
        if (old.sa_handler == SIG_DFL) {
            sigaction(signal, &action, nullptr);
        }
    }
}

// Where memory runs out in a place that may not throw.
[[noreturn]] void die_without_memory() {
    trellis::host::remove_unfinished();
    tool::report_no_memory();
    std::_Exit(failure);
}

ExitStatus run(int argc, char** argv) try {
    const bool all_well = tool::parse_command_line(argc, argv)();
    tool::finish_output();
    return all_well ? success : failure;
} catch (const tool::UsageError& error) {
    tool::report(error.what());
    return wrong_command_line;
} catch (const tool::Stopped& error) {
    tool::report(error.what());
    return stopped;
} catch (const trellis::host::Error& error) {
    tool::report(error);
    return failure;
} catch (const std::bad_alloc&) {
    tool::report_no_memory();
    return failure;
} catch (const std::exception& error) {
    tool::report(error.what());
    return failure;
}

}  // namespace

int main(int argc, char** argv) {
    // A file that outgrows its limit is a write error, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN);
    catch_interrupts();
    std::set_terminate(die_without_memory);
    return run(argc, argv);
}
