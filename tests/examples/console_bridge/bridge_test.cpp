// The bridge on the board, from opening to closing.

#include "console_bridge/bridge.h"

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

using console_bridge::Bridge;
using console_bridge::FarEnd;
using console_bridge::Options;

class BridgeTest : public BridgeFixture {
protected:
    Options saving() const
    {
        Options options;
        options.black_box = file("box");
        return options;
    }

    static Options to_panel()
    {
        Options options;
        options.far_end = FarEnd::panel;
        return options;
    }

    static Options watching()
    {
        Options options;
        options.use_uart = false;
        return options;
    }

    void crash(const std::string &bytes) { board.black_box().crash({bytes.begin(), bytes.end()}); }

    int open(const Options &options)
    {
        bridge = std::make_unique<Bridge>(options, screen);
        return bridge->open();
    }
};

TEST_F(BridgeTest, OpensAndLeavesTheBoardAsItWas)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x15);
    board.fpga().baud_divisor.word = 24;
    ASSERT_EQ(open({}), 0);
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x12);
    EXPECT_TRUE(board.black_box().enabled());
    EXPECT_EQ(screen.notes(),
              (Names{"the board is open", "the black box is on", "the UART runs at 4800 baud",
                     "the serial switch leads the UART to the host (arrangement 2, it was 5)"}));
    bridge->close();
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x15);
    EXPECT_FALSE(board.black_box().enabled());
    EXPECT_EQ(screen.notes(),
              (Names{"the serial switch is back at arrangement 5", "the board is closed"}));
    bridge->close();
    EXPECT_EQ(screen.notes(), Names{}) << "once";
    EXPECT_EQ(held_locks(), Names{});
}

TEST_F(BridgeTest, LeavesABlackBoxOnThatWasOn)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x03);
    record("older");
    start();
    bridge->close();
    start();
    EXPECT_TRUE(board.black_box().enabled());
    set_blackbox_status(1);
    bridge->close();
    EXPECT_FALSE(board.black_box().enabled());

    open_board();
    set_blackbox_status(1);
    ipmc_driver_clean();
    ASSERT_EQ(open({}), 0);
    EXPECT_EQ(screen.notes().at(3), "the black box is on; it holds an older record");
    bridge->close();
    EXPECT_TRUE(board.black_box().enabled());
    ipmc_driver_init();
}

TEST_F(BridgeTest, CarriesTheConsoleToTheTerminalAndKeysToTheHost)
{
    start();
    board.sol().print("server login: ");
    pass();
    EXPECT_EQ(screen.shown(), "server login: ");
    bridge->type("ro");
    bridge->type("ot\r");
    EXPECT_EQ(board.serial_switch().host_input(), "root\r");
    board.uart().send("from the line");
    pass();
    EXPECT_EQ(screen.shown(), "from the line");
    EXPECT_EQ(board.serial_switch().panel_output(), "");
    EXPECT_EQ(screen.notes(), Names{});
}

TEST_F(BridgeTest, DoesNotSendTheHostItsOwnWords)
{
    start();
    board.sol().print("login: ");
    pass(3);
    EXPECT_EQ(board.serial_switch().host_input(), "");
}

TEST_F(BridgeTest, CarriesTheConsoleToThePanelToo)
{
    start(to_panel());
    board.sol().print("login:\r\n");
    pass();
    EXPECT_EQ(screen.shown(), "login:\r\n");
    EXPECT_EQ(board.serial_switch().panel_output(), "login:\r\n");
    bridge->type("hello\n");
    EXPECT_EQ(board.serial_switch().panel_output(), "login:\r\nhello\r\n");
    EXPECT_TRUE(board.serial_switch().panel_sends("you too\r"));
    pass();
    EXPECT_EQ(screen.shown(), "you too\r\n");
    EXPECT_EQ(board.serial_switch().host_input(), "");
}

TEST_F(BridgeTest, CarriesMoreThanTheBufferHolds)
{
    start();
    std::string all;
    for (int i = 0; i < 20; ++i) {
        board.sol().print(record_of(900));
        all += record_of(900);
        pass();
    }
    EXPECT_EQ(screen.shown(), all);
    EXPECT_EQ(board.sol().lost(), 0U);
}

TEST_F(BridgeTest, CarriesTheLastWordsBeforeItCloses)
{
    start(to_panel());
    board.sol().print("bye");
    bridge->close();
    EXPECT_EQ(screen.shown(), "bye");
    EXPECT_EQ(board.serial_switch().panel_output(), "bye");
}

