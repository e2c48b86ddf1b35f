// Device handles of the FPGA, the I2C adapter and the RTC, and the FPGA's
// housekeeping requests.

#include <errno.h>
#include <fcntl.h>
#include <limits.h>

#include <thread>

#include "tests/support/board_test.h"
#include "tests/support/descriptor_zero.h"

namespace board_test {
namespace {

using virtual_board::DriverWord;
using virtual_board::Fpga;
using virtual_board::OpenFile;

constexpr uint8_t untouched = 0xE7;

class DeviceHandlesTest : public BoardTest {
protected:
    void fail_open(const char *device, int error)
    {
        board.faults.add({.name = "cannot open",
                          .device = device,
                          .operation = Operation::open,
                          .kind = Fault::Kind::error,
                          .value = error});
    }
};

// ---- FPGA and I2C ----

TEST_F(DeviceHandlesTest, FpgaOpensBothNodesReadWrite)
{
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(steps(), (Names{"lock fpga_open_lock", "open fpga", "open i2c-0"}));
    for (const Event &event : board.trace.of(Operation::open)) {
        EXPECT_EQ(event.address, unsigned{O_RDWR});
    }
    EXPECT_EQ(held_locks(), Names{"fpga_open_lock"});
    EXPECT_TRUE(descriptor_is_open(dev_handle));
    EXPECT_TRUE(descriptor_is_open(dev_handle_i2c));
    EXPECT_EQ(output(), "");
    EXPECT_EQ(fpga_clean(), 0);
}

TEST_F(DeviceHandlesTest, FpgaCleanClosesBothUnlocksAndKeepsTheHandles)
{
    ASSERT_EQ(fpga_Init(), 0);
    const int fpga = dev_handle;
    const int i2c = dev_handle_i2c;
    clear_trace();
    EXPECT_EQ(fpga_clean(), 0);
    EXPECT_EQ(steps(), (Names{"close fpga", "close i2c-0", "unlock fpga_open_lock"}));
    EXPECT_EQ(dev_handle, fpga);
    EXPECT_EQ(dev_handle_i2c, i2c);
    EXPECT_EQ(output(), "");
}

TEST_F(DeviceHandlesTest, SecondFpgaOpenIsRefusedAndKeepsTheFirst)
{
    ASSERT_EQ(fpga_Init(), 0);
    const int fpga = dev_handle;
    const int i2c = dev_handle_i2c;
    clear_trace();
    EXPECT_EQ(fpga_Init(), -4);
    EXPECT_EQ(output(), "fpga_init: fpga device already opened\n");
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(dev_handle, fpga);
    EXPECT_EQ(dev_handle_i2c, i2c);
    EXPECT_EQ(held_locks(), Names{"fpga_open_lock"});
    EXPECT_EQ(set_fpga_com_state(1), 0) << "the first descriptors still lead to the FPGA";
    EXPECT_EQ(fpga_clean(), 0);
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(fpga_clean(), 0);
}

TEST_F(DeviceHandlesTest, FailedFpgaOpenDoesNotTryI2cAndLeavesTheLockFree)
{
    dev_handle_i2c = 123;
    for (const int error : {ENOENT, EACCES, EBUSY}) {
        SCOPED_TRACE(error);
        fail_open("fpga", error);
        clear_trace();
        EXPECT_EQ(fpga_Init(), -3);
        EXPECT_EQ(output(), "fpga_init: cann't open device\n");
        EXPECT_EQ(steps(), (Names{"lock fpga_open_lock", "open fpga", "unlock fpga_open_lock"}));
        EXPECT_EQ(dev_handle, -1);
        EXPECT_EQ(dev_handle_i2c, 123);
        EXPECT_EQ(held_locks(), Names{});
    }
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(fpga_clean(), 0);
}

TEST_F(DeviceHandlesTest, FailedI2cOpenLeavesTheFpgaOpenAndTheLockFree)
{
    board.detach("/dev/i2c-0");
    EXPECT_EQ(fpga_Init(), -3);
    EXPECT_EQ(output(), "fpga_init: cann't open device\n");
    EXPECT_EQ(steps(), (Names{"lock fpga_open_lock", "open fpga", "open /dev/i2c-0",
                              "unlock fpga_open_lock"}));
    EXPECT_EQ(dev_handle_i2c, -1);
    EXPECT_EQ(board.open_files(), 1U);
    EXPECT_EQ(set_fpga_com_state(7), 0);
    EXPECT_EQ(board.fpga().communication_state(), 7);
    EXPECT_EQ(fpga_clean(), 0) << "closes the FPGA";
}

TEST_F(DeviceHandlesTest, FpgaOpenAfterAFailedI2cOpenOpensTheFpgaAnew)
{
    fail_open("i2c-0", EIO);
    EXPECT_EQ(fpga_Init(), -3);
    const int first = dev_handle;
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_NE(dev_handle, first);
    EXPECT_EQ(board.open_files(), 3U);
    EXPECT_EQ(fpga_clean(), 0);
    leaves_open(1);
    leaves_descriptors(1);
}

TEST_F(DeviceHandlesTest, DescriptorZeroIsAnOpenFpga)
{
    const DescriptorZero zero;
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(dev_handle, 0);
    EXPECT_EQ(set_fpga_com_state(9), 0);
    EXPECT_EQ(board.fpga().communication_state(), 9);
    EXPECT_EQ(fpga_clean(), 0);
    EXPECT_FALSE(descriptor_is_open(0));
    EXPECT_EQ(output(), "");
}

// An I2C adapter that finds descriptor 0 free when it is opened.
class AdapterAtZero : public virtual_board::Device {
public:
    AdapterAtZero() : Device("i2c-0") {}
    long open(OpenFile &) override
    {
        close(0);
        return 0;
    }
};

TEST_F(DeviceHandlesTest, DescriptorZeroIsAnOpenI2cAdapter)
{
    const DescriptorZero zero;
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    board.attach("/dev/i2c-0", std::make_shared<AdapterAtZero>());
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(dev_handle_i2c, 0);
    EXPECT_EQ(held_locks(), Names{"fpga_open_lock"});
    EXPECT_EQ(fpga_clean(), 0);
    EXPECT_FALSE(descriptor_is_open(0));
    EXPECT_EQ(output(), "");
}

TEST_F(DeviceHandlesTest, FpgaCleanWithoutOpenClosesDescriptorZeroAndUnlocks)
{
    const DescriptorZero zero;
    ASSERT_EQ(open("/dev/null", O_RDONLY), 0);
    EXPECT_EQ(fpga_clean(), 0);
    EXPECT_EQ(steps(), Names{"unlock fpga_open_lock"});
    EXPECT_FALSE(descriptor_is_open(0));
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(fpga_clean(), 0);
}

TEST_F(DeviceHandlesTest, AnotherThreadMayClose)
{
    ASSERT_EQ(fpga_Init(), 0);
    int result = -1;
    std::thread([&result] { result = fpga_clean(); }).join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(held_locks(), Names{});
    EXPECT_EQ(fpga_Init(), 0);
    EXPECT_EQ(fpga_clean(), 0);
}

// ---- RTC ----

TEST_F(DeviceHandlesTest, RtcOpensUnderItsLock)
{
    EXPECT_EQ(rtc_init(), 0);
    EXPECT_EQ(steps(), (Names{"lock rtc_open_lock", "open rtc", "unlock rtc_open_lock"}));
    EXPECT_EQ(board.trace.of(Operation::open).at(0).address, unsigned{O_RDWR});
    EXPECT_TRUE(descriptor_is_open(dev_handle_rtc));
    EXPECT_EQ(output(), "");
    close(dev_handle_rtc);
}

TEST_F(DeviceHandlesTest, RtcOpensAnewEachTime)
{
    EXPECT_EQ(rtc_init(), 0);
    const int first = dev_handle_rtc;
    EXPECT_EQ(rtc_init(), 0);
    EXPECT_NE(dev_handle_rtc, first);
    EXPECT_TRUE(descriptor_is_open(first));
    EXPECT_EQ(output(), "");
    leaves_open(2);
    leaves_descriptors(2);
}

TEST_F(DeviceHandlesTest, FailedRtcOpenLeavesTheLockFree)
{
    for (const int error : {ENOENT, EBUSY}) {
        SCOPED_TRACE(error);
        fail_open("rtc", error);
        clear_trace();
        EXPECT_EQ(rtc_init(), -3);
        EXPECT_EQ(output(), "rtc_init: cann't open device\n");
        EXPECT_EQ(steps(), (Names{"lock rtc_open_lock", "open rtc", "unlock rtc_open_lock"}));
        EXPECT_EQ(dev_handle_rtc, -1);
    }
    EXPECT_EQ(rtc_init(), 0);
    close(dev_handle_rtc);
}

TEST_F(DeviceHandlesTest, DescriptorZeroIsAnOpenRtc)
{
    const DescriptorZero zero;
    EXPECT_EQ(rtc_init(), 0);
    EXPECT_EQ(dev_handle_rtc, 0);
    EXPECT_EQ(output(), "");
    close(dev_handle_rtc);
}

// An RTC during whose opening somebody else opens it.
class BusyRtc : public virtual_board::Device {
public:
    BusyRtc() : Device("rtc") {}
    long open(OpenFile &) override
    {
        second_result = rtc_init();
        return 0;
    }
    int second_result = 0;
};

TEST_F(DeviceHandlesTest, RtcOpenDuringAnotherIsRefused)
{
    const auto rtc = std::make_shared<BusyRtc>();
    board.attach("/dev/rtc", rtc);
    EXPECT_EQ(rtc_init(), 0);
    EXPECT_EQ(rtc->second_result, -4);
    EXPECT_EQ(output(), "rtc_init: rtc device already opened\n");
    EXPECT_EQ(board.trace.of(Operation::open).size(), 1U);
    close(dev_handle_rtc);
}

// ---- housekeeping requests ----

class FpgaRequestsTest : public DeviceHandlesTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // The request was the only one, under the request lock alone.
    void expect_request(const char *request)
    {
        EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", std::string("ioctl fpga ") + request,
                                  "unlock fpga_request_lock"}));
        clear_trace();
    }

    void fault(Fault::Kind kind, long long value, Operation operation = Operation::ioctl)
    {
        board.faults.add({.name = "driver",
                          .device = "fpga",
                          .operation = operation,
                          .kind = kind,
                          .value = value});
    }
};

