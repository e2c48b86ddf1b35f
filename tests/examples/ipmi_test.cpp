// The controller's IPMI messages, on a chassis that only takes notes.

#include "ipmi.h"

#include <gtest/gtest.h>

#include <string>

namespace chassis_controller {
namespace {

class NotedChassis : public Chassis {
public:
    bool on = false;
    bool locked = false;
    bool obeys = true;  // whether the host's power follows
    std::string broken; // the operation that fails
    std::string notes;
    std::vector<uint8_t> ram = std::vector<uint8_t>(ram_size);

    bool identify(Identity &identity) override
    {
        identity = {0x02, 0x13, 0x11, 0x21};
        return works("identify");
    }
    bool read_power(bool &value) override
    {
        value = on;
        return works("power");
    }
    bool read_button_lock(bool &value) override
    {
        value = locked;
        return works("lock");
    }
    bool press_power_button() override { return done("press"); }
    bool wait_for_power(bool value) override
    {
        return done(value ? "wait-on" : "wait-off") && obeys;
    }
    bool reset() override { return done("reset"); }
    bool interrupt() override { return done("nmi"); }
    bool read_ram(uint16_t offset, uint8_t &value) override
    {
        value = ram.at(offset);
        return done("read");
    }
    bool write_ram(uint16_t offset, uint8_t value) override
    {
        ram.at(offset) = value;
        return done("write");
    }

private:
    bool works(const char *operation) const { return broken != operation; }
    bool done(const char *operation)
    {
        notes.append(notes.empty() ? "" : " ").append(operation);
        return works(operation);
    }
};

struct Exchange {
    const char *name;
    Message request;
    Message answer;
    bool on = false;
    const char *notes = "";
    const char *broken = "";
    bool locked = false;
    bool obeys = true;
};

void PrintTo(const Exchange &exchange, std::ostream *stream)
{
    *stream << exchange.name;
}

class IpmiTest : public ::testing::TestWithParam<Exchange> {};

TEST_P(IpmiTest, AnswersAndActs)
{
    const Exchange &exchange = GetParam();
    NotedChassis chassis;
    chassis.on = exchange.on;
    chassis.locked = exchange.locked;
    chassis.obeys = exchange.obeys;
    chassis.broken = exchange.broken;
    chassis.ram[0x0000] = 0x11;
    chassis.ram[0x03FF] = 0x22;
    EXPECT_EQ(answer_to(exchange.request, chassis), exchange.answer);
    EXPECT_EQ(chassis.notes, exchange.notes);
}

const Exchange exchanges[] = {
    // No requests: no answers.
    {"Empty", {}, {}},
    {"NetFnAlone", {0x18}, {}},
    {"AnAnswer", {0x1C, 0x01}, {}},

    {"DeviceId",
     {0x18, 0x01},
     {0x1C, 0x01, 0x00, 0x20, 0x03, 0x01, 0x00, 0x02, 0x80, 0, 0, 0, 0x02, 0x00, 0x11, 0x21, 0, 0}},
    {"DeviceIdTooLong", {0x18, 0x01, 0x00}, {0x1C, 0x01, 0xC7}},
    {"DeviceIdOnAnotherLun", {0x19, 0x01}, {0x1D, 0x01, 0xC2}},
    {"DeviceIdOfABrokenBoard", {0x18, 0x01}, {0x1C, 0x01, 0xFF}, false, "", "identify"},

    {"StatusOff", {0x00, 0x01}, {0x04, 0x01, 0x00, 0x60, 0, 0, 0x10}},
    {"StatusOn", {0x00, 0x01}, {0x04, 0x01, 0x00, 0x61, 0, 0, 0x10}, true},
    {"StatusLocked", {0x00, 0x01}, {0x04, 0x01, 0x00, 0x60, 0, 0, 0x11}, false, "", "", true},
    {"StatusTooLong", {0x00, 0x01, 0x00}, {0x04, 0x01, 0xC7}},
    {"StatusPowerUnread", {0x00, 0x01}, {0x04, 0x01, 0xFF}, false, "", "power"},
    {"StatusLockUnread", {0x00, 0x01}, {0x04, 0x01, 0xFF}, false, "", "lock"},

    {"PowerDown", {0x00, 0x02, 0x00}, {0x04, 0x02, 0x00}, true, "press wait-off"},
    {"PowerDownNotFollowed",
     {0x00, 0x02, 0x00},
     {0x04, 0x02, 0xC3},
     true,
     "press wait-off",
     "",
     false,
     false},
    {"PowerDownButtonBroken", {0x00, 0x02, 0x00}, {0x04, 0x02, 0xFF}, true, "press", "press"},
    {"PowerDownWhenOff", {0x00, 0x02, 0x00}, {0x04, 0x02, 0xD5}},
    {"PowerUp", {0x00, 0x02, 0x01}, {0x04, 0x02, 0x00}, false, "press"},
    {"PowerUpButtonBroken", {0x00, 0x02, 0x01}, {0x04, 0x02, 0xFF}, false, "press", "press"},
    {"PowerUpWhenOn", {0x00, 0x02, 0x01}, {0x04, 0x02, 0xD5}, true},
    {"PowerCycle", {0x00, 0x02, 0x02}, {0x04, 0x02, 0xCC}, true},
    {"HardReset", {0x00, 0x02, 0x03}, {0x04, 0x02, 0x00}, true, "reset"},
    {"HardResetBroken", {0x00, 0x02, 0x03}, {0x04, 0x02, 0xFF}, true, "reset", "reset"},
    {"HardResetWhenOff", {0x00, 0x02, 0x03}, {0x04, 0x02, 0xD5}},
    {"Nmi", {0x00, 0x02, 0x04}, {0x04, 0x02, 0x00}, true, "nmi"},
    {"NmiBroken", {0x00, 0x02, 0x04}, {0x04, 0x02, 0xFF}, true, "nmi", "nmi"},
    {"NmiWhenOff", {0x00, 0x02, 0x04}, {0x04, 0x02, 0xD5}},
    {"SoftShutdown", {0x00, 0x02, 0x05}, {0x04, 0x02, 0x00}, true, "press"},
    {"SoftShutdownWhenOff", {0x00, 0x02, 0x05}, {0x04, 0x02, 0xD5}},
    {"ControlBeyondTheLast", {0x00, 0x02, 0x06}, {0x04, 0x02, 0xCC}, true},
    {"ControlWithReservedBits", {0x00, 0x02, 0x13}, {0x04, 0x02, 0xCC}, true},
    {"ControlTooShort", {0x00, 0x02}, {0x04, 0x02, 0xC7}, true},
    {"ControlTooLong", {0x00, 0x02, 0x03, 0x00}, {0x04, 0x02, 0xC7}, true},
    {"ControlPowerUnread", {0x00, 0x02, 0x01}, {0x04, 0x02, 0xFF}, false, "", "power"},

    {"SetRamFirst", {0xC0, 0x01, 0x00, 0x00, 0xA5}, {0xC4, 0x01, 0x00}, false, "write"},
    {"SetRamLast", {0xC0, 0x01, 0xFF, 0x03, 0xA5}, {0xC4, 0x01, 0x00}, false, "write"},
    {"SetRamBeyond", {0xC0, 0x01, 0x00, 0x04, 0xA5}, {0xC4, 0x01, 0xC9}},
    {"SetRamFarBeyond", {0xC0, 0x01, 0xFF, 0xFF, 0xA5}, {0xC4, 0x01, 0xC9}},
    {"SetRamTooShort", {0xC0, 0x01, 0x00, 0x00}, {0xC4, 0x01, 0xC7}},
    {"SetRamTooLong", {0xC0, 0x01, 0x00, 0x00, 0xA5, 0xA6}, {0xC4, 0x01, 0xC7}},
    {"SetRamBroken", {0xC0, 0x01, 0x00, 0x00, 0xA5}, {0xC4, 0x01, 0xFF}, false, "write", "write"},
    {"GetRamFirst", {0xC0, 0x02, 0x00, 0x00}, {0xC4, 0x02, 0x00, 0x11}, false, "read"},
    {"GetRamLast", {0xC0, 0x02, 0xFF, 0x03}, {0xC4, 0x02, 0x00, 0x22}, false, "read"},
    {"GetRamBeyond", {0xC0, 0x02, 0x00, 0x04}, {0xC4, 0x02, 0xC9}},
    {"GetRamTooShort", {0xC0, 0x02, 0x00}, {0xC4, 0x02, 0xC7}},
    {"GetRamBroken", {0xC0, 0x02, 0x00, 0x00}, {0xC4, 0x02, 0xFF}, false, "read", "read"},

    {"UnknownCommand", {0x18, 0x7F}, {0x1C, 0x7F, 0xC1}},
    {"UnknownCommandWithData", {0x18, 0x7F, 1, 2, 3}, {0x1C, 0x7F, 0xC1}},
    {"UnknownCommandOnAnotherLun", {0x1B, 0x7F}, {0x1F, 0x7F, 0xC1}},
    {"KnownNumberOfAnotherNetFn", {0x28, 0x01}, {0x2C, 0x01, 0xC1}},
    {"HighestNetFn", {0xF8, 0xFF}, {0xFC, 0xFF, 0xC1}},
};

INSTANTIATE_TEST_SUITE_P(Exchanges, IpmiTest, ::testing::ValuesIn(exchanges),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(IpmiRam, SetWritesTheByteAtItsLittleEndianOffset)
{
    NotedChassis chassis;
    answer_to({0xC0, 0x01, 0x34, 0x02, 0xA5}, chassis);
    EXPECT_EQ(chassis.ram[0x0234], 0xA5);
    EXPECT_EQ(chassis.ram[0x0342], 0x00);
}

TEST(IpmiNames, TellsItsOwnCommandsAndNoOthers)
{
    EXPECT_STREQ(name_of({0x18, 0x01}), "Get Device ID");
    EXPECT_STREQ(name_of({0x00, 0x02, 0x01}), "Chassis Control");
    EXPECT_STREQ(name_of({0xC0, 0x02}), "Get RAM Byte");
    EXPECT_STREQ(name_of({0x1C, 0x01}), "unknown command");
    EXPECT_STREQ(name_of({0x18}), "unknown command");
    EXPECT_STREQ(name_of({}), "unknown command");
}

} // namespace
} // namespace chassis_controller
