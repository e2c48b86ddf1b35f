// Loads and stores of the register window, as programs make them.

#include "virtual_board/shim/window_watch.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class WindowWatchTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        if (!sees_each_access()) {
            GTEST_SKIP() << "single accesses are not seen on this machine";
        }
        window = map();
        clear_trace();
    }
    void TearDown() override
    {
        if (window != nullptr) {
            munmap(const_cast<uint8_t *>(window), CPLD_WINDOW_SIZE);
        }
        BoardTest::TearDown();
    }

    static volatile uint8_t *map()
    {
        const int cpld = open("/dev/ipmc_cpld", O_RDWR);
        void *mapped = mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, cpld, 0);
        close(cpld);
        EXPECT_NE(mapped, MAP_FAILED);
        return static_cast<volatile uint8_t *>(mapped);
    }

    volatile uint8_t *window = nullptr;
};

// Whether a child that does this survives.
template <typename Action> bool survives(Action action)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core);
        close(STDERR_FILENO); // a sanitizer's account of the crash
        action();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST_F(WindowWatchTest, AccessesAreReportedInOrderWithTheirValues)
{
    set_reg(0x20, 0x11);
    const uint8_t first = window[0x20];
    window[0x21] = 0x22;
    window[0x20] = 0x33;
    const uint8_t second = window[0x20];
    EXPECT_EQ(first, 0x11);
    EXPECT_EQ(second, 0x33);
    EXPECT_EQ(steps(), (Names{"load 20", "store 21=22", "store 20=33", "load 20"}));
    const auto loads = board.trace.of(Operation::load);
    EXPECT_EQ(loads[0].result, 0x11);
    EXPECT_EQ(loads[1].result, 0x33);
    const auto stores = board.trace.of(Operation::store);
    EXPECT_EQ(stores[0].bytes, (Bytes{0x00, 0x22}));
    EXPECT_EQ(stores[1].bytes, (Bytes{0x11, 0x33}));
}

TEST_F(WindowWatchTest, TheSameValueStoredAgainIsAStore)
{
    window[0x20] = 0x00;
    window[0x20] = 0x00;
    EXPECT_EQ(steps(), (Names{"store 20=00", "store 20=00"}));
}

TEST_F(WindowWatchTest, ReadOnlyAndStuckBitsHold)
{
    set_reg(CPLD_REG_BOARD_ID, 0x10);
    board.cpld().stick(0x20, 0x0F, 0x05);
    window[CPLD_REG_BOARD_ID] = 0xFF;
    window[0x20] = 0xFF;
    EXPECT_EQ(window[CPLD_REG_BOARD_ID], 0x10);
    EXPECT_EQ(window[0x20], 0xF5);
    window[0x20] = 0x00;
    EXPECT_EQ(window[0x20], 0x05);
}

TEST_F(WindowWatchTest, AnObserverActsBeforeTheNextInstruction)
{
    board.cpld().on_store(0x20, [this](uint8_t before, uint8_t after) {
        set_reg(0x21, static_cast<uint8_t>(before + after));
    });
    window[0x20] = 0x07;
    EXPECT_EQ(window[0x21], 0x07);
    window[0x20] = 0x03;
    EXPECT_EQ(window[0x21], 0x0A);
}

#if defined(__x86_64__)

// One instruction that loads and stores is reported as the store that it is.
TEST_F(WindowWatchTest, ReadModifyWriteInstructionsAreOneStore)
{
    set_reg(0x20, 0x81);
    asm volatile("orb $0x10, %0" : "+m"(window[0x20]));
    asm volatile("andb $0x7f, %0" : "+m"(window[0x20]));
    asm volatile("incb %0" : "+m"(window[0x20]));
    EXPECT_EQ(steps(), (Names{"store 20=91", "store 20=11", "store 20=12"}));
    EXPECT_EQ(board.trace.of(Operation::store)[0].bytes, (Bytes{0x81, 0x91}));
    EXPECT_EQ(reg(0x20), 0x12);
}

TEST_F(WindowWatchTest, FlagsAndRegistersSurvive)
{
    set_reg(0x20, 0x80);
    uint64_t kept = 0x1122334455667788;
    uint8_t carried = 0;
    asm volatile("stc\n\t"
                 "movb %2, %%al\n\t"
                 "setc %1"
                 : "+r"(kept), "=q"(carried)
                 : "m"(window[0x20])
                 : "rax", "cc");
    EXPECT_EQ(carried, 1);
    EXPECT_EQ(kept, 0x1122334455667788U);
    EXPECT_EQ(steps(), Names{"load 20"});
}

#endif

