// The host's script and its narrative, with the test in the controller's place.

#include "virtual_board/host_script.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::HostScript;
using virtual_board::ScriptError;

class HostScriptTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        told_ = open_memstream(&text_, &length_);
        open_board();
    }

    void TearDown() override
    {
        BoardTest::TearDown();
        fclose(told_);
        free(text_);
    }

    void start(const std::string &text)
    {
        std::istringstream stream(text);
        script_ = std::make_unique<HostScript>(board, stream, told_);
        script_->start([this] { ++endings_; });
    }

    HostScript &script() { return *script_; }
    unsigned endings() const { return endings_; }

    // What was told since the last call.
    std::string told()
    {
        fflush(told_);
        const std::string all(text_, length_);
        std::string rest = all.substr(taken_);
        taken_ = all.size();
        return rest;
    }

    // The next request that the host sends; empty if none comes within the time.
    Bytes request(unsigned at_most_ms = 1000)
    {
        for (unsigned passed = 0; passed <= at_most_ms; passed += 10) {
            Bytes message(100);
            const int count = kcs_read(message.data(), static_cast<int32_t>(message.size()));
            if (count > 0) {
                message.resize(static_cast<size_t>(count));
                return message;
            }
            usleep(10000);
        }
        return {};
    }

    void answer(const Bytes &message)
    {
        ASSERT_EQ(kcs_write(message.data(), static_cast<int32_t>(message.size())),
                  static_cast<int>(message.size() + 2));
    }

    void pass_ms(unsigned duration) { usleep(duration * 1000); }

    // What the host has printed; empty if nothing.
    static std::string console()
    {
        std::string text;
        uint32_t length = 0;
        uint32_t offset = 0;
        if (get_sol_data_prepare(&length, &offset) != 0) {
            return text;
        }
        for (uint32_t i = 0; i < length; i += 4) {
            uint32_t word = 0;
            get_sol_data(&word);
            text.append(reinterpret_cast<const char *>(&word), std::min(4U, length - i));
        }
        set_sol_data_done();
        return text;
    }

    // Fetches so many bytes of the black box.
    static std::string black_box(uint32_t size)
    {
        std::string text;
        get_blackbox_data_prepare(0, 0);
        for (uint32_t i = 0; i < size; i += 4) {
            uint32_t word = 0;
            get_blackbox_data(&word);
            text.append(reinterpret_cast<const char *>(&word), std::min(4U, size - i));
        }
        set_blackbox_data_done();
        return text;
    }

private:
    FILE *told_ = nullptr;
    char *text_ = nullptr;
    size_t length_ = 0;
    size_t taken_ = 0;
    std::unique_ptr<HostScript> script_;
    unsigned endings_ = 0;
};

std::string summary(const char *counts)
{
    return std::string("host script: ") + counts + "\n";
}

bool ends_with_summary(const std::string &told, const char *counts)
{
    return told.ends_with(summary(counts));
}

TEST_F(HostScriptTest, TellsAnExchangeWithBytesAndMeaning)
{
    start("kcs 06 01\nexpect-code 00\n");
    EXPECT_EQ(request(), (Bytes{0x18, 0x01}));
    EXPECT_EQ(
        told(),
        "host  | sends     18 01                   Get Device ID (NetFn 06h App, command 01h)\n");
    answer({0x1C, 0x01, 0x00, 0x20, 0x81, 0x02, 0x15, 0x02, 0x80, 0x34, 0x12, 0x00, 0x78, 0x56, 1,
            2, 3, 4});
    EXPECT_EQ(
        told(),
        "host  | receives  1C 01 00 20 81 02 15 02 80 34 12 00 78 56 01 02 03 04\n"
        "host  |                                   completion code 00h: completed normally\n"
        "host  |                                   device id 20h, device revision 1, firmware "
        "2.15, "
        "IPMI 2.0\n"
        "host  |                                   manufacturer 01234h, product 5678h, manages a "
        "chassis\n"
        "host  |                                   auxiliary firmware revision 01 02 03 04\n");
    pass_ms(100);
    EXPECT_TRUE(ends_with_summary(told(), "1 exchanges, 1 checks, 0 failed"));
    EXPECT_TRUE(script().succeeded());
    EXPECT_EQ(endings(), 1U);
}

