#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/virtual_board/backend/client.h"

namespace {

using nlohmann::json;
using virtual_board::HostInterface;
using virtual_board::Message;
using virtual_board::OpenFile;

// A controller that answers what the host sends, as a program would: it polls the
// FPGA's node.
class Controller {
public:
    Controller(virtual_board::Board &board, uint8_t data_command)
        : board_(board), command_(data_command)
    {
        EXPECT_EQ(board.open("/dev/ipmc_fpga", O_RDWR, file_), 0);
    }
    ~Controller() { board_.close(*file_); }
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    // Waits for a request and returns it.
    Message take()
    {
        while (true) {
            uint8_t record[256] = {command_};
            const long got = board_.read(*file_, record, sizeof(record));
            if (got > 0) {
                return {record, record + got};
            }
            std::this_thread::yield();
        }
    }
    void answer(const Message &message)
    {
        Message record = {command_, static_cast<uint8_t>(message.size())};
        record.insert(record.end(), message.begin(), message.end());
        EXPECT_EQ(board_.write(*file_, record.data(), record.size()),
                  static_cast<long>(record.size()));
    }

private:
    virtual_board::Board &board_;
    uint8_t command_;
    std::shared_ptr<OpenFile> file_;
};

class HostRequests : public board_test::BackendTest {
protected:
    json host(json request)
    {
        request["request"] = "host";
        return ask(request);
    }
};

struct Interface {
    const char *name;
    uint8_t command;
};

void PrintTo(const Interface &one, std::ostream *out)
{
    *out << one.name;
}

class HostMessages : public HostRequests, public testing::WithParamInterface<Interface> {};

TEST_P(HostMessages, AreSentAnsweredAndExplained)
{
    Message seen;
    std::thread controller([&] {
        Controller bus(board, GetParam().command);
        seen = bus.take();
        bus.answer({0x1C, 0x02, 0x00}); // of another request
        bus.answer({0x1C, 0x01, 0xC1});
    });
    const json answer =
        host({{"action", "send"}, {"interface", GetParam().name}, {"bytes", "18 01 55"}});
    controller.join();
    EXPECT_EQ(seen, (Message{0x18, 0x01, 0x55}));
    EXPECT_EQ(answer, (json{{"ok", true},
                            {"request", "18 01 55"},
                            {"request_text", "Get Device ID (NetFn 06h App, command 01h)"},
                            {"answer", "1C 01 C1"},
                            {"answer_text", {"completion code C1h: invalid command"}}}));
}

INSTANTIATE_TEST_SUITE_P(Both, HostMessages,
                         testing::Values(Interface{"kcs", 0x31}, Interface{"bt", 0x71}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(HostRequests, AMessageThatNobodyTakesIsTakenBack)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(host({{"action", "send"}, {"bytes", {24, 1}}, {"timeout_ms", 50}}),
              (json{{"error", "the controller did not take the message"}}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    EXPECT_FALSE(board.host().kcs.request_pending());
}

TEST_F(HostRequests, AMessageWithoutAnAnswerIsTold)
{
    std::thread controller([&] { Controller(board, 0x31).take(); });
    EXPECT_EQ(host({{"action", "send"}, {"bytes", {24, 1}}, {"timeout_ms", 500}}),
              (json{{"error", "the controller took the message and did not answer"}}));
    controller.join();
}

// Each gets the answer to its own message, though both look alike.
TEST_F(HostRequests, TwoClientsTakeTurns)
{
    std::thread controller([&] {
        Controller bus(board, 0x31);
        for (int i = 0; i < 2; ++i) {
            const Message request = bus.take();
            EXPECT_FALSE(board.act([&] { return board.host().kcs.request_pending(); }));
            bus.answer({0x1C, 0x01, 0x00, request[2]});
        }
    });
    json answers[2];
    std::thread other([&] { answers[1] = host({{"action", "send"}, {"bytes", "18 01 22"}}); });
    answers[0] = host({{"action", "send"}, {"bytes", "18 01 11"}});
    other.join();
    controller.join();
    EXPECT_EQ(answers[0]["answer"], "1C 01 00 11");
    EXPECT_EQ(answers[1]["answer"], "1C 01 00 22");
}

TEST_F(HostRequests, AClientWhoseTurnDoesNotComeIsTold)
{
    board_test::Collected patient;
    std::thread other([&] {
        backend.serve({{"request", "host"}, {"action", "send"}, {"bytes", "18 01"}}, patient);
    });
    while (!board.act([&] { return board.host().kcs.request_pending(); })) {
        std::this_thread::yield();
    }
    EXPECT_EQ(host({{"action", "send"}, {"bytes", "18 02"}, {"timeout_ms", 10}}),
              (json{{"error", "the interface is busy with another client's message"}}));
    patient.leave();
    other.join();
    EXPECT_EQ(patient.lines().size(), 1U);
}

TEST_F(HostRequests, PowerComesAndGoes)
{
    EXPECT_EQ(host({{"action", "on"}}), (json{{"ok", true}, {"changed", true}}));
    EXPECT_EQ(host({{"action", "on"}}), (json{{"ok", true}, {"changed", false}}));
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(host({{"action", "reset"}}), (json{{"ok", true}}));
    EXPECT_EQ(board.host().counters().resets, 1U);
    EXPECT_EQ(host({{"action", "off"}}), (json{{"ok", true}, {"changed", true}}));
    EXPECT_FALSE(board.host().powered());
    EXPECT_EQ(host({{"action", "reset"}}), (json{{"error", "the host is off"}}));
    EXPECT_EQ(board.host().counters().resets, 1U);
}

TEST_F(HostRequests, ACrashIsKeptByAnEnabledBox)
{
    EXPECT_EQ(host({{"action", "crash"}, {"bytes", "01 02"}}),
              (json{{"ok", true}, {"kept", false}}));
    EXPECT_EQ(value("black_box.bytes"), 0);
    std::shared_ptr<OpenFile> file;
    ASSERT_EQ(board.open("/dev/ipmc_fpga", O_RDWR, file), 0);
    const uint8_t enable[] = {0x61, 292 & 0xFF, 292 >> 8, 3, 0, 0, 0};
    board.write(*file, enable, sizeof(enable));
    EXPECT_EQ(host({{"action", "crash"}, {"bytes", "01 02"}}),
              (json{{"ok", true}, {"kept", true}}));
    EXPECT_EQ(value("black_box.bytes"), 2);
    board.close(*file);
}

TEST_F(HostRequests, ConsoleKeepsWhatTheHostPrints)
{
    EXPECT_EQ(host({{"action", "print"}, {"text", "boot\x1B\n"}}),
              (json{{"ok", true}, {"lost", 0}}));
    EXPECT_EQ(host({{"action", "console"}}),
              (json{{"ok", true}, {"text", "boot?\n"}, {"bytes", "62 6F 6F 74 1B 0A"}}));
    EXPECT_EQ(host({{"action", "print"}, {"text", std::string(1024, 'x')}})["lost"], 6);
    EXPECT_EQ(value("console.lost"), 6);
}

TEST_F(HostRequests, PostCodesAndIpmbMessagesReachTheFpga)
{
    EXPECT_EQ(host({{"action", "post"}, {"code", "0xA5"}}), (json{{"ok", true}}));
    host({{"action", "post"}, {"code", 1}});
    EXPECT_EQ(value("slot.post_offset"), 1);
    EXPECT_EQ(host({{"action", "ipmb"}, {"channel", 2}, {"bytes", "20 18 C8"}}),
              (json{{"ok", true}}));
    EXPECT_EQ(value("ipmb.2.waiting"), 1);
    EXPECT_EQ(value("ipmb.0.waiting"), 0);
}

TEST_F(HostRequests, SerialPortsFarEndTalksAndListens)
{
    const int port = open(board.uart().real_path()->c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(port, 0);
    termios raw = board.uart().attributes();
    cfmakeraw(&raw);
    ASSERT_EQ(tcsetattr(port, TCSANOW, &raw), 0);

    EXPECT_EQ(host({{"action", "uart_send"}, {"text", "ping"}}), (json{{"ok", true}}));
    char buffer[8] = {};
    EXPECT_EQ(read(port, buffer, sizeof(buffer)), 4);
    EXPECT_STREQ(buffer, "ping");

    std::thread late([&] {
        EXPECT_EQ(write(port, "po", 2), 2);
        EXPECT_EQ(write(port, "ng\xFF", 3), 3);
    });
    EXPECT_EQ(host({{"action", "uart_receive"}, {"at_least", 5}}),
              (json{{"ok", true}, {"text", "pong?"}, {"bytes", "70 6F 6E 67 FF"}}));
    late.join();
    EXPECT_EQ(host({{"action", "uart_receive"}, {"at_least", 0}}),
              (json{{"ok", true}, {"text", ""}, {"bytes", ""}}));
    EXPECT_EQ(host({{"action", "uart_receive"}, {"timeout_ms", 1}})["text"], "");
    close(port);
}

TEST_F(HostRequests, APortThatNobodyReadsFillsUp)
{
    const std::string text(1 << 20, 'x');
    const json answer = host({{"action", "uart_send"}, {"text", text}, {"timeout_ms", 10}});
    EXPECT_NE(answer.value("error", "").find(" bytes found no room in the port"), std::string::npos)
        << answer;
}

} // namespace
