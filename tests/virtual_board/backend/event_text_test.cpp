#include "virtual_board/backend/event_text.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/rtc.h>
#include <mtd/mtd-user.h>

#include <nlohmann/json.hpp>

#include "board_hal_cpld.h"
#include "virtual_board/board.h"

namespace {

using nlohmann::json;
using virtual_board::Event;
using virtual_board::event_json;
using virtual_board::Operation;
using Bytes = std::vector<uint8_t>;

Event event(Operation operation, const std::string &device, uint32_t address, long long result,
            const Bytes &bytes = {}, const Bytes &answer = {})
{
    Event made;
    made.operation = operation;
    made.device = device;
    made.address = address;
    made.result = result;
    made.bytes = bytes;
    made.answer = answer;
    return made;
}

std::string text_of(const Event &one)
{
    return event_json(one)["text"].get<std::string>().substr(sizeof("     0.000000"));
}

struct Example {
    Event event;
    const char *text;
};

const Example examples[] = {
    {event(Operation::load, "cpld", CPLD_REG_POWER_STATE, 0x10),
     "cpld load 0x85 POWER_STATE = 0x10"},
    {event(Operation::load, "cpld", 0x10, 0), "cpld load 0x10 = 0x00"},
    {event(Operation::store, "cpld", 0x10, 1, {0, 1}), "cpld store 0x10 0x00 -> 0x01"},
    {event(Operation::store, "cpld", CPLD_REG_RESET_C, 0x83, {0x02, 0x83}),
     "cpld store 0xCD RESET_C 0x02 -> 0x83 (COMPONENT_RESET_10 0 -> 1, COMPONENT_RESET_14 0 -> 1)"},
    {event(Operation::open, "rtc", O_RDWR | O_CLOEXEC, 0), "rtc open O_RDWR|O_CLOEXEC = 0"},
    {event(Operation::open, "/dev/mtd9", O_WRONLY, -ENOENT),
     "/dev/mtd9 open O_WRONLY = -2 (ENOENT)"},
    {event(Operation::close, "rtc", 0, 0), "rtc close = 0"},
    {event(Operation::seek, "mtd3", 0x1000, 0x1000), "mtd3 seek to 0x1000 = 4096"},
    {event(Operation::lock, "cpld_reg_lock", 0, 0), "cpld_reg_lock lock"},
    {event(Operation::run, "insmod /ko/m25p80.ko", 0, 0), "insmod /ko/m25p80.ko run = 0"},
    {event(Operation::write, "mtd3", 0x20, 2, {0xAB, 0xCD}),
     "mtd3 write at 0x20 0 bytes: AB CD = 2"},
    {event(Operation::ioctl, "fpga", 0x80046B01, 0, {}, {0x21, 0, 0, 0}),
     "fpga ioctl VERSION = 0: word=33"},
    {event(Operation::ioctl, "cpld", 0x40046B01, -EINVAL),
     "cpld ioctl RUN_LOAD_RECORD = -22 (EINVAL)"},
    {event(Operation::ioctl, "rtc", static_cast<uint32_t>(RTC_RD_TIME), 0),
     "rtc ioctl RTC_RD_TIME = 0"},
    {event(Operation::ioctl, "rtc", 0x1234, -ENOTTY), "rtc ioctl 0x00001234 = -25 (ENOTTY)"},
    {event(Operation::ioctl, "mtd3", static_cast<uint32_t>(MEMERASE), -EIO,
           {0, 0, 1, 0, 0, 0, 2, 0}),
     "mtd3 ioctl MEMERASE start=65536 length=131072 = -5 (EIO)"},
    {event(Operation::ioctl, "mtd3", static_cast<uint32_t>(MEMERASE64), 0,
           {0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0}),
     "mtd3 ioctl MEMERASE64 start=65536 length=131072 = 0"},
    {event(Operation::ioctl, "i2c-0", I2C_RDWR, 2, {0x48, 0, 1, 0, 0x00, 0x48, 1, 2, 0},
           {0x19, 0x00}),
     "i2c-0 ioctl I2C_RDWR messages=[{\"address\":72,\"write\":1,\"data\":\"00\"},"
     "{\"address\":72,\"read\":2}] = 2: data=\"19 00\""},
    {event(Operation::read, "fpga", 0x61, 4, {0x61, 0x40, 0x01, 0, 0, 0, 0}, {1, 2, 0, 0}),
     "fpga read register address=320 register=console_offset = 4: value=513"},
    {event(Operation::write, "fpga", 0x61, 7, {0x61, 0x07, 0, 4, 3, 2, 1}),
     "fpga write register address=7 value=16909060 = 7"},
    {event(Operation::write, "fpga", 0x11, 12,
           {0x11, 1, 7, 0, 100, 0x72, 0x18, 0x76, 0x20, 0x04, 0x01, 0xDB}),
     "fpga write ipmb_data channel=1 length=7 wait=100 message=\"72 18 76 20 04 01 DB\" to=114 "
     "netfn=6 from=32 sequence=1 command=1 = 12"},
    {event(Operation::read, "fpga", 0x16, 6, {0x16, 0, 10, 0}, {2, 2, 0, 0, 0xAA, 0xBB}),
     "fpga read ipmb_sm_data wait=10 = 6: channel=2 length=2 message=\"AA BB\""},
    {event(Operation::write, "fpga", 0x11, 10005, {0x11, 0, 0, 0, 0}),
     "fpga write ipmb_data channel=0 length=0 wait=0 message= = 10005 (not acknowledged)"},
    {event(Operation::read, "fpga", 0x31, 2, {0x31}, {0x18, 0x01}),
     "fpga read kcs_data = 2: message=\"18 01\" request=\"Get Device ID (NetFn 06h App, command "
     "01h)\""},
    {event(Operation::write, "fpga", 0x71, 4, {0x71, 2, 0x1C, 0x01}),
     "fpga write bt_data length=2 message=\"1C 01\" = 4"},
    {event(Operation::read, "fpga", 0x21, 10010, {0x21, 1, 0x54, 2, 1, 0, 5, 9}),
     "fpga read i2c_transfer channel=1 address=84 wanted=2 sent=1 delay_ms=5 data=09 = 10010 "
     "(address not acknowledged)"},
    {event(Operation::read, "fpga", 0x99, -EINVAL, {0x99}), "fpga read 0x99: 99 = -22 (EINVAL)"},
    // Too short for its fields.
    {event(Operation::write, "fpga", 0x11, -EINVAL, {0x11, 1}),
     "fpga write ipmb_data channel=1 = -22 (EINVAL)"},
    {event(Operation::write, "fpga", 0x61, 0, {}), "fpga write register = 0"},
};

TEST(EventText, TellsNamesAndFields)
{
    for (const Example &row : examples) {
        EXPECT_EQ(text_of(row.event), row.text);
    }
}

TEST(EventText, TimeIsInSeconds)
{
    Event sleep = event(Operation::sleep, "", 0, 0);
    sleep.time_us = 1234567890;
    sleep.count = 30000;
    EXPECT_EQ(event_json(sleep)["text"], "  1234.567890 sleep 30000 us");
    EXPECT_EQ(event_json(sleep)["time_us"], 1234567890);
}

TEST(EventText, WhatIsNoTextDoesNoHarm)
{
    const json decoded = event_json(event(Operation::run, "a\xFF\x1B", 0, 0));
    EXPECT_EQ(decoded["device"], "a??");
    EXPECT_NO_THROW(decoded.dump());
}

// Whatever record a program hands in.
TEST(EventText, EveryCommandAndRequestIsDecodedAtEveryLength)
{
    for (unsigned address = 0; address < 256; ++address) {
        for (size_t length = 0; length < 24; ++length) {
            const Bytes bytes(length, static_cast<uint8_t>(address));
            for (const Operation operation : {Operation::read, Operation::write}) {
                const json decoded = event_json(event(operation, "fpga", address, 1, bytes, bytes));
                EXPECT_EQ(decoded["address"], address);
            }
        }
    }
    for (const uint32_t request :
         {uint32_t{I2C_RDWR}, static_cast<uint32_t>(MEMERASE), static_cast<uint32_t>(MEMERASE64)}) {
        for (size_t length = 0; length < 40; ++length) {
            const Bytes bytes(length, 0xFF);
            EXPECT_EQ(
                event_json(event(Operation::ioctl, "i2c-0", request, 0, bytes, bytes))["result"],
                0);
            EXPECT_EQ(
                event_json(event(Operation::ioctl, "mtd0", request, 0, bytes, bytes))["result"], 0);
        }
    }
}

// Every command that the FPGA knows has a name: what it does not know fails with
// EINVAL whatever is in the record.
TEST(EventText, EveryCommandOfTheFpgaHasAName)
{
    virtual_board::Board board;
    std::shared_ptr<virtual_board::OpenFile> file;
    ASSERT_EQ(board.open("/dev/ipmc_fpga", O_RDWR, file), 0);
    unsigned known = 0;
    for (unsigned command = 0; command < 256; ++command) {
        const json read = event_json(event(Operation::read, "fpga", command, 0));
        bool takes = false;
        for (uint8_t filler = 0; filler < 3; ++filler) {
            Bytes record(300, filler);
            record[0] = static_cast<uint8_t>(command);
            takes = takes || board.write(*file, record.data(), record.size()) != -EINVAL;
            record.assign(300, filler);
            record[0] = static_cast<uint8_t>(command);
            takes = takes || board.read(*file, record.data(), record.size()) != -EINVAL;
        }
        EXPECT_EQ(takes, read.contains("name")) << command;
        known += takes ? 1 : 0;
    }
    EXPECT_EQ(known, 29U);
    board.close(*file);
}

} // namespace
