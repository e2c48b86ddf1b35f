// All operations from eight threads on one board.
//
// BOARD_THREADS_SECONDS says how long (3), BOARD_THREADS_SEED in which order
// each thread calls (1). Built with the thread sanitizer it finds data races;
// in every build it watches the order of locks, the results, and that no thread
// gets stuck.

#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/operations/header_contract.h"
#include "tests/operations/operation.h"
#include "tests/support/board_test.h"
#include "tests/threads/sanitizer_calls.h"
#include "tests/update/update_test.h"

namespace board_test {
namespace {

using Clock = std::chrono::steady_clock;
using Order = std::set<std::pair<std::string, std::string>>;

constexpr size_t thread_count = 8;
// Nothing waits for longer than another thread's operation.
constexpr std::chrono::seconds stuck_after{60};

constexpr const char *open_locks[] = {"cpld_open_lock", "fpga_open_lock", "rtc_open_lock",
                                      "uart_open_lock"};
// Those that lie below no other, and above none.
constexpr const char *request_locks[] = {
    "cpld_reg_lock", "bios_state_lock", "fpga_request_lock", "fpga_register_lock",
    "i2c_lock",      "ipmb_lock",       "ipmb_sm_lock",      "bt_read_lock",
    "bt_write_lock", "kcs_read_lock",   "kcs_write_lock",    "heartbeat_led_lock",
    "adc_lock",      "uart_io_lock",    "env_lock"};

template <size_t Size> bool is_one_of(const char *const (&names)[Size], const std::string &name)
{
    return std::count(std::begin(names), std::end(names), name) != 0;
}

unsigned setting_of(const char *variable, unsigned otherwise)
{
    const char *const text = getenv(variable);
    return text == nullptr ? otherwise : static_cast<unsigned>(atoi(text));
}

const HeaderContracts &contracts()
{
    static const HeaderContracts read(PUBLIC_HEADER);
    return read;
}

// A setting as the threads run it.
struct Job {
    Job(const LibraryOperation &its_operation, const Setting &its_setting)
        : operation(&its_operation), setting(&its_setting),
          contract(contracts().of(its_operation.name))
    {
    }

    const LibraryOperation *operation;
    const Setting *setting;
    Contract contract;
    std::atomic<unsigned> runs = 0;
    std::atomic<unsigned> undocumented = 0; // runs with such a result
    std::atomic<int> last_undocumented = 0;
};

std::deque<Job> make_jobs()
{
    std::deque<Job> jobs;
    for (const LibraryOperation &operation : operations()) {
        for (const Setting &setting : operation.settings) {
            if (operation.alone.empty()) {
                jobs.emplace_back(operation, setting);
            }
        }
    }
    return jobs;
}

// Another thread may have taken what the preparation brought, so any result
// that the operation has at all is a good one.
bool allowed(const Job &job, long long result)
{
    return result == job.setting->good || job.contract.nothing || job.contract.value ||
           promises(job.contract, result, result);
}

void run(Job &job, Board &board)
{
    if (job.setting->prepare && !job.setting->prepared_once) {
        job.setting->prepare(board);
    }
    const long long result = job.setting->call();
    if (!allowed(job, result)) {
        job.last_undocumented = static_cast<int>(result);
        ++job.undocumented;
    }
    ++job.runs;
}

struct Worker {
    std::thread thread;
    std::atomic<const Job *> job = nullptr;
    std::atomic<unsigned long> calls = 0;
};

class ThreadsTest : public BoardTest {
protected:
    ThreadsTest() : BoardTest(update_board()) { free_sanitizer_of_board(); }

    // Runs the jobs in an order of the thread's own, again and again.
    void work(size_t number, Worker &worker)
    {
        std::mt19937 random(seed_ * 1000 + static_cast<unsigned>(number));
        std::vector<Job *> jobs;
        for (Job &job : jobs_) {
            if (!job.operation->slow) {
                jobs.push_back(&job);
            } else if (number == 0) {
                run(job, board);
            }
        }
        while (!stop_) {
            std::shuffle(jobs.begin(), jobs.end(), random);
            for (Job *const job : jobs) {
                worker.job = job;
                run(*job, board);
                ++worker.calls;
                if (stop_ && all_ran_) {
                    return;
                }
            }
            all_ran_ = true;
        }
    }

    void prepare_once()
    {
        for (const Job &job : jobs_) {
            if (job.setting->prepare && job.setting->prepared_once) {
                job.setting->prepare(board);
            }
        }
    }