struct ByteGetter {
    const char *name;
    int (*get)(uint8_t *);
    DriverWord Fpga::*word;
    const char *request;
};

constexpr ByteGetter byte_getters[] = {
    {"self test", get_fpga_selftest, &Fpga::selftest, "80046b00"},
    {"version", get_fpga_version, &Fpga::version, "80046b01"},
    {"DDR state", get_fpga_ddr_state, &Fpga::ddr_state, "80046b03"},
};

constexpr int32_t words[] = {0, 1, 0x7F, 0x80, 0xFF, 0x100, 0x1234, 0x7FFFFFFF, -1, -128, INT_MIN};

TEST_F(FpgaRequestsTest, GettersStoreTheLowByte)
{
    for (const ByteGetter &row : byte_getters) {
        for (const int32_t word : words) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(word));
            board.fpga().*row.word = {word, 0};
            auto got = static_cast<uint8_t>(~word);
            EXPECT_EQ(row.get(&got), 0);
            EXPECT_EQ(got, static_cast<uint8_t>(word));
            expect_request(row.request);
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRequestsTest, GettersReturnAnyOtherResultAndStoreNothing)
{
    for (const ByteGetter &row : byte_getters) {
        for (const int result : {1, 2, 4, 9999, 10000, 10005, INT_MAX}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(result));
            board.fpga().*row.word = {0x55, result};
            uint8_t got = untouched;
            EXPECT_EQ(row.get(&got), result);
            EXPECT_EQ(got, untouched);
            expect_request(row.request);
        }
        SCOPED_TRACE(row.name);
        uint8_t got = untouched;
        fault(Fault::Kind::error, EIO);
        EXPECT_EQ(row.get(&got), -1);
        EXPECT_EQ(got, untouched);
        expect_request(row.request);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRequestsTest, GettersBeginWithAZeroedWord)
{
    for (const ByteGetter &row : byte_getters) {
        SCOPED_TRACE(row.name);
        board.fpga().*row.word = {0x55, 0};
        fault(Fault::Kind::result, 0); // a driver that fills nothing in
        uint8_t got = untouched;
        EXPECT_EQ(row.get(&got), 0);
        EXPECT_EQ(got, 0);
    }
}