TEST_F(WindowWatchTest, ErrnoSurvives)
{
    errno = 4711;
    window[0x20] = 1;
    const uint8_t value = window[0x20];
    EXPECT_EQ(errno, 4711);
    EXPECT_EQ(value, 1);
}

TEST_F(WindowWatchTest, TwoWindowsShowOneSetOfRegisters)
{
    volatile uint8_t *second = map();
    clear_trace();
    window[0x20] = 0x42;
    EXPECT_EQ(second[0x20], 0x42);
    munmap(const_cast<uint8_t *>(second), CPLD_WINDOW_SIZE);
    window[0x20] = 0x43;
    EXPECT_EQ(board.trace.count(Operation::store, "cpld"), 2U);
    EXPECT_EQ(board.trace.count(Operation::load, "cpld"), 1U);
}

// Read-modify-writes of several threads under a mutex: none is lost, and each
// is seen.
TEST_F(WindowWatchTest, ThreadsUnderAMutexSeeAllStores)
{
    constexpr unsigned threads = 4;
    constexpr unsigned rounds = 50;
    std::mutex mutex;
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < threads; ++i) {
        workers.emplace_back([&] {
            for (unsigned n = 0; n < rounds; ++n) {
                const std::lock_guard guard(mutex);
                window[0x20] = static_cast<uint8_t>(window[0x20] + 1);
            }
        });
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    const auto stores = board.trace.of(Operation::store, "cpld");
    ASSERT_EQ(stores.size(), threads * rounds);
    for (unsigned i = 0; i < stores.size(); ++i) {
        EXPECT_EQ(stores[i].bytes, (Bytes{static_cast<uint8_t>(i), static_cast<uint8_t>(i + 1)}));
    }
    EXPECT_EQ(board.trace.count(Operation::load, "cpld"), threads * rounds);
}

// Without a mutex, a store can slip by while another thread's runs; its effect
// is found all the same.
TEST_F(WindowWatchTest, NoChangeOfThreadsWithoutAMutexGoesUnseen)
{
    constexpr unsigned rounds = 50;
    board.cpld().stick(0x23, 0x80, 0x80);
    std::vector<std::thread> workers;
    for (uint32_t offset = 0x20; offset < 0x24; ++offset) {
        workers.emplace_back([this, offset] {
            for (unsigned n = 0; n < rounds; ++n) {
                window[offset] = static_cast<uint8_t>(n + 1);
            }
        });
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    window[0x30] = 1; // the last word: no step is under way any more
    for (uint32_t offset = 0x20; offset < 0x24; ++offset) {
        SCOPED_TRACE(offset);
        auto stores = board.trace.of(Operation::store, "cpld");
        std::erase_if(stores, [offset](const Event &event) { return event.address != offset; });
        ASSERT_FALSE(stores.empty());
        EXPECT_EQ(stores.back().result & 0x7F, rounds);
        EXPECT_EQ(reg(offset), offset == 0x23 ? (rounds | 0x80) : rounds);
    }
}

// The window's registers are bytes; an access of more is one store of each.
TEST_F(WindowWatchTest, AWideStoreReachesEachOfItsRegisters)
{
    board.cpld().stick(0x42, 0x0F, 0x05);
    *reinterpret_cast<volatile uint32_t *>(const_cast<uint8_t *>(window) + 0x40) = 0x44332211;
    EXPECT_EQ(steps(), (Names{"store 40=11", "store 41=22", "store 42=33", "store 43=44"}));
    EXPECT_EQ(reg(0x40), 0x11);
    EXPECT_EQ(reg(0x41), 0x22);
    EXPECT_EQ(reg(0x42), 0x35);
    EXPECT_EQ(reg(0x43), 0x44);
}

TEST_F(WindowWatchTest, AForkedChildReachesTheRegisters)
{
    EXPECT_TRUE(survives([this] { window[0x20] = 0x77; }));
    EXPECT_EQ(reg(0x20), 0x77);
}

TEST_F(WindowWatchTest, AStalePointerFaults)
{
    EXPECT_TRUE(survives([this] { window[0x20] = 1; }));
    munmap(const_cast<uint8_t *>(window), CPLD_WINDOW_SIZE);
    EXPECT_FALSE(survives([this] { window[0x20] = 1; }));
    EXPECT_FALSE(survives([this] { static_cast<void>(window[0x20]); }));
}

TEST_F(WindowWatchTest, OtherFaultsStillEndTheProgram)
{
    EXPECT_FALSE(survives([] { *static_cast<volatile uint8_t *>(nullptr) = 1; }));
    EXPECT_FALSE(survives([] { raise(SIGTRAP); }));
}

} // namespace
} // namespace board_test
