#include "boardctl/framework/interrupt.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <mutex>
#include <thread>

namespace boardctl::interrupt {

namespace {

// Never destroyed: the waiting thread lives as long as the process.
struct State {
    std::mutex mutex;
    std::string board = "nothing was begun";
    std::function<void()> undo;
    Report report;
};

State &state()
{
    static State *const the_state = new State;
    return *the_state;
}

[[noreturn]] void wait_for(sigset_t signals)
{
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    // The mutex is not given back: whoever waits for it ends with the process.
    state().mutex.lock();
    if (state().undo) {
        state().undo();
    }
    state().report(signal == SIGINT ? "SIGINT" : "SIGTERM", state().board);
    _exit(128 + signal);
}

} // namespace

void begin(Report report)
{
    state().report = std::move(report);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread(wait_for, signals).detach();
}

void set_state(const std::string &board)
{
    const std::lock_guard guard(state().mutex);
    state().board = board;
}

Tidy::Tidy(std::function<void()> undo)
{
    const std::lock_guard guard(state().mutex);
    state().undo = std::move(undo);
}

Tidy::~Tidy()
{
    std::function<void()> undo;
    {
        const std::lock_guard guard(state().mutex);
        undo.swap(state().undo);
    }
    undo();
}

} // namespace boardctl::interrupt