TEST_F(HostScriptTest, TellsWhatItCannotDecodeAsBytes)
{
    start("name 30 02 Get RAM Byte\nkcs 30 02 10 00\nkcs 2A 05\n");
    EXPECT_EQ(request(), (Bytes{0xC0, 0x02, 0x10, 0x00}));
    answer({0xC4, 0x02, 0x00, 0xA5});
    EXPECT_EQ(
        told(),
        "host  | sends     C0 02 10 00             Get RAM Byte (NetFn 30h OEM, command 02h)\n"
        "host  | receives  C4 02 00 A5             completion code 00h: completed normally\n"
        "host  |                                   data A5\n");
    EXPECT_EQ(request(), (Bytes{0xA8, 0x05}));
    answer({0xAC, 0x05, 0x99});
    EXPECT_EQ(told(),
              "host  | sends     A8 05                   a command without a name (NetFn 2Ah "
              "reserved, command 05h)\n"
              "host  | receives  AC 05 99                completion code 99h: no common code\n");
}

TEST_F(HostScriptTest, DecodesChassisCommands)
{
    start("kcs 00 02 03\nkcs 00 01\n");
    request();
    EXPECT_NE(told().find("Chassis Control (NetFn 00h Chassis, command 02h): hard reset\n"),
              std::string::npos);
    answer({0x04, 0x02, 0xD5});
    EXPECT_NE(told().find("completion code D5h: not supported in the present state\n"),
              std::string::npos);
    request();
    answer({0x04, 0x01, 0x00, 0x01, 0x00, 0x00, 0x01});
    const std::string text = told();
    EXPECT_NE(text.find("the host's power is ON\n"), std::string::npos);
    EXPECT_NE(text.find("front panel power button locked\n"), std::string::npos);
}

TEST_F(HostScriptTest, CountsFailedExpectationsAndGoesOn)
{
    start("kcs 06 01\nexpect-code C1\nexpect-data 01 -- 03\nexpect-data 01 02\nexpect-data\n"
          "expect-data 01 02 03\nexpect-code 00\n");
    request();
    answer({0x1C, 0x01, 0x00, 0x01, 0x02, 0x03});
    pass_ms(100);
    const std::string text = told();
    EXPECT_NE(text.find("host  | FAILED, line 2: expected completion code C1\n"),
              std::string::npos);
    EXPECT_EQ(text.find("line 3"), std::string::npos);
    EXPECT_NE(text.find("host  | FAILED, line 4: expected 01 02 after the completion code\n"),
              std::string::npos);
    EXPECT_NE(text.find("host  | FAILED, line 5: expected no data after the completion code\n"),
              std::string::npos);
    EXPECT_TRUE(ends_with_summary(text, "1 exchanges, 6 checks, 3 failed"));
    EXPECT_TRUE(script().finished());
    EXPECT_FALSE(script().succeeded());
}

TEST_F(HostScriptTest, FailsAnAnswerThatBelongsToAnotherRequest)
{
    start("kcs 06 01\n");
    request();
    answer({0x1C, 0x02, 0x00});
    pass_ms(100);
    const std::string text = told();
    EXPECT_NE(text.find("this is no answer to the request\n"), std::string::npos);
    EXPECT_NE(text.find("FAILED, line 1: the answer does not belong to the request\n"),
              std::string::npos);
    EXPECT_FALSE(script().succeeded());
}

TEST_F(HostScriptTest, FailsAnAnswerToNothing)
{
    start("wait 100ms\n");
    answer({0x1C, 0x01, 0x00});
    pass_ms(200);
    const std::string text = told();
    EXPECT_NE(text.find("host  | receives  1C 01 00\nhost  | FAILED, line 1: nothing was asked\n"),
              std::string::npos);
    EXPECT_TRUE(ends_with_summary(text, "0 exchanges, 0 checks, 1 failed"));
}

TEST_F(HostScriptTest, GivesUpWaitingForAnAnswer)
{
    start("kcs 06 01\nexpect-code 00\n");
    EXPECT_EQ(request(), (Bytes{0x18, 0x01}));
    pass_ms(9900);
    EXPECT_FALSE(script().finished());
    pass_ms(200);
    const std::string text = told();
    EXPECT_NE(text.find("FAILED, line 1: no answer\n"), std::string::npos);
    EXPECT_NE(text.find("FAILED, line 2: expected completion code 00\n"), std::string::npos);
    EXPECT_TRUE(script().finished());
}

