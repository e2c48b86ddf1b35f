// Work beside the thread that shows it, and signals.

#include "upgrade_service/work.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <thread>

namespace upgrade_service {
namespace {

TEST(WorkTest, IsLookedAtFromAnotherThread)
{
    const auto here = std::this_thread::get_id();
    std::atomic<unsigned> looks{0};
    std::atomic<bool> apart{false};
    // The work ends when it has been looked at: it hangs if nobody does.
    const int result = run_beside(
        [&] {
            apart = std::this_thread::get_id() != here;
            while (looks == 0) {
                std::this_thread::yield();
            }
            return -2;
        },
        [&] {
            EXPECT_EQ(std::this_thread::get_id(), here);
            ++looks;
        });
    EXPECT_EQ(result, -2);
    EXPECT_TRUE(apart);
    EXPECT_GE(looks, 2U) << "once more after the end";
}

TEST(WorkTest, ShortWorkIsLookedAtOnce)
{
    unsigned looks = 0;
    EXPECT_EQ(run_beside([] { return 7; }, [&] { ++looks; }), 7);
    EXPECT_GE(looks, 1U);
}

// A signal must not break off a call of the library, nor reach the programs
// that it runs.
TEST(WorkTest, SignalsReachTheLookingThreadAlone)
{
    interrupts = 0;
    count_interrupts();
    const int result = run_beside(
        [] {
            sigset_t blocked;
            pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
            kill(getpid(), SIGINT);
            while (interrupts == 0) {
                std::this_thread::yield();
            }
            return sigismember(&blocked, SIGINT) + sigismember(&blocked, SIGTERM) +
                   sigismember(&blocked, SIGHUP);
        },
        [] {});
    EXPECT_EQ(result, 3);
    EXPECT_EQ(interrupts, 1U);
    sigset_t after;
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGINT), 0);
}

TEST(WorkTest, EachStopSignalCounts)
{
    interrupts = 0;
    count_interrupts();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        raise(signal);
    }
    raise(SIGPIPE);
    EXPECT_EQ(interrupts, 3U);
}

} // namespace
} // namespace upgrade_service
