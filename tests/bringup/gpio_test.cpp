// GPIO lines through sysfs, and the heartbeat LED on GPIO 95.

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr char no_export[] = "can not open export file.\n";
constexpr char no_line[] = "can not open gpionum file.\n";

Bytes bytes_of(const std::string &text)
{
    return {text.begin(), text.end()};
}

class GpioTest : public BoardTest {
protected:
    void export_led()
    {
        ASSERT_EQ(gpio_init(), 0);
        output();
        clear_trace();
    }

    std::vector<std::string> &levels() { return board.gpio().line(95).written; }

    void fail(const char *device, Operation operation, int error)
    {
        board.faults.add({.name = "gpio",
                          .device = device,
                          .operation = operation,
                          .kind = Fault::Kind::error,
                          .value = error,
                          .times = 0});
    }
};

TEST_F(GpioTest, InitExportsTheLineAndMakesItAnOutput)
{
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(board.gpio().exported(95));
    EXPECT_TRUE(board.gpio().line(95).output);
    const std::vector<Event> exported = board.trace.of(Operation::write, "gpio-export");
    ASSERT_EQ(exported.size(), 1U);
    EXPECT_EQ(exported[0].bytes, bytes_of("95"));
    const std::vector<Event> direction = board.trace.of(Operation::write, "gpio95-direction");
    ASSERT_EQ(direction.size(), 1U);
    EXPECT_EQ(direction[0].bytes, bytes_of("out"));
    EXPECT_EQ(board.trace.of(Operation::write).size(), 2U);
    EXPECT_EQ(levels(), Names{}) << "the LED's level is left alone";
}

TEST_F(GpioTest, InitAppendsToTheExportFileAndUpdatesTheLine)
{
    EXPECT_EQ(gpio_init(), 0);
    const std::vector<Event> opens = board.trace.of(Operation::open);
    ASSERT_EQ(opens.size(), 2U);
    EXPECT_EQ(opens[0].device, "gpio-export");
    EXPECT_EQ(opens[0].address, unsigned{O_WRONLY | O_CREAT | O_APPEND});
    EXPECT_EQ(opens[1].device, "gpio95-direction");
    EXPECT_EQ(opens[1].address, unsigned{O_RDWR});
}

TEST_F(GpioTest, InitAgainOfAnExportedLineSucceeds)
{
    export_led();
    EXPECT_EQ(gpio_init(), 0) << "the kernel refuses the second export";
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(board.gpio().line(95).output);
}

TEST_F(GpioTest, InitWithoutTheTreeSaysSoTwiceAndSucceeds)
{
    board.gpio().remove();
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(output(), std::string(no_export) + no_line);
}

TEST_F(GpioTest, InitGoesOnAfterEitherFailure)
{
    fail("gpio95-direction", Operation::open, EACCES);
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(output(), no_line);
    EXPECT_TRUE(board.gpio().exported(95));
    board.faults.clear();
    fail("gpio-export", Operation::open, EACCES);
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(output(), no_export);
    EXPECT_TRUE(board.gpio().line(95).output);
}

TEST_F(GpioTest, FailedWritesAreNoErrors)
{
    fail("gpio-export", Operation::write, EIO);
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(output(), no_line) << "the line was never exported";
    board.faults.clear();
    export_led();
    fail("gpio95-direction", Operation::write, EIO);
    fail("gpio95-value", Operation::write, EIO);
    EXPECT_EQ(gpio_init(), 0);
    EXPECT_EQ(set_heart_beat_led("1"), 0);
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, CleanDoesNothing)
{
    export_led();
    gpio_clean();
    EXPECT_EQ(steps(), Names{});
    EXPECT_TRUE(board.gpio().exported(95));
    EXPECT_TRUE(board.gpio().line(95).output);
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, HeartbeatWritesTheTextUnderItsLock)
{
    export_led();
    std::vector<Names> held;
    board.trace.listen([&](const Event &event) {
        if (event.operation != Operation::lock && event.operation != Operation::unlock) {
            held.push_back(held_locks());
        }
    });
    for (const char *text : {"0", "1", "1", "0", "in", "10"}) {
        SCOPED_TRACE(text);
        clear_trace();
        EXPECT_EQ(set_heart_beat_led(text), 0);
        const std::vector<Event> writes = board.trace.of(Operation::write);
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(writes[0].device, "gpio95-value");
        EXPECT_EQ(writes[0].bytes, bytes_of(text)) << "no terminator";
        EXPECT_EQ(board.trace.of(Operation::open).at(0).address, unsigned{O_RDWR});
        EXPECT_EQ(steps().front(), "lock heartbeat_led_lock");
        EXPECT_EQ(steps().back(), "unlock heartbeat_led_lock");
        EXPECT_EQ(board.trace.of(Operation::lock).size(), 1U);
    }
    EXPECT_FALSE(held.empty());
    for (const Names &locks : held) {
        EXPECT_EQ(locks, Names{"heartbeat_led_lock"});
    }
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, HeartbeatOfAnEmptyTextWritesNothing)
{
    export_led();
    EXPECT_EQ(set_heart_beat_led(""), 0);
    EXPECT_EQ(board.trace.of(Operation::open).size(), 1U);
    EXPECT_EQ(board.trace.of(Operation::write).size(), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, HeartbeatOfNoTextSaysSoUnderTheLock)
{
    export_led();
    EXPECT_EQ(set_heart_beat_led(nullptr), 0);
    EXPECT_EQ(output(), "gpionum file is null or str is null.\n");
    EXPECT_EQ(steps(), (Names{"lock heartbeat_led_lock", "unlock heartbeat_led_lock"}));
}

TEST_F(GpioTest, HeartbeatWithoutTheLineSaysSo)
{
    EXPECT_EQ(set_heart_beat_led("1"), 0); // not exported
    EXPECT_EQ(output(), no_line);
    EXPECT_EQ(held_locks(), Names{});
}

TEST_F(GpioTest, BlinkBeginsWithZeroAndAlternates)
{
    export_led();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(blink_heart_beat_led(), 0);
    }
    EXPECT_EQ(levels(), (Names{"0", "1", "0", "1", "0"}));
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, BlinkDoesNotLookAtTheLevelSetBetween)
{
    export_led();
    EXPECT_EQ(blink_heart_beat_led(), 0);
    EXPECT_EQ(set_heart_beat_led("1"), 0);
    EXPECT_EQ(blink_heart_beat_led(), 0);
    EXPECT_EQ(set_heart_beat_led("1"), 0);
    EXPECT_EQ(blink_heart_beat_led(), 0);
    EXPECT_EQ(levels(), (Names{"0", "1", "1", "1", "0"}));
}

