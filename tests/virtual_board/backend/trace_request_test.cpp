#include <thread>

#include "board_hal_cpld.h"
#include "tests/virtual_board/backend/client.h"

namespace {

using nlohmann::json;
using virtual_board::OpenFile;

class TraceRequest : public board_test::BackendTest {
protected:
    void store(uint32_t offset, uint8_t value)
    {
        const uint8_t before = board.cpld().get(offset);
        board.cpld().set(offset, value);
        board.stored(offset, before);
    }
    void open_and_close()
    {
        std::shared_ptr<OpenFile> file;
        ASSERT_EQ(board.open("/dev/rtc", 0, file), 0);
        board.close(*file);
    }

    // Follows with the request while the action runs.
    std::vector<json> follow(json request, const std::function<void()> &action)
    {
        request["request"] = "trace";
        board_test::Collected client;
        std::thread follower([&] { backend.serve(request, client); });
        client.wait_for(1);
        action();
        follower.join();
        return client.lines();
    }
};

TEST_F(TraceRequest, FollowsWhatHappensFromThenOn)
{
    store(CPLD_REG_TEST, 1);
    const std::vector<json> lines = follow({{"count", 3}}, [&] {
        store(CPLD_REG_CHIPSET, CPLD_NMI_REQUEST);
        board.clock.advance_us(1250000);
        open_and_close();
    });
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], (json{{"following", true}}));
    EXPECT_EQ(lines[1], (json{{"event",
                               {{"time_us", 0},
                                {"operation", "store"},
                                {"device", "cpld"},
                                {"address", CPLD_REG_CHIPSET},
                                {"count", 1},
                                {"result", 0x20},
                                {"bytes", "00 20"},
                                {"name", "CHIPSET"},
                                {"before", 0},
                                {"after", 0x20},
                                {"bits", "NMI_REQUEST 0 -> 1"},
                                {"text", "     0.000000 cpld store 0x84 CHIPSET 0x00 -> 0x20 "
                                         "(NMI_REQUEST 0 -> 1)"}}}}));
    EXPECT_EQ(lines[2]["event"]["text"], "     1.250000 rtc open O_RDONLY = 0");
    EXPECT_EQ(lines[3]["event"]["operation"], "close");
    EXPECT_EQ(lines[4], (json{{"ok", true}, {"events", 3}, {"lost", 0}}));
}

TEST_F(TraceRequest, IsFilteredByDeviceAndOperation)
{
    const auto act = [&] {
        open_and_close();
        store(CPLD_REG_TEST, 1);
        board.slept(10);
        open_and_close();
        store(CPLD_REG_TEST, 2);
    };
    const auto words = [&](const json &request) {
        std::string text;
        for (const json &line : follow(request, act)) {
            if (line.contains("event")) {
                text += line["event"]["device"].get<std::string>() + " " +
                        line["event"]["operation"].get<std::string>() + ", ";
            }
        }
        return text;
    };
    EXPECT_EQ(words({{"count", 4}, {"devices", {"rtc"}}}),
              "rtc open, rtc close, rtc open, rtc close, ");
    EXPECT_EQ(words({{"count", 3}, {"operations", {"open", "sleep"}}}),
              "rtc open,  sleep, rtc open, ");
    EXPECT_EQ(words({{"count", 2}, {"devices", {"cpld", "rtc"}}, {"operations", {"store"}}}),
              "cpld store, cpld store, ");
}

TEST_F(TraceRequest, EndsWhenTheClientGoes)
{
    board_test::Collected client;
    std::thread follower([&] { backend.serve({{"request", "trace"}}, client); });
    client.wait_for(1);
    client.leave();
    follower.join();
    EXPECT_EQ(client.lines().back(), (json{{"error", "the board has gone"}}));
    open_and_close(); // nobody listens any more
    EXPECT_EQ(client.lines().size(), 2U);
}

// Its first event is taken, then it stands still until it is let go.
class SlowClient : public board_test::Collected {
public:
    bool send(const json &line) override
    {
        const bool there = Collected::send(line);
        if (line.contains("event")) {
            std::unique_lock guard(gate_);
            stuck_ = true;
            news_.notify_all();
            news_.wait(guard, [this] { return free_; });
        }
        return there;
    }
    void wait_until_stuck()
    {
        std::unique_lock guard(gate_);
        news_.wait(guard, [this] { return stuck_; });
    }
    void let_go()
    {
        const std::lock_guard guard(gate_);
        free_ = true;
        news_.notify_all();
    }

private:
    std::mutex gate_;
    std::condition_variable news_;
    bool stuck_ = false;
    bool free_ = false;
};

TEST_F(TraceRequest, ASlowClientLosesEventsAndHoldsNobodyUp)
{
    SlowClient client;
    std::thread follower([&] { backend.serve({{"request", "trace"}, {"count", 10002}}, client); });
    client.wait_for(1);
    board.slept(0);
    client.wait_until_stuck();
    for (uint64_t i = 1; i <= 10007; ++i) {
        board.slept(0);
    }
    client.let_go();
    // One more ends the request.
    client.wait_for(10003);
    board.slept(0);
    follower.join();
    const std::vector<json> lines = client.lines();
    EXPECT_EQ(lines[10002], (json{{"lost", 7}}));
    EXPECT_EQ(lines.back(), (json{{"ok", true}, {"events", 10002}, {"lost", 7}}));
    EXPECT_EQ(lines.size(), 10005U);
}

TEST_F(TraceRequest, SeveralClientsFollowAtOnce)
{
    const std::vector<json> outer = follow({{"count", 2}, {"devices", {"cpld"}}}, [&] {
        const std::vector<json> inner = follow({{"count", 1}}, [&] { store(CPLD_REG_TEST, 1); });
        EXPECT_EQ(inner.size(), 3U);
        store(CPLD_REG_TEST, 2);
    });
    EXPECT_EQ(outer.size(), 4U);
}

} // namespace
