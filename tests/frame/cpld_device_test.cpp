// The CPLD device: opening, mapping, closing.

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>

#include <thread>

#include "tests/support/board_test.h"
#include "tests/support/descriptor_zero.h"
#include "virtual_board/shim/window_watch.h"

namespace board_test {
namespace {

using virtual_board::shim::is_retired;

constexpr uint32_t scratch = CPLD_REG_RESERVED_0;

class CpldDeviceTest : public BoardTest {
protected:
    // The window leads to the registers, both ways.
    void expect_window_works()
    {
        uint8_t value = 0;
        set_reg(scratch, 0x3C);
        EXPECT_EQ(get_cpld_reg(scratch, &value), 0);
        EXPECT_EQ(value, 0x3C);
        EXPECT_EQ(set_cpld_reg(scratch, 0xC3), 0);
        EXPECT_EQ(reg(scratch), 0xC3);
    }

    void expect_opens_and_closes()
    {
        EXPECT_EQ(cpld_init(), 0);
        EXPECT_EQ(output(), "");
        expect_window_works();
        EXPECT_EQ(cpld_clean(), 0);
    }

    // Steps but for single loads, which not every machine shows.
    Names steps_without_loads() const
    {
        Names all = steps();
        std::erase_if(all, [](const std::string &step) { return step.starts_with("load"); });
        return all;
    }
};

TEST_F(CpldDeviceTest, OpensMapsAndReadsTheProductId)
{
    set_reg(CPLD_REG_PRODUCT_ID, 0x02);
    EXPECT_EQ(cpld_init(), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(product_id, 0x02);
    EXPECT_EQ(steps_without_loads(), (Names{"lock cpld_open_lock", "open cpld", "map cpld",
                                            "lock cpld_reg_lock", "unlock cpld_reg_lock"}));
    EXPECT_EQ(board.trace.of(Operation::open).at(0).address, unsigned{O_RDWR});
    EXPECT_EQ(board.trace.of(Operation::map).at(0).count, 4096U);
    EXPECT_EQ(held_locks(), Names{"cpld_open_lock"});
    expect_window_works();
    EXPECT_EQ(cpld_clean(), 0);
}

TEST_F(CpldDeviceTest, TheProductIdIsTheOnlyRegisterRead)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single loads are not seen on this machine";
    }
    // 0x81 asks for the chassis id too, which this board does not have.
    for (const uint8_t id : Bytes{0x00, 0x02, 0x80, 0x81, 0x82, 0xFF}) {
        SCOPED_TRACE(id);
        set_reg(CPLD_REG_PRODUCT_ID, id);
        chassis_id = 0x5A;
        clear_trace();
        EXPECT_EQ(cpld_init(), 0);
        EXPECT_EQ(product_id, id);
        EXPECT_EQ(chassis_id, 0x5A);
        EXPECT_EQ(steps(), (Names{"lock cpld_open_lock", "open cpld", "map cpld",
                                  "lock cpld_reg_lock", "load 03", "unlock cpld_reg_lock"}));
        EXPECT_EQ(cpld_clean(), 0);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldDeviceTest, CloseUnmapsClosesUnlocksAndResetsNothing)
{
    ASSERT_EQ(cpld_init(), 0);
    const uint8_t *window = g_cpld_base_addr;
    clear_trace();
    EXPECT_EQ(cpld_clean(), 0);
    EXPECT_EQ(steps(), (Names{"unmap cpld", "close cpld", "unlock cpld_open_lock"}));
    EXPECT_EQ(board.trace.of(Operation::unmap).at(0).count, 4096U);
    EXPECT_EQ(g_cpld_base_addr, window);
    EXPECT_TRUE(is_retired(window));
    EXPECT_EQ(product_id, 0x02);
    EXPECT_EQ(output(), "");
}

TEST_F(CpldDeviceTest, SecondOpenIsRefusedAndTheFirstStaysUsable)
{
    ASSERT_EQ(cpld_init(), 0);
    const uint8_t *window = g_cpld_base_addr;
    clear_trace();
    EXPECT_EQ(cpld_init(), -4);
    EXPECT_EQ(output(), "cpld_init: cpld device already opened\n");
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(g_cpld_base_addr, window);
    EXPECT_EQ(held_locks(), Names{"cpld_open_lock"});
    expect_window_works();
    EXPECT_EQ(cpld_clean(), 0);
}

TEST_F(CpldDeviceTest, FailedOpenLeavesTheLockFree)
{
    for (const int error : {ENOENT, EACCES, ENODEV, EBUSY, EMFILE}) {
        SCOPED_TRACE(error);
        board.faults.add({.name = "no device",
                          .device = "cpld",
                          .operation = Operation::open,
                          .kind = Fault::Kind::error,
                          .value = error});
        product_id = 0x77;
        clear_trace();
        EXPECT_EQ(cpld_init(), -3);
        EXPECT_EQ(output(), "cpld_init: cann't open device\n");
        EXPECT_EQ(steps(), (Names{"lock cpld_open_lock", "open cpld", "unlock cpld_open_lock"}));
        EXPECT_EQ(held_locks(), Names{});
        EXPECT_EQ(product_id, 0x77);
        expect_opens_and_closes();
    }
}

TEST_F(CpldDeviceTest, MissingNodeIsAFailedOpen)
{
    board.detach("/dev/ipmc_cpld");
    EXPECT_EQ(cpld_init(), -3);
    EXPECT_EQ(output(), "cpld_init: cann't open device\n");
    EXPECT_EQ(held_locks(), Names{});
    EXPECT_EQ(g_cpld_base_addr, nullptr);
}

TEST_F(CpldDeviceTest, NullMappingClosesTheDevice)
{
    board.faults.add({.name = "null window",
                      .device = "cpld",
                      .operation = Operation::map,
                      .kind = Fault::Kind::result,
                      .value = 0});
    EXPECT_EQ(cpld_init(), -2);
    EXPECT_EQ(output(), "cpld_init: map addr failed\n");
    EXPECT_EQ(steps(), (Names{"lock cpld_open_lock", "open cpld", "map cpld", "close cpld",
                              "unlock cpld_open_lock"}));
    EXPECT_EQ(g_cpld_base_addr, nullptr);
    EXPECT_EQ(board.open_files(), 0U);
    expect_opens_and_closes();
}

TEST_F(CpldDeviceTest, AnyOtherAddressOfTheMappingIsTaken)
{
    auto *elsewhere = static_cast<uint8_t *>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(elsewhere, MAP_FAILED);
    elsewhere[CPLD_REG_PRODUCT_ID] = 0x42;
    board.faults.add({.name = "other window",
                      .device = "cpld",
                      .operation = Operation::map,
                      .kind = Fault::Kind::result,
                      .value = reinterpret_cast<intptr_t>(elsewhere)});
    EXPECT_EQ(cpld_init(), 0);
    EXPECT_EQ(g_cpld_base_addr, elsewhere);
    EXPECT_EQ(product_id, 0x42);
    EXPECT_EQ(cpld_clean(), 0); // unmaps it
}

// The all-ones address is no null address: the product id is read through it.
TEST_F(CpldDeviceTest, MapFailedIsNotDetected)
{
    board.faults.add({.name = "no window",
                      .device = "cpld",
                      .operation = Operation::map,
                      .kind = Fault::Kind::error,
                      .value = ENOMEM});
    EXPECT_DEATH(cpld_init(), "");
}

TEST_F(CpldDeviceTest, DescriptorZeroIsAnOpenDevice)
{
    const DescriptorZero zero;
    EXPECT_EQ(cpld_init(), 0);
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(descriptor_is_open(0));
    EXPECT_EQ(held_locks(), Names{"cpld_open_lock"});
    expect_window_works();
    EXPECT_EQ(cpld_clean(), 0);
    EXPECT_FALSE(descriptor_is_open(0));
}

TEST_F(CpldDeviceTest, CloseWithoutOpenStillUnmapsClosesAndUnlocks)
{
    const DescriptorZero zero;
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    clear_trace();
    EXPECT_EQ(cpld_clean(), 0);
    EXPECT_EQ(steps(), (Names{"unmap cpld", "unlock cpld_open_lock"}));
    EXPECT_FALSE(descriptor_is_open(0)) << "the descriptor starts as 0 and is closed all the same";
    EXPECT_EQ(output(), "");
    expect_opens_and_closes();
}

TEST_F(CpldDeviceTest, SecondCloseUnmapsAndUnlocksAgain)
{
    ASSERT_EQ(cpld_init(), 0);
    EXPECT_EQ(cpld_clean(), 0);
    clear_trace();
    EXPECT_EQ(cpld_clean(), 0);
    EXPECT_EQ(steps(), (Names{"unmap cpld", "unlock cpld_open_lock"}));
    expect_opens_and_closes();
}

TEST_F(CpldDeviceTest, AnotherThreadMayClose)
{
    ASSERT_EQ(cpld_init(), 0);
    int result = -1;
    std::thread([&result] { result = cpld_clean(); }).join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(held_locks(), Names{});
    expect_opens_and_closes();
}

} // namespace
} // namespace board_test