TEST_F(BridgeTest, OnlyWatchesWithoutAUart)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x25);
    start(watching());
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x25);
    board.sol().print("text");
    pass(20);
    EXPECT_EQ(screen.shown(), "text");
    bridge->type("a");
    bridge->type("b");
    EXPECT_EQ(screen.notes(), Names{"without a UART nothing can be typed to the host"});
    bridge->close();
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x25);
    EXPECT_EQ(board.trace.count(Operation::open, "ttyS0"), 0U);
}

TEST_F(BridgeTest, FollowsTheRateThatTheFpgaPrescribes)
{
    start();
    pass(30);
    EXPECT_EQ(screen.notes(), Names{});
    board.fpga().baud_divisor.word = 12;
    pass(10);
    const termios now = board.uart().attributes();
    EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B9600));
    EXPECT_EQ(screen.notes(), Names{"the FPGA prescribes another rate: the UART goes from 115200 "
                                    "to 9600 baud"});
    pass(30);
    EXPECT_EQ(screen.notes(), Names{}) << "once";
}

TEST_F(BridgeTest, SavesTheBlackBoxOfAHostThatCrashes)
{
    start(saving());
    pass(20);
    EXPECT_EQ(files(), Names{});
    crash(record_of(3001));
    pass(10);
    EXPECT_EQ(screen.notes(), (Names{"the host has crashed: the black box has a record",
                                     "the black box is saved: 3001 bytes in " + file("box")}));
    EXPECT_EQ(content(file("box")), record_of(3001));
    EXPECT_EQ(files(), Names{"box"});
    pass(30);
    EXPECT_EQ(screen.notes(), Names{}) << "once";
}

TEST_F(BridgeTest, SavesItOnRequest)
{
    record(record_of(50));
    start(saving());
    pass(30);
    EXPECT_EQ(files(), Names{}) << "an older record is nobody's crash";
    bridge->type("~b");
    EXPECT_EQ(screen.notes(), Names{"the black box is saved: 50 bytes in " + file("box")});
    EXPECT_EQ(content(file("box")), record_of(50));
    crash(record_of(1030));
    EXPECT_TRUE(bridge->save_black_box());
    EXPECT_EQ(content(file("box")), record_of(1030));
    EXPECT_EQ(board.serial_switch().host_input(), "");
}

TEST_F(BridgeTest, CarriesTheConsoleWhileItSaves)
{
    start(saving());
    crash(record_of(16384));
    // More than the FPGA's buffer holds, printed while the record is fetched.
    std::string all;
    unsigned printed = 0;
    board.trace.listen([&](const Event &event) {
        if (event.operation == Operation::write && event.bytes.size() == 7 &&
            event.bytes[1] == (420 & 0xFF) && event.bytes[2] == 420 >> 8 && event.bytes[3] == 0 &&
            printed++ < 20) {
            board.sol().print(record_of(500));
            all += record_of(500);
        }
    });
    EXPECT_TRUE(bridge->save_black_box());
    EXPECT_EQ(printed, 34U);
    EXPECT_EQ(screen.shown(), all);
    EXPECT_EQ(board.sol().lost(), 0U);
}

TEST_F(BridgeTest, SaysThatNoFileWasNamed)
{
    start();
    crash("abc");
    pass(10);
    EXPECT_EQ(screen.notes(), (Names{"the host has crashed: the black box has a record",
                                     "the black box is not saved: no --black-box FILE was named"}));
    EXPECT_FALSE(bridge->save_black_box());
}

TEST_F(BridgeTest, LeavesTheOldFileWhenTheRecordCannotBeFetched)
{
    write_file(file("box"), "the last good one");
    start(saving());
    EXPECT_FALSE(bridge->save_black_box());
    EXPECT_EQ(screen.notes(), Names{"the black box is not saved: it holds no record"});
    crash(record_of(3000));
    board.black_box().not_ready = 1000;
    EXPECT_FALSE(bridge->save_black_box());
    EXPECT_EQ(screen.notes(), Names{"the black box is not saved: the FPGA does not give it (-5)"});
    board.black_box().not_ready = 0;
    crash(record_of(16385));
    EXPECT_FALSE(bridge->save_black_box());
    EXPECT_EQ(screen.notes(), Names{"the black box is not saved: it holds more than 16384 bytes"});
    EXPECT_EQ(content(file("box")), "the last good one");
    EXPECT_EQ(files(), Names{"box"});
}