    // The other end of the serial line, so that writers get on.
    void drain_console()
    {
        pollfd line = {board.uart().master(), POLLIN, 0};
        char bytes[4096];
        while (poll(&line, 1, 0) > 0 && read(line.fd, bytes, sizeof(bytes)) > 0) {
        }
    }

    // Ends the program if a thread is stuck: it cannot be joined.
    void watch(std::chrono::seconds duration)
    {
        const auto end = Clock::now() + duration;
        std::array<std::pair<unsigned long, Clock::time_point>, thread_count> seen;
        seen.fill({0, Clock::now()});
        while (running_ > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            drain_console();
            output();
            stop_ = Clock::now() >= end;
            for (size_t i = 0; i < thread_count; ++i) {
                const unsigned long calls = workers_[i].calls;
                if (calls != seen[i].first) {
                    seen[i] = {calls, Clock::now()};
                } else if (Clock::now() - seen[i].second > stuck_after) {
                    say_stuck();
                }
            }
        }
    }

    [[noreturn]] void say_stuck()
    {
        for (const Worker &worker : workers_) {
            const Job *const job = worker.job;
            fprintf(stderr, "in %s after %lu calls\n",
                    job == nullptr ? "none" : job->operation->name.c_str(), worker.calls.load());
        }
        fprintf(stderr, "a thread is stuck\n");
        _exit(1);
    }

    void expect_documented_order(const Order &observed)
    {
        for (const auto &[held, taken] : observed) {
            if (!is_one_of(open_locks, held)) {
                EXPECT_TRUE(contracts().lock_order().contains({held, taken}))
                    << taken << " is taken while " << held << " is held";
            }
        }
        for (const auto &row : contracts().lock_order()) {
            EXPECT_TRUE(observed.contains(row))
                << row.second << " is never taken while " << row.first << " is held";
        }
    }

    const unsigned seed_ = setting_of("BOARD_THREADS_SEED", 1);
    std::deque<Job> jobs_ = make_jobs();
    std::array<Worker, thread_count> workers_;
    std::atomic<size_t> running_ = thread_count;
    std::atomic<bool> stop_ = false;
    std::atomic<bool> all_ran_ = false;
};

TEST_F(ThreadsTest, AllOperationsFromEightThreads)
{
    board.trace.keep(false);
    open_board();
    prepare_once();
    const auto open_before = board.open_paths();
    for (size_t i = 0; i < thread_count; ++i) {
        workers_[i].thread = std::thread([this, i] {
            work(i, workers_[i]);
            --running_;
        });
    }
    watch(std::chrono::seconds(setting_of("BOARD_THREADS_SECONDS", 3)));
    unsigned long calls = 0;
    for (Worker &worker : workers_) {
        worker.thread.join();
        calls += worker.calls;
    }

    for (const Job &job : jobs_) {
        const std::string name = job.operation->name + " (" + job.setting->name + ")";
        EXPECT_GT(job.runs, 0U) << name << " was not run";
        EXPECT_EQ(job.undocumented, 0U)
            << name << " gave an undocumented result: " << job.last_undocumented;
    }
    expect_documented_order(lock_order());
    EXPECT_EQ(held_locks(), (Names{"cpld_open_lock", "fpga_open_lock", "uart_open_lock"}));
    EXPECT_EQ(board.open_paths(), open_before);
    fprintf(stderr, "threads: %zu settings, %lu calls from %zu threads, seed %u\n", jobs_.size(),
            calls, thread_count, seed_);

    uart_close(0);
    close(dev_handle_rtc);
    close(dev_handle_adc);
}

// ---- the documented order ----

TEST(LockOrderTable, HasNoCycle)
{
    Order left = contracts().lock_order();
    ASSERT_FALSE(left.empty());
    for (size_t before = left.size() + 1; before > left.size();) {
        before = left.size();
        std::erase_if(left, [&](const auto &row) {
            return std::none_of(left.begin(), left.end(),
                                [&](const auto &other) { return other.first == row.second; });
        });
    }
    EXPECT_TRUE(left.empty());
}

TEST(LockOrderTable, HoldsNoTwoRegisterOrRequestLocksTogether)
{
    for (const auto &[held, taken] : contracts().lock_order()) {
        EXPECT_FALSE(is_one_of(request_locks, held)) << held;
        EXPECT_FALSE(is_one_of(open_locks, taken)) << taken;
    }
}

} // namespace
} // namespace board_test
