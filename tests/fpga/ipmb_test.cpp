// The IPMB channels, with a neighbour at the other end.

#include <errno.h>
#include <limits.h>
#include <stdio.h>

#include <algorithm>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::Ipmb;

// One of the two families of operations.
struct Family {
    const char *name;
    int (*read)(uint8_t *, int32_t, uint8_t *, int32_t);
    int (*write)(int32_t, const uint8_t *, int32_t, int32_t);
    int (*reset)(int32_t);
    int (*get_status)(int32_t, int32_t *);
    int (*get_address)(uint8_t *);
    int (*set_address)(uint8_t, uint8_t);
    uint8_t data;
    uint8_t address;
    uint8_t reset_command;
    int32_t channel;
    std::vector<int32_t> write_refused;
    std::vector<int32_t> reset_refused;
    std::vector<int32_t> status_refused;
    const char *write_channel_text;
    Names read_steps; // around the transfer
    Names read_steps_after;
    const char *write_lock;
};

void PrintTo(const Family &family, std::ostream *stream)
{
    *stream << family.name;
}

const Family main_family = {
    "main",
    ipmb_read,
    ipmb_write,
    ipmb_reset,
    get_ipmb_status,
    get_ipmb_addr_config,
    set_ipmb_addr_config,
    0x11,
    0x13,
    0x14,
    1,
    {-1, 2, 3, INT_MIN, INT_MAX},
    {2, 3, INT_MAX},
    {-1, 2, 3, INT_MIN, INT_MAX},
    "ipmb_write: chan is not a valid paramter!!\n",
    {},
    {},
    "ipmb_lock",
};

const Family sm_family = {
    "sm",
    ipmb_sm_read,
    ipmb_sm_write,
    ipmb_sm_reset,
    get_ipmb_sm_status,
    get_ipmb_sm_addr_config,
    set_ipmb_sm_addr_config,
    0x16,
    0x17,
    0x18,
    2,
    {-1, 0, 1, 3, INT_MIN, INT_MAX},
    {-1, 0, 1, 3, INT_MIN, INT_MAX},
    {-1, 0, 1, 3, INT_MIN, INT_MAX},
    "ipmb_sm_write: chan is not a valid paramter!!\n",
    {"sleep 10000", "lock ipmb_sm_lock"},
    {"unlock ipmb_sm_lock"},
    "ipmb_sm_lock",
};

Bytes counting(size_t length)
{
    Bytes bytes(length);
    for (size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<uint8_t>(i + 1);
    }
    return bytes;
}

class IpmbTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    Ipmb &ipmb() { return board.ipmb(); }

    void driver_answers(Operation operation, uint8_t command, long result,
                        Fault::Kind kind = Fault::Kind::result)
    {
        board.faults.add({.name = "driver",
                          .device = "fpga",
                          .operation = operation,
                          .address = command,
                          .kind = kind,
                          .value = result});
    }

    Event last(Operation operation) { return board.trace.of(operation, "fpga").back(); }
    size_t accesses() { return board.trace.events().size(); }
};

class IpmbFamilyTest : public IpmbTest, public ::testing::WithParamInterface<Family> {
protected:
    Family family = GetParam();
    unsigned number = static_cast<unsigned>(family.channel);

    Names around(const char *transfer) const
    {
        Names names = family.read_steps;
        names.emplace_back(transfer);
        names.insert(names.end(), family.read_steps_after.begin(), family.read_steps_after.end());
        return names;
    }
    std::string step(const char *verb, uint8_t command) const
    {
        char text[32];
        snprintf(text, sizeof(text), "%s fpga %02x", verb, command);
        return text;
    }
};

INSTANTIATE_TEST_SUITE_P(Ipmb, IpmbFamilyTest, ::testing::Values(main_family, sm_family),
                         [](const auto &one) { return std::string(one.param.name); });

// ---- receive ----