TEST_F(HostScriptTest, WaitsUntilTheInterfaceIsFree)
{
    start("kcs 06 01\n");
    board.host().kcs.never_idle(true);
    EXPECT_EQ(request(500), Bytes{});
    EXPECT_EQ(told(), "");
    board.host().kcs.never_idle(false);
    EXPECT_EQ(request(), (Bytes{0x18, 0x01}));
}

TEST_F(HostScriptTest, GivesUpAnInterfaceThatStaysBusy)
{
    start("kcs 06 01\nexpect-code 00\n");
    board.host().kcs.never_idle(true);
    pass_ms(11000);
    const std::string text = told();
    EXPECT_NE(text.find("FAILED, line 1: the interface does not become free\n"), std::string::npos);
    EXPECT_TRUE(ends_with_summary(text, "0 exchanges, 1 checks, 2 failed"));
}

TEST_F(HostScriptTest, TellsAPressThatTheControllerMakes)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    start("lock-button\nwait power on 5s\n");
    pass_ms(100);
    EXPECT_EQ(told(), "board | CPLD 83h POWER_BUTTON  10h -> 00h   POWER_BUTTON_ENABLE 1 -> 0\n"
                      "host  | the front panel's power button is locked\n");
    set_pwr_button(1);
    pass_ms(100);
    set_pwr_button(0);
    EXPECT_EQ(told(), "board | CPLD 83h POWER_BUTTON  00h -> 10h   POWER_BUTTON_ENABLE 0 -> 1\n"
                      "board | CPLD 83h POWER_BUTTON  10h -> 90h   POWER_BUTTON_PRESSED 0 -> 1\n"
                      "host  | the power button goes down\n"
                      "board | CPLD 83h POWER_BUTTON  90h -> 10h   POWER_BUTTON_PRESSED 1 -> 0\n"
                      "host  | the power button comes up again; it was held for 130 ms\n"
                      "board | CPLD 83h POWER_BUTTON  10h -> 00h   POWER_BUTTON_ENABLE 1 -> 0\n");
    pass_ms(600);
    EXPECT_TRUE(
        told().starts_with("board | CPLD 83h POWER_BUTTON  00h -> 20h   POWER_EVENT_0 0 -> 1\n"
                           "board | CPLD 84h CHIPSET       00h -> 80h   CHIPSET_STATUS 0 -> 1\n"
                           "board | CPLD 85h POWER_STATE   00h -> 10h   POWER_GOOD 0 -> 1\n"
                           "host  | POWER ON: the host starts\n"));
    EXPECT_TRUE(script().succeeded());
}

TEST_F(HostScriptTest, SkipsWhatIsNoNews)
{
    start("wait 10s\n");
    heartbeat_to_cpld();
    start_cpld_test();
    set_cpld_reg(CPLD_REG_POWER_BUTTON, reg(CPLD_REG_POWER_BUTTON));
    set_cpld_reg(0x04, 0xFF);
    pass_ms(10);
    EXPECT_EQ(told(), "");
    set_reserved_regester(0, 0x5A);
    pass_ms(10);
    EXPECT_EQ(told(), "board | CPLD 0Eh RESERVED_0    00h -> 5Ah   \n");
}

TEST_F(HostScriptTest, PressesTheFrontPanelsButton)
{
    start("press 200ms\nwait power on 5s\nlock-button\npress 200ms\nunlock-button\n");
    pass_ms(2000);
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(board.host().counters().power_ons, 1U);
    EXPECT_EQ(board.host().counters().power_offs, 0U);
    EXPECT_EQ(board.host().last_press_us(), 200000U);
    const std::string text = told();
    EXPECT_NE(text.find("host  | someone presses the front panel's power button\n"
                        "board | CPLD 83h POWER_BUTTON  10h -> 50h   BUTTON_EVENT_0 0 -> 1\n"
                        "host  | the power button goes down\n"
                        "host  | the power button comes up again; it was held for 200 ms\n"),
              std::string::npos);
    EXPECT_NE(text.find("board | the button is locked: nothing happens\n"), std::string::npos);
    EXPECT_TRUE(script().succeeded());
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON) & CPLD_POWER_BUTTON_ENABLE, CPLD_POWER_BUTTON_ENABLE);
}

