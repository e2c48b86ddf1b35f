#include "upgrade_service/work.h"

#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace upgrade_service {

std::atomic<unsigned> interrupts{0};

namespace {

constexpr int stop_signals[] = {SIGINT, SIGTERM, SIGHUP};

void on_signal(int)
{
    ++interrupts;
}

// Threads, and programs that they run, inherit what is blocked here.
class BlockedSignals {
public:
    BlockedSignals()
    {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : stop_signals) {
            sigaddset(&blocked, signal);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals &) = delete;
    BlockedSignals &operator=(const BlockedSignals &) = delete;

private:
    sigset_t before_;
};

} // namespace

void count_interrupts()
{
    struct sigaction action = {};
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;
    for (const int signal : stop_signals) {
        sigaction(signal, &action, nullptr);
    }
    signal(SIGPIPE, SIG_IGN);
}

int run_beside(const std::function<int()> &work, const std::function<void()> &look)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    int result = 0;
    const auto body = [&] {
        const int answer = work();
        const std::lock_guard<std::mutex> guard(mutex);
        result = answer;
        done = true;
        changed.notify_one();
    };
    std::thread worker;
    {
        const BlockedSignals blocked;
        worker = std::thread(body);
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!changed.wait_for(lock, std::chrono::milliseconds(look_ms), [&] { return done; })) {
            lock.unlock();
            look();
            lock.lock();
        }
    }
    worker.join();
    look();
    return result;
}

} // namespace upgrade_service