TEST_F(FpgaRequestsTest, GettersRefuseNull)
{
    for (const ByteGetter &row : byte_getters) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.get(nullptr), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
    }
    EXPECT_EQ(board.trace.count(Operation::ioctl, "fpga"), 0U);
}

TEST_F(FpgaRequestsTest, StartNeedsResultAndWordZero)
{
    for (const int result : {0, 1, 10005}) {
        for (const int32_t word : words) {
            SCOPED_TRACE(std::to_string(result) + ", " + std::to_string(word));
            board.fpga().start = {word, result};
            const bool started = result == 0 && word == 0;
            EXPECT_EQ(fpga_start(), started ? 0 : -5);
            EXPECT_EQ(output(),
                      started ? "" : "fpga_start :error number=" + std::to_string(word) + "\r\n");
            expect_request("80046b04");
        }
    }
}

TEST_F(FpgaRequestsTest, FailedStartPrintsTheWord)
{
    board.fpga().start = {3, -EIO};
    EXPECT_EQ(fpga_start(), -5);
    EXPECT_EQ(output(), "fpga_start :error number=3\r\n");
    fault(Fault::Kind::error, EIO); // the word stays as it was passed in
    EXPECT_EQ(fpga_start(), -5);
    EXPECT_EQ(output(), "fpga_start :error number=0\r\n");
}