TEST_P(IpmbFamilyTest, ReceivesAMessage)
{
    ipmb().send(number, {0x20, 0x18, 0xC8});
    uint8_t buf[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    uint8_t chan = 0xEE;
    EXPECT_EQ(family.read(buf, sizeof(buf), &chan, 0x12345), 3);
    EXPECT_EQ(Bytes(buf, buf + 8), (Bytes{0x20, 0x18, 0xC8, 9, 9, 9, 9, 9}));
    EXPECT_EQ(chan, number);
    EXPECT_EQ(last(Operation::read).bytes, (Bytes{family.data, 0x23, 0x45, 0}));
    EXPECT_EQ(last(Operation::read).count, 254U);
    EXPECT_EQ(ipmb().receive_wait(number), 0x2345);
    EXPECT_EQ(ipmb().waiting(number), 0U);
    EXPECT_EQ(steps(), around(step("read", family.data).c_str()));
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, PassesANegativeWaitsLowBits)
{
    ipmb().send(number, {1});
    uint8_t buf[1];
    uint8_t chan = 0;
    EXPECT_EQ(family.read(buf, 1, &chan, -2), 1);
    EXPECT_EQ(ipmb().receive_wait(number), 0xFFFE);
}

TEST_P(IpmbFamilyTest, CutsTheCopyToTheBufferAndReturnsTheWholeLength)
{
    const int32_t sizes[] = {INT_MIN, -1, 0, 1, 9, 10, 11};
    for (const int32_t size : sizes) {
        ipmb().send(number, counting(10));
        Bytes buf(12, 0xEE);
        uint8_t chan = 0;
        EXPECT_EQ(family.read(buf.data(), size, &chan, 0), 10) << size;
        Bytes expected = counting(10);
        expected.resize(static_cast<size_t>(std::clamp(size, 0, 10)));
        expected.resize(12, 0xEE);
        EXPECT_EQ(buf, expected) << size;
    }
}

TEST_P(IpmbFamilyTest, ReceivesTheLongestMessage)
{
    ipmb().send(number, counting(254));
    Bytes buf(255, 0xEE);
    uint8_t chan = 0;
    EXPECT_EQ(family.read(buf.data(), 255, &chan, 0), 254);
    Bytes expected = counting(254);
    expected.push_back(0xEE);
    EXPECT_EQ(buf, expected);
}

TEST_P(IpmbFamilyTest, ClampsALengthThatNoMessageHas)
{
    ipmb().channel(number).claimed_length = 255;
    ipmb().send(number, counting(254));
    Bytes buf(256, 0xEE);
    uint8_t chan = 0;
    EXPECT_EQ(family.read(buf.data(), 256, &chan, 0), 254);
    Bytes expected = counting(254);
    expected.resize(256, 0xEE);
    EXPECT_EQ(buf, expected);
}

TEST_P(IpmbFamilyTest, ReadsZerosBehindAMessageThatClaimsTooMuch)
{
    ipmb().channel(number).claimed_length = 254;
    ipmb().send(number, {1, 2});
    Bytes buf(254, 0xEE);
    uint8_t chan = 0;
    EXPECT_EQ(family.read(buf.data(), 254, &chan, 0), 254);
    Bytes expected = {1, 2};
    expected.resize(254, 0);
    EXPECT_EQ(buf, expected);
}

TEST_P(IpmbFamilyTest, AnEmptyMessageIsAMessage)
{
    ipmb().send(number, {});
    uint8_t buf[1] = {0xEE};
    uint8_t chan = 0xEE;
    EXPECT_EQ(family.read(buf, 1, &chan, 0), 0);
    EXPECT_EQ(chan, number);
    EXPECT_EQ(buf[0], 0xEE);
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, NegatesDriverErrorsAbove9999)
{
    const int errors[] = {10000, 10005, INT_MAX};
    for (const int error : errors) {
        driver_answers(Operation::read, family.data, error);
        uint8_t buf[4] = {9, 9, 9, 9};
        uint8_t chan = 0xEE;
        EXPECT_EQ(family.read(buf, 4, &chan, 0), -error);
        EXPECT_EQ(Bytes(buf, buf + 4), Bytes(4, 9));
        EXPECT_EQ(chan, 0xEE);
    }
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, AResultOf9999IsStillAMessage)
{
    driver_answers(Operation::read, family.data, 9999, Fault::Kind::late_result);
    ipmb().send(number, {7});
    uint8_t buf[1] = {0};
    uint8_t chan = 0;
    EXPECT_EQ(family.read(buf, 1, &chan, 0), 1);
    EXPECT_EQ(buf[0], 7);
}

TEST_P(IpmbFamilyTest, ReceivesInTurnAndThenNothing)
{
    ipmb().send(number, {1});
    ipmb().send(number, {2, 2});
    uint8_t buf[2];
    uint8_t chan = 0xEE;
    EXPECT_EQ(family.read(buf, 2, &chan, 0), 1);
    EXPECT_EQ(family.read(buf, 2, &chan, 0), 2);
    EXPECT_EQ(buf[0], 2);
    chan = 0xEE;
    EXPECT_EQ(family.read(buf, 2, &chan, 0), 0);
    EXPECT_EQ(chan, 0xEE);
}

TEST_P(IpmbFamilyTest, RefusesToReceiveIntoNothing)
{
    uint8_t chan = 0xEE;
    EXPECT_EQ(family.read(nullptr, 4, &chan, 0), -1);
    EXPECT_EQ(output(), "the obuffer paramter is invalid!!!\n");
    EXPECT_EQ(chan, 0xEE);
    EXPECT_EQ(accesses(), 0U) << "neither sleep nor lock nor transfer";
}

TEST_F(IpmbTest, SaysWhenNothingIsReceived)
{
    uint8_t buf[4] = {9, 9, 9, 9};
    uint8_t chan = 0xEE;
    errno = 0;
    EXPECT_EQ(ipmb_read(buf, 4, &chan, 0), 0);
    EXPECT_EQ(output(), "ipmb_read return 0 0 Success\n");
    driver_answers(Operation::read, 0x11, EIO, Fault::Kind::error);
    EXPECT_EQ(ipmb_read(buf, 4, &chan, 0), -1);
    EXPECT_EQ(output(), "ipmb_read return -1 5 Input/output error\n");
    EXPECT_EQ(Bytes(buf, buf + 4), Bytes(4, 9));
    EXPECT_EQ(chan, 0xEE);
}

TEST_F(IpmbTest, ChannelTwoIsSilentWhenNothingIsReceived)
{
    uint8_t buf[4] = {9, 9, 9, 9};
    uint8_t chan = 0xEE;
    EXPECT_EQ(ipmb_sm_read(buf, 4, &chan, 0), 0);
    driver_answers(Operation::read, 0x16, EIO, Fault::Kind::error);
    EXPECT_EQ(ipmb_sm_read(buf, 4, &chan, 0), -1);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(Bytes(buf, buf + 4), Bytes(4, 9));
    EXPECT_EQ(chan, 0xEE);
}

TEST_F(IpmbTest, ReceivesFromBothChannelsInTheirOrder)
{
    ipmb().send(1, {0x11});
    ipmb().send(0, {0x10});
    ipmb().send(2, {0x12});
    uint8_t byte = 0;
    uint8_t chan = 0xEE;
    EXPECT_EQ(ipmb_read(&byte, 1, &chan, 0), 1);
    EXPECT_EQ(chan, 1);
    EXPECT_EQ(byte, 0x11);
    EXPECT_EQ(ipmb_read(&byte, 1, &chan, 0), 1);
    EXPECT_EQ(chan, 0);
    EXPECT_EQ(byte, 0x10);
    EXPECT_EQ(ipmb_read(&byte, 1, &chan, 0), 0) << "channel 2 has operations of its own";
    EXPECT_EQ(ipmb_sm_read(&byte, 1, &chan, 0), 1);
    EXPECT_EQ(chan, 2);
    EXPECT_EQ(byte, 0x12);
}

// ---- send ----

TEST_P(IpmbFamilyTest, SendsAMessage)
{
    const uint8_t message[] = {0xB0, 0x18, 0x38};
    EXPECT_EQ(family.write(family.channel, message, 3, 0x1ABCD), 8);
    EXPECT_EQ(last(Operation::write).bytes,
              (Bytes{family.data, static_cast<uint8_t>(number), 3, 0xAB, 0xCD, 0xB0, 0x18, 0x38}));
    EXPECT_EQ(last(Operation::write).count, 64U);
    EXPECT_EQ(ipmb().channel(number).received, (std::vector<Bytes>{{0xB0, 0x18, 0x38}}));
    EXPECT_EQ(ipmb().channel(number).send_wait, 0xABCD);
    const std::string lock = family.write_lock;
    EXPECT_EQ(steps(), (Names{"lock " + lock, step("write", family.data), "unlock " + lock}));
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, SendsEveryLengthUpToTheLargest)
{
    for (const int32_t length : {0, 1, 58, 59, 60, 253, 254}) {
        const Bytes message = counting(static_cast<size_t>(length));
        const uint8_t none = 0;
        EXPECT_EQ(family.write(family.channel, length > 0 ? message.data() : &none, length, -1),
                  length + 5);
        EXPECT_EQ(ipmb().channel(number).received.back(), message);
        EXPECT_EQ(last(Operation::write).count, 64U);
        EXPECT_EQ(ipmb().channel(number).send_wait, 0xFFFF);
    }
}

TEST_P(IpmbFamilyTest, RefusesLengthsOf255AndMore)
{
    const Bytes message(300);
    for (const int32_t length : {255, 256, INT_MAX}) {
        EXPECT_EQ(family.write(family.channel, message.data(), length, 0), -2);
        EXPECT_EQ(output(), "len is a invalid argument: " + std::to_string(length) + "\r\n");
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_P(IpmbFamilyTest, ANegativeLengthSendsAnEmptyMessage)
{
    const uint8_t message[] = {1, 2};
    for (const int32_t length : {-1, -5, INT_MIN}) {
        EXPECT_EQ(family.write(family.channel, message, length, 0), 5) << length;
        EXPECT_EQ(ipmb().channel(number).received.back(), Bytes{});
    }
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, RefusesOtherChannelsToSendOn)
{
    const uint8_t message[] = {1};
    for (const int32_t chan : family.write_refused) {
        EXPECT_EQ(family.write(chan, message, 300, 0), -2) << chan;
        EXPECT_EQ(output(), family.write_channel_text) << "before the length is judged";
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_P(IpmbFamilyTest, RefusesToSendNothing)
{
    EXPECT_EQ(family.write(99, nullptr, 300, 0), -2);
    EXPECT_EQ(output(), "ibuffer is empty!!!\n") << "before the channel is judged";
    EXPECT_EQ(accesses(), 0U);
}

TEST_P(IpmbFamilyTest, HandsOnWhatTheDriverAnswersToASend)
{
    const struct {
        long answer;
        int result;
    } rows[] = {{0, 0},          {1, 1},          {64, 64},           {9999, 9999},
                {10000, -10000}, {10003, -10003}, {INT_MAX, -INT_MAX}};
    const uint8_t message[] = {1};
    for (const auto &row : rows) {
        driver_answers(Operation::write, family.data, row.answer);
        EXPECT_EQ(family.write(family.channel, message, 1, 0), row.result);
    }
    driver_answers(Operation::write, family.data, EIO, Fault::Kind::error);
    EXPECT_EQ(family.write(family.channel, message, 1, 0), -1);
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, ASilentNeighbourIsADriverError)
{
    ipmb().channel(number).silent = true;
    const uint8_t message[] = {1};
    EXPECT_EQ(family.write(family.channel, message, 1, 0), -10005);
    EXPECT_TRUE(ipmb().channel(number).received.empty());
}

TEST_P(IpmbFamilyTest, TalksWithANeighbourThatAnswers)
{
    ipmb().channel(number).on_message = [this](const Bytes &request) {
        Bytes answer = request;
        answer.push_back(0x55);
        ipmb().send(number, answer);
    };
    const uint8_t request[] = {0x18, 0x01};
    EXPECT_GT(family.write(family.channel, request, 2, 0), 0);
    uint8_t answer[8] = {};
    uint8_t chan = 0xEE;
    EXPECT_EQ(family.read(answer, 8, &chan, 0), 3);
    EXPECT_EQ(Bytes(answer, answer + 3), (Bytes{0x18, 0x01, 0x55}));
    EXPECT_EQ(chan, number);
}

TEST_F(IpmbTest, SendsOnChannelZeroToo)
{
    const uint8_t message[] = {4};
    EXPECT_EQ(ipmb_write(0, message, 1, 0), 6);
    EXPECT_EQ(ipmb().channel(0).received, (std::vector<Bytes>{{4}}));
    EXPECT_TRUE(ipmb().channel(1).received.empty());
}

// ---- reset ----

TEST_P(IpmbFamilyTest, Resets)
{
    ipmb().channel(number).status = 0x80;
    ipmb().send(number, {1});
    EXPECT_EQ(family.reset(family.channel), 0);
    EXPECT_EQ(ipmb().channel(number).resets, 1U);
    EXPECT_EQ(ipmb().waiting(number), 0U);
    EXPECT_EQ(last(Operation::write).bytes,
              (Bytes{family.reset_command, static_cast<uint8_t>(number)}));
    EXPECT_EQ(last(Operation::write).count, 1U);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", step("write", family.reset_command),
                              "unlock fpga_request_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, RefusesToResetOtherChannels)
{
    for (const int32_t chan : family.reset_refused) {
        EXPECT_EQ(family.reset(chan), -2) << chan;
        EXPECT_EQ(output(), "ipmb_reset: chan is not a valid paramter!!\n");
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_P(IpmbFamilyTest, AResetFailsOnNegativeAnswersOnly)
{
    const struct {
        long answer;
        int result;
    } rows[] = {{1, 0}, {10001, 0}, {-5000, -5}};
    for (const auto &row : rows) {
        driver_answers(Operation::write, family.reset_command, row.answer);
        EXPECT_EQ(family.reset(family.channel), row.result) << row.answer;
    }
    driver_answers(Operation::write, family.reset_command, EIO, Fault::Kind::error);
    EXPECT_EQ(family.reset(family.channel), -5);
    EXPECT_EQ(output(), "");
}

TEST_F(IpmbTest, ANegativeChannelReachesTheDriverAtReset)
{
    EXPECT_EQ(ipmb_reset(-1), -5);
    EXPECT_EQ(last(Operation::write).bytes, (Bytes{0x14, 0xFF}));
    EXPECT_EQ(ipmb_reset(-256), 0) << "its low byte is channel 0";
    EXPECT_EQ(ipmb().channel(0).resets, 1U);
    EXPECT_EQ(output(), "");
}

// ---- status ----

TEST_P(IpmbFamilyTest, DecodesTheStatusByItsFirstBit)
{
    const struct {
        uint8_t byte;
        int32_t status;
    } rows[] = {{0x00, 0},      {0x80, -10001}, {0xC0, -10001}, {0xFF, -10001}, {0x40, -10002},
                {0x7F, -10002}, {0x20, -10003}, {0x3F, -10003}, {0x10, -10004}, {0x1F, -10004},
                {0x04, -10005}, {0x0F, -10005}, {0x08, 0},      {0x0B, 0},      {0x03, 0}};
    for (const auto &row : rows) {
        ipmb().channel(number).status = row.byte;
        int32_t status = 77;
        EXPECT_EQ(family.get_status(family.channel, &status), 0);
        EXPECT_EQ(status, row.status) << int{row.byte};
    }
    EXPECT_EQ(last(Operation::read).bytes, (Bytes{0x12, static_cast<uint8_t>(number)}));
    EXPECT_EQ(last(Operation::read).count, 1U);
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, StatusIsReadUnderTheRequestLock)
{
    int32_t status = 77;
    EXPECT_EQ(family.get_status(family.channel, &status), 0);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_request_lock", "read fpga 12", "unlock fpga_request_lock"}));
}

TEST_P(IpmbFamilyTest, AnyStatusAnswerButZeroIsAFailure)
{
    ipmb().channel(number).status = 0x80;
    for (const long answer : {1L, 4L, 10001L}) {
        driver_answers(Operation::read, 0x12, answer, Fault::Kind::late_result);
        int32_t status = 77;
        EXPECT_EQ(family.get_status(family.channel, &status), -5) << answer;
        EXPECT_EQ(status, 0);
    }
    driver_answers(Operation::read, 0x12, EIO, Fault::Kind::error);
    int32_t status = 77;
    EXPECT_EQ(family.get_status(family.channel, &status), -5);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, RefusesStatusArguments)
{
    EXPECT_EQ(family.get_status(99, nullptr), -2);
    EXPECT_EQ(output(), "invalid argument\r\n") << "before the channel is judged";
    for (const int32_t chan : family.status_refused) {
        int32_t status = 77;
        EXPECT_EQ(family.get_status(chan, &status), -2) << chan;
        EXPECT_EQ(status, 77);
        EXPECT_EQ(output(), "ipmb_query_status: chan is not a valid paramter!!\n");
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_F(IpmbTest, ChannelsHaveAStatusEach)
{
    ipmb().channel(0).status = 0x40;
    ipmb().channel(1).status = 0x20;
    ipmb().channel(2).status = 0x10;
    int32_t status = 77;
    EXPECT_EQ(get_ipmb_status(0, &status), 0);
    EXPECT_EQ(status, -10002);
    EXPECT_EQ(get_ipmb_status(1, &status), 0);
    EXPECT_EQ(status, -10003);
    EXPECT_EQ(get_ipmb_sm_status(2, &status), 0);
    EXPECT_EQ(status, -10004);
}

// ---- own address ----

TEST_P(IpmbFamilyTest, GetsItsAddress)
{
    ipmb().set_address(number, 0x42);
    uint8_t address = 0xEE;
    EXPECT_EQ(family.get_address(&address), 0);
    EXPECT_EQ(address, 0x42);
    EXPECT_EQ(last(Operation::read).bytes, (Bytes{family.address}));
    EXPECT_EQ(last(Operation::read).count, 1U);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", step("read", family.address),
                              "unlock fpga_request_lock"}));
    driver_answers(Operation::read, family.address, 0, Fault::Kind::late_result);
    EXPECT_EQ(family.get_address(&address), 0) << "0 is no failure";
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, AFailedReadLeavesTheAddress)
{
    driver_answers(Operation::read, family.address, EIO, Fault::Kind::error);
    uint8_t address = 0xEE;
    EXPECT_EQ(family.get_address(&address), -5);
    EXPECT_EQ(address, 0xEE);
    EXPECT_EQ(family.get_address(nullptr), -2);
    EXPECT_EQ(output(), "invalid argument\r\n");
}

TEST_P(IpmbFamilyTest, SetsItsAddress)
{
    EXPECT_EQ(family.set_address(0x74, 0xFF), 0);
    EXPECT_EQ(ipmb().address(number), 0x74);
    EXPECT_EQ(ipmb().address(2 - number / 2 * 2), 0x20) << "the other family's";
    EXPECT_EQ(last(Operation::write).bytes, (Bytes{family.address, 0x74}));
    EXPECT_EQ(last(Operation::write).count, 1U);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", step("write", family.address),
                              "unlock fpga_request_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_P(IpmbFamilyTest, RefusesOddAddresses)
{
    for (unsigned address = 1; address < 256; address += 2) {
        EXPECT_EQ(family.set_address(static_cast<uint8_t>(address), 0), -2);
        EXPECT_EQ(output(), "address is a invalid argument\r\n");
    }
    EXPECT_EQ(accesses(), 0U);
    EXPECT_EQ(ipmb().address(number), 0x20);
}

TEST_P(IpmbFamilyTest, AnyAnswerButZeroToAnAddressIsAFailure)
{
    for (const long answer : {1L, 2L, 10001L}) {
        driver_answers(Operation::write, family.address, answer);
        EXPECT_EQ(family.set_address(0x22, 0), -5) << answer;
    }
    driver_answers(Operation::write, family.address, EIO, Fault::Kind::error);
    EXPECT_EQ(family.set_address(0x22, 0), -5);
    EXPECT_EQ(output(), "");
}

// ---- enable ----

TEST_F(IpmbTest, EnableBitsStayWhereTheyAre)
{
    ipmb().channel(0).enabled = true;
    ipmb().channel(1).enabled = true;
    uint8_t enabled = 0xEE;
    EXPECT_EQ(get_ipmb_enable(0, &enabled), 0);
    EXPECT_EQ(enabled, 1);
    EXPECT_EQ(get_ipmb_enable(1, &enabled), 0);
    EXPECT_EQ(enabled, 2);
    EXPECT_EQ(last(Operation::read).bytes, (Bytes{0x15}));
    EXPECT_EQ(last(Operation::read).count, 1U);
    ipmb().channel(0).enabled = false;
    EXPECT_EQ(get_ipmb_enable(0, &enabled), 0);
    EXPECT_EQ(enabled, 0);
    ipmb().channel(1).enabled = false;
    clear_trace();
    EXPECT_EQ(get_ipmb_enable(1, &enabled), 0);
    EXPECT_EQ(enabled, 0);
    EXPECT_EQ(steps(), (Names{"lock ipmb_lock", "read fpga 15", "unlock ipmb_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(IpmbTest, GetEnableRefusesSilently)
{
    for (const int32_t chan : {-1, 2, 3, INT_MIN, INT_MAX}) {
        uint8_t enabled = 0xEE;
        EXPECT_EQ(get_ipmb_enable(chan, &enabled), -2) << chan;
        EXPECT_EQ(enabled, 0xEE);
    }
    EXPECT_EQ(get_ipmb_enable(0, nullptr), -2);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(accesses(), 0U);
}

TEST_F(IpmbTest, GetEnableStoresEvenWhenItFails)
{
    driver_answers(Operation::read, 0x15, 1, Fault::Kind::late_result);
    uint8_t enabled = 0xEE;
    EXPECT_EQ(get_ipmb_enable(1, &enabled), -5);
    EXPECT_EQ(enabled, 2);
    EXPECT_EQ(output(), "");
}

TEST_F(IpmbTest, SwitchesChannels)
{
    for (const uint8_t chan : {uint8_t{0}, uint8_t{1}, uint8_t{2}}) {
        clear_trace();
        EXPECT_EQ(set_ipmb_enable(chan, 0), 0);
        EXPECT_FALSE(ipmb().channel(chan).enabled);
        EXPECT_EQ(last(Operation::write).bytes, (Bytes{0x15, chan, 0, 0}));
        EXPECT_EQ(last(Operation::write).count, 4U);
        EXPECT_EQ(steps(), (Names{"lock ipmb_lock", "write fpga 15", "unlock ipmb_lock"}));
        EXPECT_EQ(set_ipmb_enable(chan, 0x80), 0);
        EXPECT_TRUE(ipmb().channel(chan).enabled);
        EXPECT_EQ(last(Operation::write).bytes, (Bytes{0x15, chan, 1, 0}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(IpmbTest, RefusesToSwitchOtherChannels)
{
    for (const int32_t chan : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_EQ(set_ipmb_enable(chan, 1), -2);
        EXPECT_EQ(output(), "chan " + std::to_string(chan) + " num out of range\r\n");
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_F(IpmbTest, AnyAnswerButZeroToASwitchIsAFailure)
{
    for (const long answer : {1L, 4L, 10001L}) {
        driver_answers(Operation::write, 0x15, answer);
        EXPECT_EQ(set_ipmb_enable(0, 1), -5) << answer;
    }
    driver_answers(Operation::write, 0x15, EIO, Fault::Kind::error);
    EXPECT_EQ(set_ipmb_enable(0, 1), -5);
    EXPECT_EQ(output(), "");
}

// ---- names of other boards ----

TEST_F(IpmbTest, LocalNamesStandForChannelsZeroAndOne)
{
    EXPECT_EQ(ipmb_l_reset(1), 0);
    EXPECT_EQ(ipmb().channel(1).resets, 1U);
    EXPECT_EQ(ipmb_l_reset(2), -2);
    EXPECT_EQ(output(), "ipmb_reset: chan is not a valid paramter!!\n");

    ipmb().channel(1).status = 0x40;
    int32_t status = 77;
    EXPECT_EQ(get_ipmb_l_status(1, &status), 0);
    EXPECT_EQ(status, -10002);
    EXPECT_EQ(get_ipmb_l_status(2, &status), -2);
    EXPECT_EQ(output(), "ipmb_query_status: chan is not a valid paramter!!\n");

    uint8_t address = 0xEE;
    EXPECT_EQ(set_ipmb_l_addr_config(0xFFFFFF24, 0x101), 0) << "cut to its low byte";
    EXPECT_EQ(ipmb().address(0), 0x24);
    EXPECT_EQ(get_ipmb_l_addr_config(&address), 0);
    EXPECT_EQ(address, 0x24);
    EXPECT_EQ(set_ipmb_l_addr_config(0x121, 0), -2);
    EXPECT_EQ(output(), "address is a invalid argument\r\n");

    EXPECT_EQ(set_ipmb_l_enable(1, 0x100), 0) << "cut to 0";
    EXPECT_FALSE(ipmb().channel(1).enabled);
    EXPECT_EQ(set_ipmb_l_enable(1, 0x101), 0);
    EXPECT_TRUE(ipmb().channel(1).enabled);
}

TEST_F(IpmbTest, NotFittedOperationsTouchNothing)
{
    uint8_t byte = 0xEE;
    uint32_t word = 77;
    ipmb().send(0, {1});
    EXPECT_EQ(ipmb_l_read(&byte, 1, &byte, 0), 0);
    EXPECT_EQ(ipmb_l_write(0, &byte, 1, 0), 0);
    EXPECT_EQ(set_ipmb_baud(0, 1), 0);
    EXPECT_EQ(set_ipmb_l_baud(0, 1), 0);
    EXPECT_EQ(set_ipmb_sm_baud(0, 1), 0);
    EXPECT_EQ(get_ipmb_baud(0, &word), 0);
    EXPECT_EQ(get_ipmb_l_baud(0, &word), 0);
    EXPECT_EQ(get_ipmb_sm_baud(0, &word), 0);
    EXPECT_EQ(get_ipmb_l_enable(0, &byte), 0);
    EXPECT_EQ(get_ipmb_sm_enable(2, &byte), 0);
    EXPECT_EQ(set_ipmb_sm_enable(2, 0), 0);
    EXPECT_EQ(ipmb_test(0), 0);
    EXPECT_EQ(byte, 0xEE);
    EXPECT_EQ(word, 77U);
    EXPECT_EQ(accesses(), 0U);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
