// FPGA registers, hardware watchdog, jiffies and the CPLD's JTAG reset.

#include <limits.h>

#include "tests/support/board_test.h"
#include "tests/support/driver_answers.h"

namespace board_test {
namespace {

constexpr uint8_t register_command = 0x61;
constexpr uint32_t untouched = 0xA5A5A5A5;

class FpgaRegistersTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    void driver_answers(Operation operation, std::optional<uint32_t> address, int result)
    {
        board.faults.clear();
        board.faults.add(fpga_answers(operation, address, result));
    }

    // The only write, or read, that reached the FPGA since clear_trace().
    Event only(Operation operation)
    {
        const auto events = board.trace.of(operation, "fpga");
        EXPECT_EQ(events.size(), 1U);
        return events.empty() ? Event{} : events.front();
    }
};

TEST_F(FpgaRegistersTest, WriteSendsAddressAndValueLowByteFirst)
{
    const uint32_t value = 0x11223344;
    EXPECT_EQ(set_fpga_regester(0x1234, &value), 0);

    const Event write = only(Operation::write);
    EXPECT_EQ(write.bytes, (Bytes{0x61, 0x34, 0x12, 0x44, 0x33, 0x22, 0x11}));
    EXPECT_EQ(write.count, 1U);
    EXPECT_EQ(board.fpga().get_register(0x1234), 0x11223344U);
    EXPECT_EQ(value, 0x11223344U);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_register_lock", "write fpga 61", "unlock fpga_register_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRegistersTest, ReadSendsTheAddressAndTakesTheValueLowByteFirst)
{
    board.fpga().set_register(0x1234, 0x89ABCDEF);
    uint32_t value = untouched;
    EXPECT_EQ(get_fpga_regester(0x1234, &value), 0);

    const Event read = only(Operation::read);
    EXPECT_EQ(read.bytes, (Bytes{0x61, 0x34, 0x12, 0, 0, 0, 0}));
    EXPECT_EQ(read.count, 1U);
    EXPECT_EQ(value, 0x89ABCDEFU);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_register_lock", "read fpga 61", "unlock fpga_register_lock"}));
    EXPECT_EQ(output(), "");
}

// The check is signed: what is negative passes, and its low half is sent.
TEST_F(FpgaRegistersTest, AddressesUpToFfffPassAndNegativeOnesToo)
{
    constexpr struct {
        int32_t addr;
        uint16_t sent;
    } cases[] = {
        {0, 0},       {1, 1},         {0xFFFF, 0xFFFF},   {-1, 0xFFFF},
        {-0xFFFF, 1}, {INT32_MIN, 0}, {INT32_MIN + 5, 5},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.addr);
        const uint32_t value = 0x0C0FFEE0U + c.sent;
        clear_trace();
        EXPECT_EQ(set_fpga_regester(c.addr, &value), 0);
        const Event write = only(Operation::write);
        ASSERT_EQ(write.bytes.size(), 7U);
        EXPECT_EQ(write.bytes[1] | write.bytes[2] << 8, c.sent);
        EXPECT_EQ(board.fpga().get_register(c.sent), value);

        uint32_t back = untouched;
        EXPECT_EQ(get_fpga_regester(c.addr, &back), 0);
        EXPECT_EQ(back, value);
    }
}

TEST_F(FpgaRegistersTest, AddressesAboveFfffAreRefusedWithoutALock)
{
    for (const int32_t addr : {0x10000, 0x10001, INT32_MAX}) {
        SCOPED_TRACE(addr);
        uint32_t value = untouched;
        EXPECT_EQ(set_fpga_regester(addr, &value), -2);
        EXPECT_EQ(get_fpga_regester(addr, &value), -2);
        EXPECT_EQ(value, untouched);
    }
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRegistersTest, NullValueIsRefusedWithoutALock)
{
    EXPECT_EQ(set_fpga_regester(1, nullptr), -2);
    EXPECT_EQ(get_fpga_regester(1, nullptr), -2);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRegistersTest, WriteFailsOnZeroAlone)
{
    const uint32_t value = 1;
    for (const Mapped c :
         {Mapped{-1, 0}, {0, -5}, {1, 0}, {7, 0}, {9999, 0}, {10000, 0}, {10005, 0}}) {
        SCOPED_TRACE(c.driver);
        driver_answers(Operation::write, register_command, c.driver);
        EXPECT_EQ(set_fpga_regester(2, &value), c.expected);
    }
    EXPECT_EQ(board.fpga().get_register(2), 0U);
}

