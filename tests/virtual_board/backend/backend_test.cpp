#include "virtual_board/backend/backend.h"

#include <random>

#include "board_hal_cpld.h"
#include "tests/virtual_board/backend/client.h"
#include "virtual_board/backend/text.h"

namespace {

using nlohmann::json;
using virtual_board::Fault;
using virtual_board::Operation;

class BackendRequests : public board_test::BackendTest {
protected:
    // A request that a part of a board is moved.
    json move(const std::string &request, const std::string &part)
    {
        return ask({{"request", request}, {"part", part}});
    }
};

struct Malformed {
    json request;
    const char *error;
};

const Malformed malformed[] = {
    {nullptr, "a request is a JSON object"},
    {7, "a request is a JSON object"},
    {"state", "a request is a JSON object"},
    {json::array({"state"}), "a request is a JSON object"},
    {json::object(), "\"request\" is missing"},
    {{{"request", 7}}, "\"request\" must be a text"},
    {{{"request", ""}}, "no request \"\""},
    {{{"request", "State"}}, "no request \"State\""},
    {{{"request", "\xC3\x28"}}, "no request \"?(\""},
    {{{"request", "state"}, {"verbose", true}}, "\"verbose\" is not an argument of this request"},
    {{{"request", "press"}}, "\"button\" is missing"},
    {{{"request", "press"}, {"button", "reset"}}, "no button \"reset\""},
    {{{"request", "press"}, {"button", "power"}, {"hold_ms", 0}},
     "\"hold_ms\" must be a number from 1 to 60000"},
    {{{"request", "press"}, {"button", "power"}, {"hold_ms", "long"}},
     "\"hold_ms\" must be a number from 1 to 60000"},
    {{{"request", "press"}, {"button", "power"}, {"hold_ms", 60001}},
     "\"hold_ms\" must be a number from 1 to 60000"},
    {{{"request", "pull"}, {"part", "disk.4"}}, "no part \"disk.4\""},
    {{{"request", "pull"}, {"part", nullptr}}, "\"part\" must be a text"},
    {{{"request", "seat"}, {"part", "disk.0"}}, "disk.0 is seated already"},
    {{{"request", "pull"}, {"part", "disk.3"}}, "disk.3 is not seated"},
    {{{"request", "set"}, {"name", "network.link"}}, "\"value\" is missing"},
    {{{"request", "set"}, {"name", 1}, {"value", 1}}, "\"name\" must be a text"},
    {{{"request", "set"}, {"name", "network.link"}, {"value", -1}},
     "network.link takes a number from 0 to 4294967295"},
    {{{"request", "set"}, {"name", "leds.0"}, {"value", true}}, "leds.0 can only be read"},
    {{{"request", "fault"}}, "\"action\" is missing"},
    {{{"request", "fault"}, {"action", "remove"}}, "no action \"remove\""},
    {{{"request", "fault"}, {"action", "add"}}, "\"text\" is missing"},
    {{{"request", "fault"}, {"action", "clear"}, {"text", "x"}},
     "\"text\" is not an argument of this request"},
    {{{"request", "fault"}, {"action", "add"}, {"text", "x"}},
     "fault \"x\": it is DEVICE:OPERATION:KIND"},
    {{{"request", "trace"}, {"operations", {"leap"}}}, "no operation \"leap\""},
    {{{"request", "trace"}, {"devices", "fpga"}}, "\"devices\" must be a list of texts"},
    {{{"request", "trace"}, {"devices", {1}}}, "\"devices\" must be a list of texts"},
    {{{"request", "host"}}, "\"action\" is missing"},
    {{{"request", "host"}, {"action", "dance"}}, "no action \"dance\""},
    {{{"request", "host"}, {"action", "on"}, {"off", 1}},
     "\"off\" is not an argument of this request"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", "18"}},
     "\"bytes\" must be 2 to 254 bytes"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", "18 zz"}},
     "\"bytes\": not every one is a byte"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", {24, 256}}},
     "\"bytes\": not every one is a byte"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", {24, 1.5}}},
     "\"bytes\": not every one is a byte"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", 24}},
     "\"bytes\" must be a list of bytes, or a hexadecimal text"},
    {{{"request", "host"}, {"action", "send"}, {"bytes", "18 01"}, {"interface", "smic"}},
     "no interface \"smic\"; there are kcs and bt"},
    {{{"request", "host"}, {"action", "post"}, {"code", 256}},
     "\"code\" must be a number from 0 to 255"},
    {{{"request", "host"}, {"action", "ipmb"}, {"channel", 3}, {"bytes", {1}}},
     "\"channel\" must be a number from 0 to 2"},
};

TEST_F(BackendRequests, AMalformedOneIsAnsweredAndDoesNothing)
{
    const json before = ask({{"request", "state"}});
    for (const Malformed &row : malformed) {
        EXPECT_EQ(ask(row.request), (json{{"error", row.error}})) << row.request;
    }
    EXPECT_EQ(ask({{"request", "state"}}), before);
}

// Any JSON at all, of words that mean something to the backend.
class RandomJson {
public:
    json next(unsigned depth)
    {
        switch (below(depth == 0 ? 7 : 9)) {
        case 0:
            return nullptr;
        case 1:
            return below(2) == 0;
        case 2:
            return static_cast<int64_t>(random_()) - (1 << 30);
        case 3:
            return 1e300 / (1.0 + static_cast<double>(random_()));
        case 4:
        case 5:
        case 6:
            return words_[below(words_.size())];
        case 7: {
            json list = json::array();
            for (size_t i = below(4); i > 0; --i) {
                list.push_back(next(depth - 1));
            }
            return list;
        }
        default: {
            json object = json::object();
            for (size_t i = below(6); i > 0; --i) {
                object[words_[below(words_.size())]] = next(depth - 1);
            }
            return object;
        }
        }
    }
    // Likely to get past the first checks.
    json request()
    {
        const auto &[name, arguments] = requests_[below(requests_.size())];
        json object = {{"request", name}};
        for (const std::string &argument : arguments) {
            if (below(8) != 0) {
                object[argument] = next(1);
            }
        }
        if (name == "host") {
            object["timeout_ms"] = 0;
        }
        return object;
    }

private:
    size_t below(size_t limit) { return random_() % limit; }