TEST_F(FpgaRequestsTest, DdrTestPrintsTheWordOfAFailedRequestOnly)
{
    for (const int result : {0, 1, 10005}) {
        for (const int32_t word : words) {
            SCOPED_TRACE(std::to_string(result) + ", " + std::to_string(word));
            board.fpga().ddr_test = {word, result};
            EXPECT_EQ(set_fpga_ddr_test_start(), result);
            EXPECT_EQ(output(), result == 0 ? "" : "error number=" + std::to_string(word) + "\r\n");
            expect_request("80046b02");
        }
    }
    fault(Fault::Kind::error, EIO);
    EXPECT_EQ(set_fpga_ddr_test_start(), -1);
    EXPECT_EQ(output(), "error number=0\r\n");
}

TEST_F(FpgaRequestsTest, CommunicationStateIsARecordOfTwoBytes)
{
    for (unsigned state = 0; state < 256; ++state) {
        SCOPED_TRACE(state);
        clear_trace();
        EXPECT_EQ(set_fpga_com_state(static_cast<uint8_t>(state)), 0);
        EXPECT_EQ(board.fpga().communication_state(), state);
        EXPECT_EQ(steps(),
                  (Names{"lock fpga_request_lock", "write fpga 80", "unlock fpga_request_lock"}));
        const Event record = board.trace.of(Operation::write).at(0);
        EXPECT_EQ(record.count, 2U);
        EXPECT_EQ(record.bytes, (Bytes{0x80, static_cast<uint8_t>(state)}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(FpgaRequestsTest, CommunicationStateReturnsAndPrintsAnyOtherResult)
{
    struct Answer {
        Fault::Kind kind;
        int value;
        int result;
        const char *hex;
    };
    static constexpr Answer answers[] = {
        {Fault::Kind::result, 1, 1, "0x1"},          {Fault::Kind::result, 2, 2, "0x2"},
        {Fault::Kind::result, 255, 255, "0xff"},     {Fault::Kind::result, 10005, 10005, "0x2715"},
        {Fault::Kind::error, EIO, -1, "0xffffffff"},
    };
    for (const Answer &row : answers) {
        SCOPED_TRACE(row.hex);
        fault(row.kind, row.value, Operation::write);
        clear_trace();
        EXPECT_EQ(set_fpga_com_state(1), row.result);
        EXPECT_EQ(output(), std::string("set com state fails retv=") + row.hex + ".\r\n");
        EXPECT_EQ(steps(),
                  (Names{"lock fpga_request_lock", "write fpga 80", "unlock fpga_request_lock"}));
    }
}

} // namespace
} // namespace board_test
