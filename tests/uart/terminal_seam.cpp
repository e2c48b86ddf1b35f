#include "tests/uart/terminal_seam.h"

#include <dlfcn.h>
#include <errno.h>

namespace board_test {

TerminalCalls &terminal_calls()
{
    static TerminalCalls &calls = *new TerminalCalls;
    return calls;
}

namespace {

template <typename Function> Function *real(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

bool failed(int error)
{
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

} // namespace
} // namespace board_test

using namespace board_test;

extern "C" {

int tcgetattr(int descriptor, termios *attributes)
{
    static auto *const call = real<int(int, termios *)>("tcgetattr");
    terminal_calls().calls.emplace_back("get");
    return failed(terminal_calls().fail_get) ? -1 : call(descriptor, attributes);
}

int tcsetattr(int descriptor, int when, const termios *attributes)
{
    static auto *const call = real<int(int, int, const termios *)>("tcsetattr");
    terminal_calls().calls.push_back("set " + std::to_string(when));
    terminal_calls().applied = *attributes;
    return failed(terminal_calls().fail_set) ? -1 : call(descriptor, when, attributes);
}

int tcflush(int descriptor, int queue)
{
    static auto *const call = real<int(int, int)>("tcflush");
    terminal_calls().calls.push_back("flush " + std::to_string(queue));
    return call(descriptor, queue);
}

} // extern "C"
