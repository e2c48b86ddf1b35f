// The converter that samples the battery.

#include <fcntl.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::Adc;

constexpr uint32_t request_config = 0x401C4101;
constexpr uint32_t request_channel = 0x40104102;

// A node whose opening initialises the converter once more.
class EagerAdc : public virtual_board::Device {
public:
    EagerAdc() : Device("adc0") {}

    long open(virtual_board::OpenFile &) override
    {
        second_result = adc_init(0);
        return 0;
    }
    long ioctl(virtual_board::OpenFile &, uint32_t, void *) override { return 0; }

    int second_result = 77;
};

class AdcTest : public BoardTest {
protected:
    void TearDown() override
    {
        if (dev_handle_adc > 0) {
            close(dev_handle_adc);
            dev_handle_adc = 0;
        }
        BoardTest::TearDown();
    }

    void open_adc()
    {
        ASSERT_EQ(adc_init(0), 0);
        output();
        clear_trace();
    }

    void fails(Operation operation, uint32_t address, int error)
    {
        board.faults.add({.name = "driver",
                          .device = "adc0",
                          .operation = operation,
                          .address = address,
                          .value = error});
    }

    // Runs adc_init(n) and returns what it said on standard error.
    std::string init_errors(uint8_t n, int result)
    {
        CapturedOutput errors(stderr);
        EXPECT_EQ(adc_init(n), result);
        return errors.take();
    }
};

TEST_F(AdcTest, OpensAndConfigures)
{
    EXPECT_EQ(dev_handle_adc, 0);
    EXPECT_EQ(adc_init(0), 0);
    EXPECT_GE(dev_handle_adc, 1);
    EXPECT_EQ(board.adc().configuration(), (Adc::Configuration{1, 0, 2500, 0, 0, 14000000, 0}));
    EXPECT_EQ(board.adc().channel(), (Adc::ChannelConfiguration{0, 1, 20, 1}));
    EXPECT_EQ(board.trace.of(Operation::open)[0].address & O_ACCMODE, unsigned{O_RDONLY});
    EXPECT_EQ(steps(), (Names{"lock adc_lock", "open adc0", "unlock adc_lock", "lock adc_lock",
                              "ioctl adc0 401c4101", "unlock adc_lock", "lock adc_lock",
                              "ioctl adc0 40104102", "unlock adc_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(AdcTest, ASecondTimeDoesNothing)
{
    open_adc();
    const int32_t handle = dev_handle_adc;
    EXPECT_EQ(adc_init(1), 0);
    EXPECT_EQ(dev_handle_adc, handle);
    EXPECT_EQ(output(), "adc already init\r\n");
    EXPECT_EQ(steps(), Names{});
}

TEST_F(AdcTest, AHandleOfOneCountsAsOpen)
{
    dev_handle_adc = 1;
    EXPECT_EQ(adc_init(0), 0);
    EXPECT_EQ(output(), "adc already init\r\n");
    dev_handle_adc = 0;
}

TEST_F(AdcTest, OpensTheDeviceOfTheNumber)
{
    board.attach("/dev/spear_adc255", std::make_shared<Adc>(255));
    EXPECT_EQ(adc_init(255), 0);
    EXPECT_EQ(board.trace.of(Operation::open)[0].device, "adc255");
}

TEST_F(AdcTest, SaysWhyItCannotOpen)
{
    fails(Operation::open, O_RDONLY, ENXIO);
    EXPECT_EQ(init_errors(0, -3), "adc_init:open : No such device or address\n");
    EXPECT_EQ(output(), "\nadc_init: cann't open device(/dev/spear_adc0), dev_handle_adc=-1,\n");
    EXPECT_EQ(dev_handle_adc, -1);
    EXPECT_EQ(steps(), (Names{"lock adc_lock", "open adc0", "unlock adc_lock"}));
    EXPECT_EQ(adc_init(0), 0) << "can be tried again";
}

TEST_F(AdcTest, NamesADeviceThatIsNotThere)
{
    init_errors(200, -3);
    EXPECT_EQ(output(), "\nadc_init: cann't open device(/dev/spear_adc200), dev_handle_adc=-1,\n");
}

TEST_F(AdcTest, RefusesWhileAnotherInitialisationRuns)
{
    const auto eager = std::make_shared<EagerAdc>();
    board.attach("/dev/spear_adc0", eager);
    EXPECT_EQ(adc_init(0), 0);
    EXPECT_EQ(eager->second_result, -4);
    EXPECT_EQ(output(), "adc_init: adc device already opened\n");
}

TEST_F(AdcTest, AFailedConfigurationIsOnlyReported)
{
    fails(Operation::ioctl, request_config, EINVAL);
    EXPECT_EQ(init_errors(0, 0), "adc_config:ioctl: Invalid argument\n");
    EXPECT_EQ(output(), "\nerror number=22\r\n");
    EXPECT_FALSE(board.adc().configuration().has_value());
    EXPECT_TRUE(board.adc().channel().has_value()) << "the channel is configured all the same";
}

TEST_F(AdcTest, AFailedChannelConfigurationIsOnlyReported)
{
    fails(Operation::ioctl, request_channel, EIO);
    EXPECT_EQ(init_errors(0, 0), "adc_channel_config:ioctl: Input/output error\n");
    EXPECT_EQ(output(), "\nerror number=5\r\n");
    EXPECT_TRUE(board.adc().configuration().has_value());
    EXPECT_FALSE(board.adc().channel().has_value());
}

TEST_F(AdcTest, APositiveConfigurationResultIsGood)
{
    board.faults.add({.name = "driver",
                      .device = "adc0",
                      .operation = Operation::ioctl,
                      .kind = Fault::Kind::result,
                      .value = 1,
                      .times = 0});
    EXPECT_EQ(init_errors(0, 0), "");
    EXPECT_EQ(output(), "");
}

TEST_F(AdcTest, SamplesTheBattery)
{
    open_adc();
    for (const uint16_t code :
         {uint16_t{0}, uint16_t{0x00FF}, uint16_t{0x0A12}, uint16_t{0xFFFF}}) {
        board.adc().code = code;
        uint32_t raw = 0x77777777;
        EXPECT_EQ(get_battery_voltage(&raw), 2);
        EXPECT_EQ(raw, code);
    }
    EXPECT_EQ(board.trace.of(Operation::read)[0].count, 1U);
    EXPECT_EQ(steps()[0], "read adc0 00") << "no lock";
    EXPECT_EQ(output(), "");
}

TEST_F(AdcTest, AnAnswerOfNothingIsACodeOfZero)
{
    open_adc();
    board.faults.add({.name = "nothing",
                      .device = "adc0",
                      .operation = Operation::read,
                      .kind = Fault::Kind::result,
                      .value = 0});
    uint32_t raw = 77;
    EXPECT_EQ(get_battery_voltage(&raw), 0);
    EXPECT_EQ(raw, 0U);
}

TEST_F(AdcTest, AFailedSampleLeavesTheCode)
{
    open_adc();
    fails(Operation::read, 0, EIO);
    uint32_t raw = 77;
    EXPECT_EQ(get_battery_voltage(&raw), -5);
    EXPECT_EQ(raw, 77U);
    EXPECT_EQ(get_battery_voltage(nullptr), -1);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
