// Commands for clocks, converters, lines, ports and programmable parts.

#include <stdlib.h>

#include "boardctl/families/files.h"
#include "boardctl/framework/failure.h"
#include "tests/bringup/staged_file.h"
#include "tests/tools/boardctl/command_test.h"

namespace boardctl {

namespace {

using board_test::Bytes;

class BoardctlDevices : public CommandTest {
protected:
    static int code_of(const std::string &line)
    {
        try {
            run(line);
        } catch (const Failed &failed) {
            return failed.code;
        }
        ADD_FAILURE() << line << " succeeded";
        return 0;
    }
};

// ---- Real-time clock -----------------------------------------------------------------

class BoardctlClock : public BoardctlDevices {
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC0", 1);
        tzset();
        BoardctlDevices::SetUp();
    }
    // Each command opens the clock, and nothing closes it.
    void opens(int commands)
    {
        leaves_open(static_cast<size_t>(commands));
        leaves_descriptors(commands);
    }
};

TEST_F(BoardctlClock, IsReadAndSet)
{
    opens(4);
    EXPECT_EQ(field(run("rtc get"), "time"), "2020-01-01 00:00:00");
    const Result set = run("rtc set 2026-02-28T23:59:58");
    EXPECT_EQ(field(set, "time"), "2026-02-28 23:59:58");
    EXPECT_EQ(field(set, "seconds"), "1772323198");
    EXPECT_EQ(board.rtc().date().tm_year, 126);
    EXPECT_EQ(field(run("rtc set @86400"), "time"), "1970-01-02 00:00:00");
    EXPECT_EQ(board.rtc().date().tm_mday, 2);
    board.wall_clock().set({1893801600, 0});
    EXPECT_EQ(field(run("rtc set now"), "time"), "2030-01-05 00:00:00");
}

TEST_F(BoardctlClock, SetsTheSystemClock)
{
    opens(1);
    tm date = {};
    date.tm_year = 130;
    date.tm_mday = 5;
    board.rtc().set_date(date);
    EXPECT_EQ(field(run("rtc sync"), "time"), "2030-01-05 00:00:00");
    EXPECT_EQ(board.wall_clock().times_set(), 1U);
    EXPECT_EQ(board.wall_clock().now().tv_sec, 1893801600);
}

TEST_F(BoardctlClock, FailuresAreTold)
{
    opens(3);
    board.faults.add({.name = "rtc",
                      .device = "rtc",
                      .operation = virtual_board::Operation::ioctl,
                      .value = EIO,
                      .times = 3});
    EXPECT_EQ(code_of("rtc get"), -5);
    EXPECT_EQ(code_of("rtc set now"), -2);
    EXPECT_EQ(code_of("rtc sync"), -5);
}

// ---- Converter and sensor --------------------------------------------------------------

TEST_F(BoardctlDevices, AdcShowsTheRawCode)
{
    leaves_open(1);
    leaves_descriptors(1);
    board.adc().code = 0x0ABC;
    EXPECT_EQ(field(run("adc"), "battery"), std::to_string(0x0ABC));
}

TEST_F(BoardctlDevices, TempFollowsTheSensor)
{
    board.inlet_sensor().set_celsius(61);
    const Result result = run("temp");
    EXPECT_EQ(field(result, "inlet"), "61 C");
    EXPECT_EQ(field(result, "sensor_channel"), "2");
    EXPECT_EQ(field(result, "sensor_address"), "0x90");
    board.i2c(2).unplug(0x48);
    EXPECT_EQ(code_of("temp"), -1);
}

// ---- Serial port ------------------------------------------------------------------------

TEST_F(BoardctlDevices, UartRateIsTheFpgas)
{
    EXPECT_EQ(field(run("uart baud"), "rate"), "115200");
    board.fpga().baud_divisor.word = 12;
    EXPECT_EQ(field(run("uart baud"), "rate"), "9600");
    board.fpga().baud_divisor.result = -1;
    EXPECT_EQ(code_of("uart baud"), -3);
}

TEST_F(BoardctlDevices, UartSends)
{
    EXPECT_EQ(field(run("uart send hello"), "sent"), "5");
    EXPECT_EQ(board.uart().receive(5), "hello");
    EXPECT_EQ(field(run("uart send hello --newline"), "sent"), "7");
    EXPECT_EQ(board.uart().receive(7), "hello\r\n");
}

TEST_F(BoardctlDevices, UartReceivesUntilTheCount)
{
    board.clock.schedule_us(300000, [this] { board.uart().send("ab\xFF"); });
    board.clock.schedule_us(500000, [this] { board.uart().send("cdef"); });
    const Result result = run("uart receive --timeout 2000 --count 5");
    EXPECT_EQ(field(result, "data"), "61 62 FF 63 64");
    EXPECT_EQ(field(result, "text"), "ab?cd");
    const Result nothing = run("uart receive --timeout 100");
    EXPECT_EQ(field(nothing, "data"), "");
}

// ---- Lines --------------------------------------------------------------------------------

TEST_F(BoardctlDevices, GpioShowsTheLines)
{
    const Result result = run("gpio show");
    EXPECT_EQ(row(result, "lines", 0), "48 | FPGA load | no | n.a. | n.a.");
    EXPECT_EQ(row(result, "lines", 1), "95 | heartbeat LED | yes | out | 0");
    EXPECT_EQ(row(result, "lines", 2), "96 | FPGA configured | no | n.a. | n.a.");
}

TEST_F(BoardctlDevices, GpioDrivesTheHeartbeatLed)
{
    EXPECT_EQ(field(run("gpio heartbeat 1"), "level"), "1");
    EXPECT_EQ(board.gpio().line(95).level, 1);
    EXPECT_EQ(field(run("gpio heartbeat 0"), "level"), "0");
    EXPECT_EQ(board.gpio().line(95).level, 0);
    board.gpio().line(95).written.clear();
    run("gpio blink --count 3 --interval 50");
    EXPECT_EQ(board.gpio().line(95).written.size(), 3U);
    board.gpio().remove();
    EXPECT_THROW(run("gpio heartbeat 1"), Trouble);
    EXPECT_THROW(run("gpio blink"), Trouble);
}

// ---- FPGA and CPLD -----------------------------------------------------------------------

TEST_F(BoardctlDevices, FpgaRegistersAreReadAndWritten)
{
    board.fpga().set_register(1000, 0xDEADBEEF);
    EXPECT_EQ(field(run("fpga reg 1000"), "value"), "0xDEADBEEF");
    EXPECT_EQ(field(run("fpga reg 1000 0x12345678"), "value"), "0x12345678");
    EXPECT_EQ(board.fpga().get_register(1000), 0x12345678U);
}

TEST_F(BoardctlDevices, FpgaTellsItsState)
{
    board.fpga().selftest.word = 3;
    board.fpga().ddr_state.word = 5;
    const Result result = run("fpga status");
    EXPECT_EQ(field(result, "version"), "0x21");
    EXPECT_EQ(field(run("fpga version"), "version"), "0x21");
    EXPECT_EQ(field(result, "selftest"), "0x03");
    EXPECT_EQ(field(result, "ddr_state"), "0x05");
    EXPECT_EQ(field(run("fpga self-test"), "selftest"), "0x03");
    EXPECT_EQ(field(run("fpga ddr-test"), "ddr_state"), "0x05");
    board.fpga().version.result = 7;
    EXPECT_EQ(code_of("fpga version"), 7);
    EXPECT_EQ(field(run("fpga status"), "version"), "error 7");
    board.fpga().selftest.result = 7;
    EXPECT_EQ(code_of("fpga self-test"), 7);
}

TEST_F(BoardctlDevices, FpgaIsToldThings)
{
    run("fpga start");
    run("fpga com-state 7");
    EXPECT_EQ(board.fpga().communication_state(), 7);
    run("fpga watchdog kick");
    EXPECT_EQ(board.fpga().watchdog_kicks(), 1U);
    EXPECT_TRUE(board.fpga().watchdog_running());
    run("fpga watchdog stop");
    EXPECT_FALSE(board.fpga().watchdog_running());
    run("fpga jtag-reset");
    EXPECT_EQ(board.fpga().jtag_resets(), 1U);
}

class BoardctlFpgaLoad : public BoardctlDevices {
protected:
    board_test::StagedFile staged;
};

TEST_F(BoardctlFpgaLoad, SendsTheFile)
{
    // The library never closes the SPI device.
    leaves_open(2);
    leaves_descriptors(2);
    Bytes stream(5000);
    for (size_t i = 0; i < stream.size(); ++i) {
        stream[i] = static_cast<uint8_t>(i * 7);
    }
    const TemporaryFile file;
    write_file(file.path(), stream);
    EXPECT_EQ(field(run("fpga load " + file.path()), "configured"), "yes");
    EXPECT_EQ(board.spi().stream(), stream);
    EXPECT_FALSE(board.modules().loaded("load_fpga"));
    board.spi().done_line_works = false;
    EXPECT_EQ(code_of("fpga load " + file.path()), -13);
}

TEST_F(BoardctlDevices, CpldIsProgrammed)
{
    const TemporaryFile file;
    const std::string program("e\0\0____12.1\x7F", 12);
    write_file(file.path(), {program.begin(), program.end()});
    EXPECT_EQ(field(run("cpld-load " + file.path() + " 4"), "programmed"), "yes");
    ASSERT_EQ(board.cpld().programmer().loads().size(), 1U);
    EXPECT_EQ(board.cpld().programmer().loads()[0].component, 4);
    EXPECT_EQ(board.cpld().programmer().loads()[0].program,
              (Bytes{program.begin(), program.end()}));
    write_file(file.path(), {});
    EXPECT_EQ(code_of("cpld-load " + file.path() + " 4"), -1);
}

} // namespace

} // namespace boardctl
