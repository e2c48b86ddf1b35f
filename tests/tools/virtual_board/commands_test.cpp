#include "tools/virtual_board/commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <thread>

#include "board_hal_cpld.h"
#include "virtual_board/backend/backend.h"

namespace {

using nlohmann::json;
using virtual_board::Backend;
using virtual_board::BackendConnection;
using virtual_board::Board;

// The board's end of a connection.
class Line : public virtual_board::Channel {
public:
    explicit Line(int socket) : socket_(socket) {}
    ~Line() override { close(socket_); }
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    json receive()
    {
        std::string text;
        for (char c = 0; read(socket_, &c, 1) == 1 && c != '\n';) {
            text += c;
        }
        return json::parse(text);
    }
    bool send(const json &line) override
    {
        const std::string text = line.dump() + "\n";
        return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) > 0;
    }
    bool gone() override { return false; }

private:
    int socket_;
};

// A service that takes and answers what the host sends, on and on.
class Controller {
public:
    explicit Controller(Board &board) : board_(board)
    {
        EXPECT_EQ(board.open("/dev/ipmc_fpga", O_RDWR, file_), 0);
        thread_ = std::thread([this] {
            while (!stop_) {
                poll();
            }
        });
    }
    ~Controller()
    {
        stop_ = true;
        thread_.join();
        board_.close(*file_);
    }
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

private:
    void poll()
    {
        uint8_t record[256] = {0x31};
        if (board_.read(*file_, record, sizeof(record)) > 0) {
            const uint8_t answer[] = {0x31, 3, static_cast<uint8_t>(record[0] | 4), record[1],
                                      0xC1};
            board_.write(*file_, answer, sizeof(answer));
        }
        std::this_thread::yield();
    }

    Board &board_;
    std::shared_ptr<virtual_board::OpenFile> file_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

struct Result {
    int code;
    std::string out;
    std::string errors;
};

class Commands : public testing::Test {
protected:
    Commands() { add_to(app); }
    ~Commands() override
    {
        for (std::thread &thread : threads_) {
            thread.join();
        }
    }

    void add_to(CLI::App &to)
    {
        to.require_subcommand(1);
        virtual_board::add_backend_commands(
            to, [this](const std::string &name) { return connect(name); });
    }

    // As main() does it.
    Result run(const std::string &line)
    {
        CLI::App fresh("", "virtual-board");
        add_to(fresh);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        int code = 0;
        try {
            fresh.parse(line, false);
        } catch (const CLI::RuntimeError &error) {
            code = error.get_exit_code();
        } catch (const CLI::ParseError &error) {
            code = fresh.exit(error) == 0 ? 0 : virtual_board::exit_usage;
        }
        return {code, testing::internal::GetCapturedStdout(),
                testing::internal::GetCapturedStderr()};
    }

    std::unique_ptr<BackendConnection> connect(const std::string &name)
    {
        connected_to = name;
        if (name == "nowhere") {
            throw std::runtime_error("no board \"nowhere\"");
        }
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        threads_.emplace_back([this, socket = ends[1]] {
            Line line(socket);
            const json request = line.receive();
            if (!dies) {
                backend.serve(request, line);
            }
        });
        return std::make_unique<BackendConnection>(ends[0]);
    }

