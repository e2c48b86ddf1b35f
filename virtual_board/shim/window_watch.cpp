#include "virtual_board/shim/window_watch.h"

#include <errno.h>
#include <sched.h>
#include <signal.h>
#include <stdint.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <atomic>
#include <mutex>

#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

namespace {

Real<decltype(::mmap)> real_mmap("mmap");

struct Window {
    std::atomic<uint8_t *> base{nullptr};
    size_t length = 0;
    Bus *bus = nullptr;
    std::atomic<bool> live{false};
};

// Windows are few: a program maps the register window once or twice at a time,
// and retired ones are kept to catch stale pointers.
constexpr size_t max_windows = 256;
Window windows[max_windows];

Window *find(const void *address, bool live)
{
    const auto *byte = static_cast<const uint8_t *>(address);
    for (Window &window : windows) {
        const uint8_t *base = window.base.load(std::memory_order_acquire);
        if (base != nullptr && byte >= base && byte < base + window.length &&
            window.live.load(std::memory_order_acquire) == live) {
            return &window;
        }
    }
    return nullptr;
}

#if defined(__x86_64__)

constexpr greg_t trap_flag = 0x100;
constexpr greg_t fault_was_write = 2;

struct sigaction previous_fault;
struct sigaction previous_trap;

// One instruction at a time: while it runs, the window is open to all threads,
// and what others store then is found when it has run.
std::atomic_flag stepping = ATOMIC_FLAG_INIT;

struct Step {
    Window *window;
    uint32_t offset;
    bool store;
    uint8_t before;
};
Step step;
thread_local bool step_is_mine __attribute__((tls_model("initial-exec")));

void pass_on(const struct sigaction &previous, int signal, siginfo_t *info, void *context)
{
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, info, context);
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
    } else {
        // Back to the default, which ends the program as the handler returns.
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    }
}

void begin_step()
{
    while (stepping.test_and_set(std::memory_order_acquire)) {
        sched_yield();
    }
}

void on_fault(int signal, siginfo_t *info, void *context)
{
    Window *window = find(info->si_addr, true);
    if (window == nullptr) {
        pass_on(previous_fault, signal, info, context);
        return;
    }
    const int kept_errno = errno;
    begin_step();
    step_is_mine = true;
    auto &registers = static_cast<ucontext_t *>(context)->uc_mcontext.gregs;
    uint8_t *base = window->base.load(std::memory_order_acquire);
    mprotect(base, window->length, PROT_READ | PROT_WRITE);
    step.window = window;
    step.offset = static_cast<uint32_t>(static_cast<uint8_t *>(info->si_addr) - base);
    step.store = (registers[REG_ERR] & fault_was_write) != 0;
    window->bus->access_begins(base, window->length, step.offset, step.store);
    step.before = base[step.offset];
    registers[REG_EFL] |= trap_flag;
    errno = kept_errno;
}

void on_trap(int signal, siginfo_t *info, void *context)
{
    if (!step_is_mine) {
        pass_on(previous_trap, signal, info, context);
        return;
    }
    const int kept_errno = errno;
    static_cast<ucontext_t *>(context)->uc_mcontext.gregs[REG_EFL] &= ~trap_flag;
    const Step done = step;
    uint8_t *base = done.window->base.load(std::memory_order_acquire);
    mprotect(base, done.window->length, PROT_READ);
    done.window->bus->access_ends();
    mprotect(base, done.window->length, PROT_NONE);
    if (done.store) {
        done.window->bus->stored(done.offset, done.before);
    } else {
        done.window->bus->loaded(done.offset);
    }
    done.window->bus->find_stores();
    step_is_mine = false;
    stepping.clear(std::memory_order_release);
    errno = kept_errno;
}

void take_signals()
{
    static std::once_flag taken;
    std::call_once(taken, [] {
        struct sigaction action = {};
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        action.sa_sigaction = on_fault;
        sigaction(SIGSEGV, &action, &previous_fault);
        action.sa_sigaction = on_trap;
        sigaction(SIGTRAP, &action, &previous_trap);
    });
}

#else

void take_signals() {}

#endif

} // namespace

void before_fork_of_watch()
{
#if defined(__x86_64__)
    begin_step();
#endif
}

void after_fork_of_watch()
{
#if defined(__x86_64__)
    stepping.clear(std::memory_order_release);
#endif
}

bool can_watch()
{
#if defined(__x86_64__)
    return true;
#else
    return false;
#endif
}

void watch(Bus *bus, void *address, size_t length)
{
    for (Window &window : windows) {
        uint8_t *free_slot = nullptr;
        if (window.base.compare_exchange_strong(free_slot, static_cast<uint8_t *>(address))) {
            window.length = length;
            window.bus = bus;
            window.live.store(true, std::memory_order_release);
            if (can_watch()) {
                take_signals();
                mprotect(address, length, PROT_NONE);
            }
            return;
        }
    }
}

bool retire(void *address, size_t length)
{
    Window *window = find(address, true);
    if (window == nullptr) {
        return false;
    }
    window->live.store(false, std::memory_order_release);
    real_mmap(address, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED | MAP_NORESERVE,
              -1, 0);
    return true;
}

bool is_retired(const void *address)
{
    return find(address, false) != nullptr;
}

} // namespace virtual_board::shim