// Each blink turns the level, whether or not it reached the LED.
TEST_F(GpioTest, BlinkTurnsAlsoWhenTheWriteFailed)
{
    export_led();
    std::mt19937 random(95);
    Names expected;
    for (int i = 0; i < 200; ++i) {
        const std::string level = i % 2 == 0 ? "0" : "1";
        board.faults.clear();
        switch (random() % 3) {
        case 0:
            expected.push_back(level);
            EXPECT_EQ(blink_heart_beat_led(), 0);
            EXPECT_EQ(output(), "");
            break;
        case 1:
            fail("gpio95-value", Operation::open, EACCES);
            EXPECT_EQ(blink_heart_beat_led(), 0);
            EXPECT_EQ(output(), no_line);
            break;
        default:
            fail("gpio95-value", Operation::write, EIO);
            EXPECT_EQ(blink_heart_beat_led(), 0);
            EXPECT_EQ(output(), "");
        }
    }
    EXPECT_EQ(levels(), expected);
}

// ---- file length ----

TEST_F(GpioTest, FileLengthOfRealFiles)
{
    std::string path = ::testing::TempDir() + "file_length_XXXXXX";
    const int file = mkstemp(path.data());
    ASSERT_GE(file, 0);
    for (const long size : {0L, 1L, 4095L, 4096L, 1000000L, 0x7FFFFFFFL}) {
        ASSERT_EQ(ftruncate(file, size), 0);
        EXPECT_EQ(get_file_length(path.c_str()), size);
    }
    close(file);
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(get_file_length(path.c_str()), -1) << "the file is gone";
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, FileLengthOfWhatCannotBeQueried)
{
    EXPECT_EQ(get_file_length(""), -1);
    EXPECT_EQ(get_file_length("/dev/null/file"), -1);
    EXPECT_EQ(get_file_length("/sys/class/gpio/gpio95/value"), -1) << "not exported";
    EXPECT_EQ(output(), "");
}

TEST_F(GpioTest, FileLengthOfAFileOfTheBoard)
{
    export_led();
    EXPECT_EQ(get_file_length("/sys/class/gpio/gpio95/value"), 4096);
}

TEST_F(GpioTest, WhatIsNotFittedAnswersZeroAndTouchesNothing)
{
    uint8_t byte = 0xE7;
    for (const uint32_t number : {0U, 1U, 0xFFFFFFFFU}) {
        EXPECT_EQ(gpio_port_config(number), 0);
        EXPECT_EQ(dump_gpio_regester(number, &byte, 1), 0);
        EXPECT_EQ(get_pcmcia_input_port(number, number, &byte), 0);
        EXPECT_EQ(get_neighbors_exist(number, &byte), 0);
        EXPECT_EQ(reset_kvm_module(static_cast<uint8_t>(number)), 0);
        EXPECT_EQ(get_base_type(number, &byte), 0);
        EXPECT_EQ(get_pm_present(number, &byte), 0);
    }
    EXPECT_EQ(dump_gpio_regester(0, nullptr, -1), 0);
    EXPECT_EQ(get_pcmcia_input_port(0, 0, nullptr), 0);
    EXPECT_EQ(get_neighbors_exist(0, nullptr), 0);
    EXPECT_EQ(get_base_type(0, nullptr), 0);
    EXPECT_EQ(get_pm_present(0, nullptr), 0);
    EXPECT_EQ(byte, 0xE7);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