    CLI::App app{"", "virtual-board"};
    Board board;
    Backend backend{board};
    std::string connected_to = "none";
    bool dies = false;

private:
    std::vector<std::thread> threads_;
};

void collect_examples(const CLI::App &app, std::vector<std::string> &examples)
{
    for (const CLI::App *command : app.get_subcommands(nullptr)) {
        const std::string footer = command->get_footer();
        const std::string begin = "Example:\n  virtual-board ";
        ASSERT_TRUE(footer.starts_with(begin)) << command->get_name() << " has no example";
        const size_t end = footer.find('\n', begin.size());
        examples.push_back(footer.substr(begin.size(), end - begin.size()));
        EXPECT_NE(examples.back().find(command->get_name()), std::string::npos) << footer;
        EXPECT_FALSE(command->get_description().empty()) << command->get_name();
        collect_examples(*command, examples);
    }
}

TEST_F(Commands, EveryHelpHasAnExampleThatWorks)
{
    std::vector<std::string> examples;
    collect_examples(app, examples);
    EXPECT_EQ(examples.size(), 23U);
    const Controller controller(board);
    board.act([&] { board.host().set_power(true); });
    for (const std::string &example : examples) {
        board.act([&] {
            board.disks().insert(1);
            board.disks().pull(3);
        });
        const Result result = run(example);
        EXPECT_EQ(result.code, 0) << example << "\n" << result.errors;
        EXPECT_EQ(result.errors, "") << example;
        board.act([&] { board.host().set_power(true); });
    }
}

TEST_F(Commands, AskTheBoardThatIsNamed)
{
    EXPECT_EQ(run("get host.powered").code, 0);
    EXPECT_EQ(connected_to, "");
    EXPECT_EQ(run("get host.powered --board lab").code, 0);
    EXPECT_EQ(connected_to, "lab");
    EXPECT_EQ(run("host on --board lab2").code, 0);
    EXPECT_EQ(connected_to, "lab2");
    EXPECT_EQ(run("host --board lab3 off").code, 0);
    EXPECT_EQ(connected_to, "lab3");
}

struct Refused {
    const char *line;
    int code;
    const char *errors; // the start of them
};

constexpr Refused refused[] = {
    {"pull disk.9", 1, "virtual-board: no part \"disk.9\"\n"},
    {"set leds.0 on", 1, "virtual-board: leds.0 can only be read\n"},
    {"set network.link fast", 1, "virtual-board: network.link takes a number from 0 to 42949"},
    {"get nothing", 1, "virtual-board: no value \"nothing\"\n"},
    {"state nothing", 1, "virtual-board: no value \"nothing\"\n"},
    {"fault add nonsense", 1, "virtual-board: fault \"nonsense\": it is DEVICE:OPERATION:KIND\n"},
    {"trace --operation leap", 1, "virtual-board: no operation \"leap\"\n"},
    {"press doorbell", 1, "virtual-board: no button \"doorbell\"\n"},
    {"host reset", 1, "virtual-board: the host is off\n"},
    {"host send 18 01 --timeout 1", 1, "virtual-board: the controller did not take the message\n"},
    {"get host.powered --board nowhere", 3, "virtual-board: no board \"nowhere\"\n"},
    {"trace --board nowhere", 3, "virtual-board: no board \"nowhere\"\n"},
    {"", 2, "A subcommand is required\n"},
    {"host", 2, "A subcommand is required\n"},
    {"host dance", 2, "A subcommand is required\n"},
    {"press", 2, "button is required\n"},
    {"press power --for 0", 2, "--for: Value 0 not in range "},
    {"press power --for long", 2, "--for: Value long not in range "},
    {"press power --hard", 2, "The following argument was not expected: --hard\n"},
    {"host send 18 1x", 2, "bytes: 1x is no hexadecimal byte\n"},
    {"host send 18 01 --interface smic", 2, "--interface: smic not in {kcs,bt}\n"},
    {"host send 18 100", 2, "bytes: 100 is no hexadecimal byte\n"},
    {"host ipmb 3 20", 2, "channel: Value 3 not in range "},
    {"host post 256", 2, "code: Value 256 not in range "},
    {"set network.link", 2, "value is required\n"},
    {"trace --count 0", 2, "--count: Value 0 not in range "},
    {"state a b", 2, "The following argument was not expected: b\n"},
};

TEST_F(Commands, WhatFailsSaysWhyAndExitsWithItsCode)
{
    for (const Refused &row : refused) {
        const Result result = run(row.line);
        EXPECT_EQ(result.code, row.code) << row.line;
        EXPECT_TRUE(result.errors.starts_with(row.errors)) << row.line << "\n" << result.errors;
        EXPECT_EQ(result.out, "") << row.line;
    }
}

TEST_F(Commands, ABoardThatGoesAwayIsTold)
{
    dies = true;
    const Result result = run("state");
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.errors, "virtual-board: the board has gone\n");
}

TEST_F(Commands, ValuesAreSetAndShown)
{
    EXPECT_EQ(run("set inlet_sensor.celsius -10.5").out,
              "inlet_sensor.celsius  -10.5  (takes a number from -55 to 125)\n");
    EXPECT_EQ(run("set network.link up").out,
              "network.link  1  (takes a number from 0 to 4294967295)\n");
    EXPECT_EQ(run("set cpld.TEST 0x5A").out,
              "cpld.TEST.value  90  (takes a number from 0 to 255)\n");
    EXPECT_EQ(run("set disks.0.failed on").out, "disks.0.failed  true  (takes true or false)\n");
    EXPECT_EQ(run("set rtc.date '2030-01-02 03:04:05'").out,
              "rtc.date  2030-01-02 03:04:05  (takes a date like \"2020-01-31 23:59:59\")\n");
    EXPECT_EQ(run("set ipmb.0.claimed_length 5").code, 0);
    EXPECT_EQ(run("set ipmb.0.claimed_length null").out,
              "ipmb.0.claimed_length  -  (takes a number from 0 to 255, or null)\n");
    EXPECT_EQ(run("set fpga.selftest.result -7").code, 0);
    EXPECT_EQ(board.fpga().selftest.result, -7);
    EXPECT_EQ(run("get leds.5").out, "leds.5  true  (can only be read)\n");
}