    std::minstd_rand random_{1};
    std::vector<std::string> words_ = {"request",
                                       "action",
                                       "name",
                                       "value",
                                       "part",
                                       "button",
                                       "hold_ms",
                                       "bytes",
                                       "text",
                                       "code",
                                       "power",
                                       "add",
                                       "list",
                                       "disk.0",
                                       "cpld.TEST",
                                       "18 01",
                                       "send",
                                       "print",
                                       "reset",
                                       "crash",
                                       "ipmb",
                                       "flash.powered",
                                       "inlet_sensor",
                                       "0xFF",
                                       "",
                                       "clear",
                                       "on",
                                       "off",
                                       "kcs",
                                       "uart_receive",
                                       "uart_send",
                                       "post",
                                       "console",
                                       "\xFF\xFE",
                                       "channel",
                                       "at_least",
                                       "mtd3:write:error",
                                       "gpio.1.level"};
    std::vector<std::pair<std::string, std::vector<std::string>>> requests_ = {
        {"host", {"action", "text"}},
        {"host", {"action", "bytes"}},
        {"host", {"action"}},
        {"press", {"button", "hold_ms"}},
        {"pull", {"part"}},
        {"seat", {"part"}},
        {"set", {"name", "value"}},
        {"get", {"name"}},
        {"fault", {"action", "text"}},
        {"fault", {"action"}},
        {"state", {"name"}}};
};

TEST_F(BackendRequests, WhateverIsAskedIsAnswered)
{
    RandomJson random;
    size_t errors = 0;
    for (unsigned i = 0; i < 3000; ++i) {
        const json request = i % 3 == 0 ? random.next(3) : random.request();
        const json answer = ask(request);
        ASSERT_TRUE(answer.is_object()) << request;
        ASSERT_NE(answer.contains("ok"), answer.contains("error")) << request << answer;
        ASSERT_EQ(answer.value("error", "").find("internal"), std::string::npos) << answer;
        errors += answer.contains("error") ? 1 : 0;
    }
    EXPECT_GT(errors, 1000U);
    EXPECT_LT(errors, 2970U);
}

TEST_F(BackendRequests, AClientThatHasGoneIsNoHarm)
{
    board_test::Collected client;
    client.leave();
    backend.serve({{"request", "trace"}}, client);
    backend.serve({{"request", "host"}, {"action", "send"}, {"bytes", "18 01"}}, client);
    EXPECT_EQ(client.lines().back(), (json{{"error", "the board has gone"}}));
    EXPECT_FALSE(board.host().kcs.request_pending());
}

TEST_F(BackendRequests, PowerButtonIsPressedForAsLongAsIsSaid)
{
    EXPECT_EQ(ask({{"request", "press"}, {"button", "power"}, {"hold_ms", 300}}),
              (json{{"ok", true}}));
    board.clock.advance_us(2000000);
    EXPECT_EQ(board.host().last_press_us(), 300000U);
    EXPECT_TRUE(board.host().powered());
    ask({{"request", "press"}, {"button", "power"}});
    board.clock.advance_us(2000000);
    EXPECT_EQ(board.host().last_press_us(), 200000U);
    EXPECT_FALSE(board.host().powered());
}

TEST_F(BackendRequests, ALockedPowerButtonIsNotPressed)
{
    board.cpld().clear_bits(CPLD_REG_POWER_BUTTON, CPLD_POWER_BUTTON_ENABLE);
    EXPECT_EQ(error({{"request", "press"}, {"button", "power"}}), "the power button is locked");
}

TEST_F(BackendRequests, TheOtherButtonIsLatched)
{
    EXPECT_EQ(ask({{"request", "press"}, {"button", "event_1"}}), (json{{"ok", true}}));
    EXPECT_EQ(board.cpld().get(CPLD_REG_BUTTON_EVENT_B), CPLD_BUTTON_EVENT_1);
}

TEST_F(BackendRequests, EveryPartCanBePulledAndSeated)
{
    const json parts = value("parts").flatten();
    EXPECT_EQ(parts.size(), 21U);
    for (const auto &[pointer, seated] : parts.items()) {
        std::string part = pointer.substr(1);
        std::replace(part.begin(), part.end(), '/', '.');
        const char *const moves[] = {"pull", "seat", "pull"};
        for (size_t i = seated == true ? 0 : 1; i < 3; ++i) {
            EXPECT_EQ(move(moves[i], part), (json{{"ok", true}})) << moves[i] << part;
            EXPECT_EQ(value("parts." + part), i == 1) << part;
            EXPECT_TRUE(move(moves[i], part).contains("error")) << moves[i] << part;
        }
    }
}

TEST_F(BackendRequests, PulledPartsAreGoneFromTheHardware)
{
    move("pull", "disk.1");
    EXPECT_FALSE(board.disks().inserted(1));
    EXPECT_TRUE(board.disks().inserted(0));
    move("pull", "cpu.0");
    EXPECT_FALSE(board.cpus().fitted(0));
    move("pull", "raid_card");
    EXPECT_EQ(board.cpld().get(CPLD_REG_RAID_STATUS), 0);
    EXPECT_EQ(board.i2c(2).chip(0x20), nullptr);
    move("pull", "amc.0");
    EXPECT_EQ(board.cpld().get(CPLD_REG_AMC_PRESENCE), 0x02);
    move("pull", "blade");
    EXPECT_EQ(board.slot().insertion_byte(), 0x60);
    move("pull", "inlet_sensor");
    EXPECT_EQ(board.i2c(2).chip(0x48), nullptr);

    move("seat", "cpu.0");
    EXPECT_EQ(board.cpld().get(CPLD_REG_CPU0_STATUS), 0xB0);
    move("seat", "raid_card");
    EXPECT_EQ(board.cpld().get(CPLD_REG_RAID_STATUS), CPLD_RAID_NO_ERROR);
    EXPECT_NE(board.i2c(2).chip(0x20), nullptr);
}

TEST_F(BackendRequests, FaultsAreAddedListedWithTheirHitsAndCleared)
{
    const json added = ask({{"request", "fault"},
                            {"action", "add"},
                            {"text", "rtc:ioctl:error=EBUSY,skip=1,times=2,name=clock"}});
    const json expected = {{"name", "clock"},    {"device", "rtc"},  {"operation", "ioctl"},
                           {"address", nullptr}, {"place", nullptr}, {"kind", "error"},
                           {"value", EBUSY},     {"skip", 1},        {"times", 2},
                           {"per_mille", 1000},  {"hits", 0}};
    EXPECT_EQ(added, (json{{"ok", true}, {"fault", expected}}));

    std::shared_ptr<virtual_board::OpenFile> rtc;
    ASSERT_EQ(board.open("/dev/rtc", 0, rtc), 0);
    EXPECT_EQ(board.ioctl(*rtc, 0, nullptr), -ENOTTY);
    EXPECT_EQ(board.ioctl(*rtc, 0, nullptr), -EBUSY);
    const json listed = ask({{"request", "fault"}, {"action", "list"}});
    ASSERT_EQ(listed["faults"].size(), 1U);
    EXPECT_EQ(listed["faults"][0]["hits"], 1);
    EXPECT_EQ(listed["faults"], value("faults"));

    EXPECT_EQ(ask({{"request", "fault"}, {"action", "clear"}}), (json{{"ok", true}}));
    EXPECT_EQ(board.ioctl(*rtc, 0, nullptr), -ENOTTY);
    EXPECT_EQ(ask({{"request", "fault"}, {"action", "list"}})["faults"], json::array());
    board.close(*rtc);
}

TEST_F(BackendRequests, OpenNodesAreShownAsLongAsTheyAreOpen)
{
    EXPECT_EQ(value("open_files"), json::object());
    std::shared_ptr<virtual_board::OpenFile> one;
    std::shared_ptr<virtual_board::OpenFile> two;
    ASSERT_EQ(board.open("/dev/rtc", 0, one), 0);
    ASSERT_EQ(board.open("/dev/rtc", 0, two), 0);
    EXPECT_EQ(value("open_files"), (json{{"/dev/rtc", 2}}));
    board.close(*one);
    board.close(*two);
    EXPECT_EQ(value("open_files"), json::object());
}

TEST(BackendText, ChecksumsAreThoseOfCrc32)
{
    const std::string digits = "123456789";
    const auto *bytes = reinterpret_cast<const uint8_t *>(digits.data());
    EXPECT_EQ(virtual_board::checksum({bytes, 9}), "cbf43926");
    EXPECT_EQ(virtual_board::checksum({bytes, 4}), "9be3e0a3");
    EXPECT_EQ(virtual_board::checksum({}), "00000000");
    EXPECT_EQ(virtual_board::checksum(std::vector<uint8_t>(65536, 0xFF)), "deab7e4e");
}

} // namespace