TEST_F(HostScriptTest, FailsAPowerStateThatDoesNotCome)
{
    start("wait power off 1s\nwait power on 1s\n");
    pass_ms(1000);
    EXPECT_EQ(told(), "");
    pass_ms(200);
    const std::string text = told();
    EXPECT_NE(text.find("FAILED, line 2: the power is not on\n"), std::string::npos);
    EXPECT_TRUE(ends_with_summary(text, "0 exchanges, 2 checks, 1 failed"));
}

TEST_F(HostScriptTest, PrintsLinesOneAfterTheOther)
{
    start("console [    0.1]  one \n console two\n");
    pass_ms(500);
    EXPECT_EQ(told(), "host  | prints    [    0.1]  one\n") << "until the controller takes it";
    EXPECT_EQ(console(), "[    0.1]  one\r\n");
    EXPECT_EQ(console(), "");
    pass_ms(100);
    EXPECT_EQ(told(), "host  | prints    two\n");
    EXPECT_EQ(console(), "two\r\n");
    pass_ms(100);
    EXPECT_TRUE(ends_with_summary(told(), "0 exchanges, 2 checks, 0 failed"));
}

TEST_F(HostScriptTest, FailsAConsoleThatNobodyTakes)
{
    start("console one\n");
    pass_ms(9900);
    EXPECT_FALSE(script().finished());
    pass_ms(200);
    const std::string text = told();
    EXPECT_NE(text.find("FAILED, line 1: nobody takes what the console prints\n"),
              std::string::npos);
    EXPECT_TRUE(ends_with_summary(text, "0 exchanges, 1 checks, 1 failed"));
}

TEST_F(HostScriptTest, ReceivesWhatTheUartSendsToTheHost)
{
    start("serial-switch 2\nexpect-input root  now\nexpect-input pass\nexpect-input third\n");
    ASSERT_GT(uart_init(0, 0), 0);
    pass_ms(10);
    EXPECT_EQ(told(), "board | the serial switch stands at arrangement 2\n");
    const auto send = [](const std::string &text) {
        return uart_write(0, reinterpret_cast<const uint8_t *>(text.data()),
                          static_cast<uint32_t>(text.size()));
    };
    EXPECT_EQ(send("root  n"), 7);
    pass_ms(100);
    EXPECT_EQ(told(), "") << "that is no line yet";
    EXPECT_EQ(send("ow\r\npas\n"), 8);
    pass_ms(100);
    EXPECT_EQ(told(), "host  | receives  root  now\n"
                      "host  | receives  pas\n"
                      "host  | FAILED, line 3: expected: pass\n");
    pass_ms(11000);
    EXPECT_NE(told().find("FAILED, line 4: nothing comes\n"), std::string::npos);
    uart_close(0);
}

TEST_F(HostScriptTest, JoinsThePanelAndTheUart)
{
    ASSERT_GT(uart_init(0, 0), 0);
    start("serial-switch 1\npanel are you there\nexpect-panel yes\npanel nobody reads this\n");
    pass_ms(10);
    uint8_t typed[32];
    EXPECT_EQ(uart_read(0, typed, sizeof(typed)), 14);
    EXPECT_EQ(std::string(typed, typed + 14), "are you there\r");
    const uint8_t answer[] = {'y', 'e', 's', '\r', '\n'};
    EXPECT_EQ(uart_write(0, answer, sizeof(answer)), 5);
    pass_ms(200);
    EXPECT_EQ(told(), "board | the serial switch stands at arrangement 1\n"
                      "panel | types     are you there\n"
                      "panel | shows     yes\n"
                      "panel | types     nobody reads this\n");
    pass_ms(11000);
    EXPECT_NE(told().find("FAILED, line 4: nobody reads the controller's UART\n"),
              std::string::npos);
    uart_close(0);
}

TEST_F(HostScriptTest, TellsAPanelThatLeadsElsewhere)
{
    start("serial-switch 6\npanel hello\nserial-switch 3\npanel host\nexpect-input host\n");
    pass_ms(1000);
    EXPECT_TRUE(told().starts_with("board | the serial switch stands at arrangement 6\n"
                                   "panel | types     hello\n"
                                   "board | the panel's connector leads nowhere: nobody hears it\n"
                                   "board | the serial switch stands at arrangement 3\n"
                                   "panel | types     host\n"
                                   "host  | receives  host\n"));
    EXPECT_TRUE(script().succeeded());
}