TEST_F(BridgeTest, SaysThatTheFileCannotBeWritten)
{
    Options options = saving();
    options.black_box = file("absent/box");
    start(options);
    crash("abc");
    EXPECT_FALSE(bridge->save_black_box());
    EXPECT_EQ(screen.notes(), Names{"the black box is not saved: " + file("absent/box") +
                                    ": No such file or directory"});
}

TEST_F(BridgeTest, EndsAndHelpsWhenAsked)
{
    start();
    bridge->type("ls\r~?");
    EXPECT_EQ(screen.notes(), Names{"~. ends, ~b saves the black box, ~~ is one ~"});
    EXPECT_FALSE(bridge->ended());
    bridge->type("~");
    EXPECT_FALSE(bridge->ended());
    bridge->type(".");
    EXPECT_TRUE(bridge->ended());
    EXPECT_EQ(board.serial_switch().host_input(), "ls\r");
}

TEST_F(BridgeTest, TellsOnceOfAConsoleThatCannotBeRead)
{
    start();
    board.sol().print("patience");
    board.sol().not_ready = 3;
    pass(4);
    EXPECT_EQ(screen.shown(), "patience");
    EXPECT_EQ(screen.notes(), Names{}) << "that is no news";
    board.sol().print("later");
    board.sol().not_ready = 300;
    pass(250);
    EXPECT_EQ(screen.notes(), Names{"the console cannot be read"});
    pass(60);
    EXPECT_EQ(screen.notes(), Names{"the console can be read again"});
    EXPECT_EQ(screen.shown(), "later");
}

TEST_F(BridgeTest, TellsOfBytesThatTheUartDoesNotTake)
{
    start();
    board.faults.add(
        {.name = "write", .device = "ttyS0", .operation = Operation::write, .value = EIO});
    bridge->type("abc");
    pass(20);
    EXPECT_EQ(screen.notes(), Names{"the UART does not take 3 bytes"});
}

TEST_F(BridgeTest, GoesOnWithoutABlackBox)
{
    registers_fail(Operation::read, 0, 1);
    ASSERT_EQ(open({}), 0);
    EXPECT_EQ(screen.notes().at(1), "the black box cannot be put on");
    board.sol().print("text");
    pass();
    EXPECT_EQ(screen.shown(), "text");
}

TEST_F(BridgeTest, DoesNotOpenWithoutABoard)
{
    board.detach("/dev/ipmc_cpld");
    // The library's clean-up after the refused open releases what was not taken.
    EXPECT_EQ(open({}), 1);
    EXPECT_EQ(screen.notes(), Names{"the board cannot be opened (-1)"});
}

TEST_F(BridgeTest, RefusesAUartThatIsNone)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x25);
    Options options;
    options.uart = 1;
    EXPECT_EQ(open(options), 2);
    EXPECT_EQ(screen.notes(), (Names{"the board is open", "the black box is on",
                                     "UART 1 cannot be opened (-2)", "the board is closed"}));
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x25);
    EXPECT_FALSE(board.black_box().enabled());
    EXPECT_EQ(held_locks(), Names{});
}

TEST_F(BridgeTest, LeavesNothingBehindWhenTheUartCannotBeOpened)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x25);
    board.fpga().baud_divisor.result = -EIO;
    EXPECT_EQ(open({}), 1);
    EXPECT_EQ(screen.notes().at(2), "UART 0 cannot be opened (-3)");
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x25);
    EXPECT_FALSE(board.black_box().enabled());
    EXPECT_EQ(held_locks(), Names{});
}

TEST_F(BridgeTest, SavesAtOnceAndTouchesNothingElse)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x25);
    record(record_of(77));
    Options options;
    options.save_now = file("now");
    EXPECT_EQ(save_black_box_now(options, screen), 0);
    EXPECT_EQ(screen.notes(), Names{"the black box is saved: 77 bytes in " + file("now")});
    EXPECT_EQ(content(file("now")), record_of(77));
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x25);
    EXPECT_EQ(board.trace.count(Operation::open, "ttyS0"), 0U);
    EXPECT_FALSE(board.black_box().enabled());
}

TEST_F(BridgeTest, FailsToSaveWhatIsNotThere)
{
    Options options;
    options.save_now = file("now");
    EXPECT_EQ(save_black_box_now(options, screen), 1);
    EXPECT_EQ(files(), Names{});
    board.detach("/dev/ipmc_cpld");
    EXPECT_EQ(save_black_box_now(options, screen), 1);
}

} // namespace
} // namespace board_test