// What the buffer holds is stored whatever the driver answers: here the request
// itself, as the device has not seen it.
TEST_F(FpgaRegistersTest, ReadFailsBelowOneAndStoresFourBytesAllTheSame)
{
    for (const Mapped c :
         {Mapped{-1, -5}, {0, -5}, {1, 0}, {4, 0}, {9999, 0}, {10000, 0}, {10005, 0}}) {
        SCOPED_TRACE(c.driver);
        driver_answers(Operation::read, register_command, c.driver);
        uint32_t value = untouched;
        EXPECT_EQ(get_fpga_regester(0x1234, &value), c.expected);
        EXPECT_EQ(value, 0x00123461U);
    }
}

TEST_F(FpgaRegistersTest, ReadThatFailsLateStoresTheAnswer)
{
    board.fpga().set_register(3, 0xDEADBEEF);
    for (const int result : {-EIO, 0}) {
        board.faults.clear();
        board.faults.add({.name = "late",
                          .device = "fpga",
                          .operation = Operation::read,
                          .kind = Fault::Kind::late_result,
                          .value = result});
        uint32_t value = untouched;
        EXPECT_EQ(get_fpga_regester(3, &value), -5);
        EXPECT_EQ(value, 0xDEADBEEFU);
    }
}

struct NamedSetter {
    const char *name;
    int (*set)(uint32_t);
    uint16_t address;
    bool always_zero;
};

void PrintTo(const NamedSetter &setter, std::ostream *out)
{
    *out << setter.name;
}

constexpr NamedSetter named_setters[] = {
    {"board_id", set_fpga_reg_board_id, 450, false},
    {"psu_presenece", set_fpga_reg_psu_presenece, 449, false},
    {"read_power_enable", set_fpga_reg_read_power_enable, 448, false},
    {"psu_active_standby", set_fpga_reg_psu_active_standby, 468, true},
    {"me_addr", set_fpga_reg_me_addr, 316, false},
    {"ina220_addr", set_fpga_reg_ina220_addr, 318, false},
    {"resistance_param", set_fpga_reg_resistance_param, 499, false},
};

class NamedSetterTest : public FpgaRegistersTest,
                        public ::testing::WithParamInterface<NamedSetter> {};

TEST_P(NamedSetterTest, WritesTheArgumentToItsRegisterAlone)
{
    const uint16_t address = GetParam().address;
    for (const uint32_t value : {0U, 1U, 0x80000000U, 0x01020304U, UINT32_MAX}) {
        clear_trace();
        EXPECT_EQ(GetParam().set(value), 0);
        Bytes record = {0x61, static_cast<uint8_t>(address), static_cast<uint8_t>(address >> 8)};
        for (unsigned i = 0; i < 4; ++i) {
            record.push_back(static_cast<uint8_t>(value >> (8 * i)));
        }
        EXPECT_EQ(only(Operation::write).bytes, record);
        EXPECT_EQ(only(Operation::write).count, 1U);
        EXPECT_EQ(steps(),
                  (Names{"lock fpga_register_lock", "write fpga 61", "unlock fpga_register_lock"}));
        EXPECT_EQ(board.fpga().get_register(address), value);
    }
    EXPECT_EQ(output(), "");
}

TEST_P(NamedSetterTest, FailsWhenTheDriverAnswersZero)
{
    const int failed = GetParam().always_zero ? 0 : -5;
    for (const Mapped c : {Mapped{-1, 0}, {0, failed}, {1, 0}, {9999, 0}, {10000, 0}, {10005, 0}}) {
        SCOPED_TRACE(c.driver);
        driver_answers(Operation::write, register_command, c.driver);
        EXPECT_EQ(GetParam().set(1), c.expected);
    }
    EXPECT_EQ(output(), "");
}

INSTANTIATE_TEST_SUITE_P(All, NamedSetterTest, ::testing::ValuesIn(named_setters), ByName());