TEST_F(HostScriptTest, ChangesTheRateAndWaitsForTheUart)
{
    ASSERT_GT(uart_init(0, 0), 0);
    start("baud 24\nexpect-baud 4800\nexpect-baud 9600\n");
    pass_ms(500);
    EXPECT_EQ(told(), "host  | sets its serial port to 4800 baud\n"
                      "board | the FPGA prescribes divisor 24 of 115200 baud\n");
    update_uart_baud(0);
    pass_ms(100);
    EXPECT_EQ(told(), "board | the controller's UART runs at 4800 baud\n");
    pass_ms(11000);
    EXPECT_NE(told().find("FAILED, line 3: the controller's UART does not run at 9600 baud\n"),
              std::string::npos);
    uart_close(0);
}

TEST_F(HostScriptTest, CrashesAndWaitsForTheBlackBox)
{
    set_blackbox_status(1);
    start("console one\ncrash Panic\n");
    pass_ms(10);
    EXPECT_EQ(console(), "one\r\n");
    told();
    pass_ms(100);
    EXPECT_EQ(told(), "host  | CRASH: Panic\n"
                      "board | the black box records the last 10 bytes of the console\n");
    EXPECT_EQ(console(), "Panic\r\n");
    uint32_t present = 0;
    EXPECT_EQ(get_blackbox_data_lenth(&present), 0);
    EXPECT_EQ(present, 1U);
    EXPECT_EQ(black_box(8), "one\nPani") << "not all of it";
    pass_ms(1000);
    EXPECT_FALSE(script().finished());
    EXPECT_EQ(black_box(10), "one\nPanic\n");
    pass_ms(200);
    EXPECT_FALSE(script().finished()) << "it may be fetched once more";
    EXPECT_EQ(black_box(10), "one\nPanic\n");
    pass_ms(250);
    EXPECT_FALSE(script().finished());
    pass_ms(250);
    EXPECT_TRUE(script().succeeded());
}

TEST_F(HostScriptTest, FailsACrashThatNobodyFetches)
{
    set_blackbox_status(1);
    start("crash Panic\n");
    pass_ms(10);
    console();
    pass_ms(11000);
    EXPECT_NE(told().find("FAILED, line 1: nobody fetches the black box\n"), std::string::npos);
}

TEST_F(HostScriptTest, CrashesWithoutABlackBox)
{
    start("crash Panic\n");
    pass_ms(10);
    EXPECT_EQ(told(), "host  | CRASH: Panic\n"
                      "board | the black box is off: nothing is recorded\n");
    EXPECT_EQ(console(), "Panic\r\n");
    pass_ms(100);
    EXPECT_TRUE(script().succeeded());
    EXPECT_FALSE(board.black_box().present());
}

TEST_F(HostScriptTest, RecordsOnlyTheLastWords)
{
    set_blackbox_status(1);
    start("console " + std::string(900, 'a') + "\nconsole " + std::string(900, 'b') + "\ncrash " +
          std::string(900, 'c') + "\n");
    for (int i = 0; i < 3; ++i) {
        pass_ms(100);
        console();
    }
    EXPECT_EQ(black_box(2048), std::string(245, 'a') + "\n" + std::string(900, 'b') + "\n" +
                                   std::string(900, 'c') + "\n");
    pass_ms(500);
    EXPECT_TRUE(script().succeeded());
}

TEST_F(HostScriptTest, WritesHeadingsWithTheTime)
{
    start("wait 1500ms\nsay Half past one\n");
    pass_ms(2000);
    EXPECT_TRUE(told().starts_with("\n-- Half past one " + std::string(69, '-') + "    1.500 s\n"));
}

TEST_F(HostScriptTest, EndsAnEmptyScriptAtOnce)
{
    start("# nothing\n\n   \n");
    pass_ms(1);
    EXPECT_TRUE(ends_with_summary(told(), "0 exchanges, 0 checks, 0 failed"));
    EXPECT_EQ(endings(), 1U);
}

TEST_F(HostScriptTest, StandsAtALine)
{
    start("# one\nwait 1s\nwait 1s\n");
    EXPECT_EQ(script().line(), 2U);
    pass_ms(1500);
    EXPECT_EQ(script().line(), 3U);
    pass_ms(1500);
    EXPECT_EQ(script().line(), 0U);
}

struct BadLine {
    const char *name;
    const char *text;
    const char *complaint;
};

void PrintTo(const BadLine &bad, std::ostream *stream)
{
    *stream << bad.name;
}