TEST_F(Commands, GroupsAreTables)
{
    const std::string expected = "disks.0.failed             false\n"
                                 "disks.0.flicker_period_us  0\n"
                                 "disks.0.flickers_by_load   false\n"
                                 "disks.0.present            true\n"
                                 "disks.0.r                  false\n"
                                 "disks.0.v                  true\n";
    EXPECT_EQ(run("get disks.0").out, expected);
    EXPECT_EQ(run("state disks.0").out, expected);
}

TEST_F(Commands, StateLeavesOutWhatNobodyAsksFor)
{
    board.cpld().set(0x10, 0);
    board.cpld().set(0x11, 7);
    const std::string all = run("state").out;
    EXPECT_NE(all.find("\ncpld.0x11.value "), std::string::npos);
    EXPECT_EQ(all.find("\ncpld.0x10.value "), std::string::npos);
    EXPECT_EQ(all.find(".offset "), all.find("console.offset") + 7);
    EXPECT_NE(all.find("\npersonality "), std::string::npos);
    EXPECT_LT(all.find("peci_bridge.2.value"), all.find("peci_bridge.10.value"));
}

TEST_F(Commands, JsonIsTheAnswerItself)
{
    const json state = json::parse(run("state --json").out);
    EXPECT_EQ(state["state"]["personality"], "brava-0");
    EXPECT_EQ(json::parse(run("pull disk.0 --json").out), (json{{"ok", true}}));
    EXPECT_EQ(json::parse(run("host on --json").out), (json{{"ok", true}, {"changed", true}}));
    const Result wrong = run("pull disk.0 --json");
    EXPECT_EQ(json::parse(wrong.out), (json{{"error", "disk.0 is not seated"}}));
    EXPECT_EQ(wrong.code, 1);
}

TEST_F(Commands, MessagesAreExplained)
{
    const Controller controller(board);
    EXPECT_EQ(run("host send 18 01").out,
              "request  18 01     Get Device ID (NetFn 06h App, command 01h)\n"
              "answer   1C 01 C1  completion code C1h: invalid command\n");
}

TEST_F(Commands, TheHostActsByItself)
{
    EXPECT_EQ(run("host on").out, "done\n");
    EXPECT_EQ(run("host on").out, "nothing to do\n");
    EXPECT_EQ(run("host reset").out, "done\n");
    EXPECT_EQ(run("host crash de ad").out, "the black box is disabled: the record is lost\n");
    EXPECT_EQ(run("host post 7").out, "");
    EXPECT_EQ(run("host print 'hello there'").out, "");
    EXPECT_EQ(run("host console").out, "hello there");
    EXPECT_EQ(run("host print " + std::string(1024, 'x')).out, "11 bytes found no room\n");
    EXPECT_EQ(run("host ipmb 1 20 18").out, "");
    EXPECT_EQ(board.ipmb().waiting(1), 1U);
    EXPECT_EQ(run("host uart-receive --at-least 0").out, "");
}

TEST_F(Commands, FaultsAreATable)
{
    EXPECT_EQ(run("fault add rtc:ioctl:error=EBUSY,times=3,name=busy").out, "");
    EXPECT_EQ(run("fault list").out, "HITS  DEVICE  OPERATION  KIND   VALUE  SKIP  TIMES  NAME\n"
                                     "0     rtc     ioctl      error  16     0     3      busy\n");
    EXPECT_EQ(run("fault clear").code, 0);
    EXPECT_EQ(board.faults.faults().size(), 0U);
}

TEST_F(Commands, ATraceIsALineEach)
{
    const Controller controller(board);
    EXPECT_EQ(run("trace --device fpga --operation read --count 2").out,
              "     0.000000 fpga read kcs_data = 0\n     0.000000 fpga read kcs_data = 0\n");
    const std::string lines = run("trace --count 1 --device fpga --device rtc --json").out;
    EXPECT_EQ(json::parse(lines.substr(0, lines.find('\n'))), (json{{"following", true}}));
    EXPECT_EQ(json::parse(lines.substr(lines.rfind('{', lines.size()))),
              (json{{"ok", true}, {"events", 1}, {"lost", 0}}));
}

} // namespace