TEST_F(FpgaRegistersTest, PsuAddressIsNotFitted)
{
    EXPECT_EQ(set_fpga_reg_psu_addr(0), 0);
    EXPECT_EQ(set_fpga_reg_psu_addr(UINT32_MAX), 0);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRegistersTest, JiffiesAreAskedWithoutALock)
{
    board.clock.advance_us(12345 * 10000);
    uint32_t jiffies = untouched;
    EXPECT_EQ(get_jiffies(&jiffies), 0);
    EXPECT_EQ(jiffies, 12345U);
    EXPECT_EQ(steps(), Names{"ioctl fpga 80046b06"});
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRegistersTest, JiffiesWithoutAPlaceAreRefused)
{
    EXPECT_EQ(get_jiffies(nullptr), -2);
    EXPECT_EQ(output(), "get_jiffies:invalid argument\r\n");
    EXPECT_EQ(steps(), Names{});
}

// The driver fills its word and answers something else than 0.
TEST_F(FpgaRegistersTest, JiffiesAreStoredOnZeroAlone)
{
    board.clock.advance_us(1000000);
    for (const int result : {-EIO, 1, 9999, 10000, 10005}) {
        SCOPED_TRACE(result);
        board.faults.add({.name = "late",
                          .device = "fpga",
                          .operation = Operation::ioctl,
                          .address = 0x80046B06,
                          .kind = Fault::Kind::late_result,
                          .value = result});
        uint32_t jiffies = untouched;
        EXPECT_EQ(get_jiffies(&jiffies), result < 0 ? -1 : result);
        EXPECT_EQ(jiffies, untouched);
    }
    EXPECT_EQ(output(), "");
}

struct ZeroWordRequest {
    const char *name;
    int (*issue)();
    uint32_t request;
    const char *step;
};

void PrintTo(const ZeroWordRequest &request, std::ostream *out)
{
    *out << request.name;
}

constexpr ZeroWordRequest zero_word_requests[] = {
    {"clear_hardware_watchdog", clear_hardware_watchdog, 0x40046B07, "ioctl fpga 40046b07"},
    {"stop_hardware_watchdog", stop_hardware_watchdog, 0x40046B08, "ioctl fpga 40046b08"},
    {"reset_cpld_jtag", reset_cpld_jtag, 0x40046B09, "ioctl fpga 40046b09"},
};

class ZeroWordRequestTest : public FpgaRegistersTest,
                            public ::testing::WithParamInterface<ZeroWordRequest> {};

TEST_P(ZeroWordRequestTest, SendsAZeroWordUnderTheRegisterLock)
{
    EXPECT_EQ(GetParam().issue(), 0);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_register_lock", GetParam().step, "unlock fpga_register_lock"}));
    EXPECT_EQ(only(Operation::ioctl).bytes, (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(output(), "");
}

TEST_P(ZeroWordRequestTest, ReturnsTheDriversAnswerUnchanged)
{
    for (const int result : {-1, 0, 1, 9999, 10000, 10005}) {
        SCOPED_TRACE(result);
        driver_answers(Operation::ioctl, GetParam().request, result);
        EXPECT_EQ(GetParam().issue(), result);
    }
    EXPECT_EQ(output(), "");
}

INSTANTIATE_TEST_SUITE_P(All, ZeroWordRequestTest, ::testing::ValuesIn(zero_word_requests),
                         ByName());

TEST_F(FpgaRegistersTest, WatchdogAndJtagRequestsReachTheirHardware)
{
    clear_hardware_watchdog();
    clear_hardware_watchdog();
    EXPECT_EQ(board.fpga().watchdog_kicks(), 2U);
    EXPECT_EQ(board.fpga().jtag_resets(), 0U);
    EXPECT_TRUE(board.fpga().watchdog_running());

    reset_cpld_jtag();
    EXPECT_EQ(board.fpga().jtag_resets(), 1U);
    EXPECT_TRUE(board.fpga().watchdog_running());

    stop_hardware_watchdog();
    EXPECT_FALSE(board.fpga().watchdog_running());
    EXPECT_EQ(board.fpga().watchdog_kicks(), 2U);
}

} // namespace
} // namespace board_test