class BadScriptTest : public ::testing::TestWithParam<BadLine> {};

TEST_P(BadScriptTest, IsRefusedWithItsLine)
{
    Board board;
    std::istringstream text(std::string("say fine\n# fine\n") + GetParam().text + "\n");
    try {
        HostScript script(board, text, stdout);
        FAIL() << "accepted";
    } catch (const ScriptError &error) {
        EXPECT_EQ(error.what(), std::string("line 3: ") + GetParam().complaint);
    }
}

const BadLine bad_lines[] = {
    {"Unknown", "shout hello", "unknown statement \"shout\""},
    {"SayNothing", "say", "say: a text is missing"},
    {"NameWithoutText", "name 30 01", "name: NETFN, CMD and a text are needed"},
    {"KcsAlone", "kcs", "kcs: NETFN and CMD are needed"},
    {"KcsWithoutCommand", "kcs 06", "kcs: NETFN and CMD are needed"},
    {"KcsNetFnTooLarge", "kcs 40 01", "kcs: a NetFn has 6 bits"},
    {"KcsNoByte", "kcs 06 xy", "kcs: \"xy\" is no hexadecimal byte"},
    {"KcsHalfAByte", "kcs 06 1z", "kcs: \"1z\" is no hexadecimal byte"},
    {"KcsLargeByte", "kcs 06 100", "kcs: \"100\" is no hexadecimal byte"},
    {"KcsNegativeByte", "kcs 06 -1", "kcs: \"-1\" is no hexadecimal byte"},
    {"KcsAnyByte", "kcs 06 --", "kcs: \"--\" is no hexadecimal byte"},
    {"CodeMissing", "expect-code", "expect-code: one completion code is needed"},
    {"CodesTooMany", "expect-code 00 01", "expect-code: one completion code is needed"},
    {"DataNoByte", "expect-data 00 ..", "expect-data: \"..\" is no hexadecimal byte"},
    {"WaitAlone", "wait", "wait: one time is needed"},
    {"WaitWithoutUnit", "wait 5", "wait: \"5\" is no time like 200ms or 5s"},
    {"WaitWithoutNumber", "wait ms", "wait: \"ms\" is no time like 200ms or 5s"},
    {"WaitBareUnit", "wait s", "wait: \"s\" is no time like 200ms or 5s"},
    {"WaitNegative", "wait -5s", "wait: \"-5s\" is no time like 200ms or 5s"},
    {"WaitHuge", "wait 4294967296s", "wait: \"4294967296s\" is no time like 200ms or 5s"},
    {"WaitPowerAlone", "wait power",
     "wait: it is \"wait power on TIME\" or \"wait power off TIME\""},
    {"WaitPowerMaybe", "wait power up 1s",
     "wait: it is \"wait power on TIME\" or \"wait power off TIME\""},
    {"PressAlone", "press", "press: one time is needed"},
    {"PressTwice", "press 1s 1s", "press: one time is needed"},
    {"ConsoleNothing", "console ", "console: a text is missing"},
    {"InputNothing", "expect-input", "expect-input: a text is missing"},
    {"PanelNothing", "panel", "panel: a text is missing"},
    {"PanelShowsNothing", "expect-panel", "expect-panel: a text is missing"},
    {"CrashNothing", "crash", "crash: a text is missing"},
    {"BaudAlone", "baud", "baud: one divisor is needed"},
    {"BaudZero", "baud 0", "baud: a divisor is 1 to 115200"},
    {"BaudHuge", "baud 115201", "baud: a divisor is 1 to 115200"},
    {"BaudWord", "baud fast", "baud: \"fast\" is no number"},
    {"RateAlone", "expect-baud", "expect-baud: one rate is needed"},
    {"RateUnknown", "expect-baud 7200", "expect-baud: no terminal has this rate"},
    {"RateNegative", "expect-baud -1", "expect-baud: \"-1\" is no number"},
    {"SwitchAlone", "serial-switch", "serial-switch: one arrangement is needed"},
    {"SwitchBeyond", "serial-switch 16", "serial-switch: an arrangement is 0 to 15"},
    {"LockWhat", "lock-button now", "lock-button: nothing may follow"},
    {"UnlockWhat", "unlock-button now", "unlock-button: nothing may follow"},
};

INSTANTIATE_TEST_SUITE_P(Lines, BadScriptTest, ::testing::ValuesIn(bad_lines),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace
} // namespace board_test
