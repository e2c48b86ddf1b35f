// The host's KCS and BT interfaces and the reserved RAM, from both ends: what
// the library answers, and what reached the driver and the host behind it.

#include <limits.h>

#include <algorithm>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>

#include "tests/support/board_test.h"
#include "tests/support/driver_answers.h"

namespace board_test {
namespace {

using virtual_board::Host;
using virtual_board::HostInterface;
using virtual_board::Message;

// Each result code that a driver call can have.
constexpr int driver_results[] = {-1, 0, 1, 9999, 10000, 10005, INT_MAX};

constexpr int negated_above_9999(int result)
{
    return result > 9999 ? -result : result;
}

Bytes counting(size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

struct Interface {
    const char *name;
    uint8_t data;
    uint8_t status_get;
    uint8_t status_set;
    int (*get_status)(int32_t, uint8_t *);
    int (*set_status)(int32_t, uint8_t);
    int (*receive)(uint8_t *, int32_t);
    int32_t receive_max;
    // What a send takes of the caller's buffer for its header.
    size_t reserved;
    int (*send)(Bytes &buffer);
    const char *read_lock;
    const char *write_lock;
    const char *status_error;
    HostInterface Host::*side;

    // The buffer that a caller hands over to send the message.
    Bytes outgoing(const Message &message) const
    {
        Bytes buffer(reserved, 0xEE);
        buffer.insert(buffer.end(), message.begin(), message.end());
        return buffer;
    }
};

void PrintTo(const Interface &interface, std::ostream *out)
{
    *out << interface.name;
}

const Interface interfaces[] = {
    {"kcs", 0x31, 0x32, 0x33, get_kcs_status, set_kcs_status, kcs_read, 100, 0,
     [](Bytes &buffer) { return kcs_write(buffer.data(), static_cast<int32_t>(buffer.size())); },
     "kcs_read_lock", "kcs_write_lock", "kcs_write:get_kcs_status error \r\n", &Host::kcs},
    {"bt", 0x71, 0x72, 0x73, get_bt_status, set_bt_status, bt_read, 252, 2,
     [](Bytes &buffer) { return bt_write(buffer.data(), static_cast<int32_t>(buffer.size())); },
     "bt_read_lock", "bt_write_lock", "bt_write get_bt_status error \r\n", &Host::bt},
};

std::string step_of(const char *verb, uint8_t command)
{
    char text[32];
    snprintf(text, sizeof(text), "%s fpga %02x", verb, command);
    return text;
}

class FpgaTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    void driver_answers(Operation operation, std::optional<uint32_t> address, int result)
    {
        board.faults.clear();
        board.faults.add(fpga_answers(operation, address, result));
    }

    std::vector<Event> calls(Operation operation, uint8_t command)
    {
        std::vector<Event> found = board.trace.of(operation, "fpga");
        std::erase_if(found, [command](const Event &event) { return event.address != command; });
        return found;
    }
};

class HostInterfaceTest : public FpgaTest, public ::testing::WithParamInterface<Interface> {
protected:
    HostInterface &side() { return board.host().*GetParam().side; }
    const Interface &interface = GetParam();
};

INSTANTIATE_TEST_SUITE_P(All, HostInterfaceTest, ::testing::ValuesIn(interfaces), ByName());

// ---- status ----

TEST_P(HostInterfaceTest, StatusPassesThroughUntouched)
{
    for (unsigned value = 0; value <= 0xFF; ++value) {
        SCOPED_TRACE(value);
        side().set_status(static_cast<uint8_t>(value));
        clear_trace();
        uint8_t status = 0xEE;
        EXPECT_EQ(interface.get_status(0, &status), 0);
        EXPECT_EQ(status, value);
        EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", step_of("read", interface.status_get),
                                  "unlock fpga_request_lock"}));
        const auto reads = board.trace.of(Operation::read, "fpga");
        ASSERT_EQ(reads.size(), 1U);
        EXPECT_EQ(reads[0].bytes, Bytes{interface.status_get});
        EXPECT_EQ(reads[0].count, 1U);
    }
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, StatusOfAnotherChannelOrToNoPlaceIsRefused)
{
    uint8_t status = 0xEE;
    for (const int32_t chan : {1, -1, 2, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(interface.get_status(chan, &status), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
    }
    EXPECT_EQ(status, 0xEE);
    for (const int32_t chan : {0, 1}) {
        EXPECT_EQ(interface.get_status(chan, nullptr), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_P(HostInterfaceTest, StatusFailsBelowOne)
{
    for (const int result : driver_results) {
        SCOPED_TRACE(result);
        driver_answers(Operation::read, interface.status_get, result);
        uint8_t status = 0xEE;
        EXPECT_EQ(interface.get_status(0, &status), result < 1 ? -5 : 0);
        EXPECT_EQ(status, interface.status_get) << "the caller's byte is the record";
    }
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, SetStatusSendsTheValue)
{
    for (const uint8_t value : Bytes{0x00, 0x01, 0x04, 0x80, 0xFF}) {
        clear_trace();
        EXPECT_EQ(interface.set_status(0, value), 0);
        EXPECT_EQ(side().status(), value);
        EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", step_of("write", interface.status_set),
                                  "unlock fpga_request_lock"}));
        const auto writes = board.trace.of(Operation::write, "fpga");
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(writes[0].bytes, (Bytes{interface.status_set, value}));
        EXPECT_EQ(writes[0].count, 2U);
    }
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, SetStatusOfAnotherChannelIsRefused)
{
    for (const int32_t chan : {1, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(interface.set_status(chan, 2), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
    }
    EXPECT_EQ(side().status(), HostInterface::idle);
    EXPECT_EQ(steps(), Names{});
}

TEST_P(HostInterfaceTest, SetStatusAnswersPlusFiveBelowOne)
{
    for (const int result : driver_results) {
        SCOPED_TRACE(result);
        driver_answers(Operation::write, interface.status_set, result);
        EXPECT_EQ(interface.set_status(0, 2), result < 1 ? 5 : 0);
    }
    EXPECT_EQ(side().status(), HostInterface::idle);
    EXPECT_EQ(output(), "");
}

// ---- receive ----

// Buffers have exactly the length that the call names, so that the address
// sanitizer sees each byte too many.
TEST_P(HostInterfaceTest, ReceiveAsksForTheLengthUpToItsLimit)
{
    const struct {
        int32_t len;
        uint64_t count;
    } cases[] = {
        {interface.receive_max, static_cast<uint64_t>(interface.receive_max)},
        {interface.receive_max - 1, static_cast<uint64_t>(interface.receive_max - 1)},
        {1, 1},
        {0, 0},
        {-1, 0},
        {INT32_MIN, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.len);
        clear_trace();
        Bytes buffer(static_cast<size_t>(std::max(c.len, 1)), 0xEE);
        EXPECT_EQ(interface.receive(buffer.data(), c.len), 0);
        EXPECT_EQ(buffer[0], interface.data);
        const auto reads = board.trace.of(Operation::read, "fpga");
        ASSERT_EQ(reads.size(), 1U);
        EXPECT_EQ(reads[0].count, c.count);
        if (c.count > 0) {
            EXPECT_EQ(reads[0].bytes, Bytes{interface.data});
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, ReceiveAboveTheLimitIsRefused)
{
    side().send({1, 2, 3});
    for (const int32_t len : {interface.receive_max + 1, interface.receive_max + 2, INT32_MAX}) {
        Bytes buffer(400, 0xEE);
        EXPECT_EQ(interface.receive(buffer.data(), len), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
        EXPECT_EQ(buffer, Bytes(400, 0xEE));
    }
    EXPECT_TRUE(side().request_pending());
    EXPECT_EQ(steps(), Names{});
}

TEST_P(HostInterfaceTest, ReceiveToNoPlaceIsRefused)
{
    for (const int32_t len : {10, INT32_MAX}) {
        EXPECT_EQ(interface.receive(nullptr, len), -2);
        EXPECT_EQ(output(), "obuffer is empty,please allocate memory!!\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_P(HostInterfaceTest, ReceiveTakesTheMessageUnderItsOwnLock)
{
    side().send({0x18, 0x01, 0xAB});
    Bytes buffer(50, 0xEE);
    EXPECT_EQ(interface.receive(buffer.data(), 50), 3);
    Bytes expected(50, 0xEE);
    expected[0] = 0x18;
    expected[1] = 0x01;
    expected[2] = 0xAB;
    EXPECT_EQ(buffer, expected);
    EXPECT_FALSE(side().request_pending());
    EXPECT_EQ(steps(),
              (Names{std::string("lock ") + interface.read_lock, step_of("read", interface.data),
                     std::string("unlock ") + interface.read_lock}));
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, ReceiveNegatesResultsAbove9999)
{
    for (const int result : driver_results) {
        SCOPED_TRACE(result);
        driver_answers(Operation::read, interface.data, result);
        Bytes buffer(10, 0xEE);
        EXPECT_EQ(interface.receive(buffer.data(), 10), negated_above_9999(result));
    }
    EXPECT_EQ(output(), "");
}

// ---- send, what both interfaces have in common ----

TEST_P(HostInterfaceTest, SendAsksTheStatusBeforeItTakesItsLock)
{
    Bytes buffer = interface.outgoing({0x1C, 0x01, 0x00});
    EXPECT_EQ(interface.send(buffer), 5);
    EXPECT_EQ(side().answers(), std::vector<Message>{(Message{0x1C, 0x01, 0x00})});
    EXPECT_EQ(
        steps(),
        (Names{"lock fpga_request_lock", step_of("read", interface.status_get),
               "unlock fpga_request_lock", std::string("lock ") + interface.write_lock,
               step_of("write", interface.data), std::string("unlock ") + interface.write_lock}));
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, SendAtAnyStatusButFourLeavesDeviceAndBufferAlone)
{
    for (unsigned value = 0; value <= 0xFF; ++value) {
        if (value == HostInterface::idle) {
            continue;
        }
        SCOPED_TRACE(value);
        side().set_status(static_cast<uint8_t>(value));
        const Bytes before = interface.outgoing({0x1C, 0x01, 0x00});
        Bytes buffer = before;
        EXPECT_EQ(interface.send(buffer), -9);
        EXPECT_EQ(buffer, before);
    }
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 0U);
    EXPECT_EQ(board.trace.count(Operation::read, "fpga"), 255U) << "the status is asked once";
    EXPECT_EQ(output(), "");
}

TEST_P(HostInterfaceTest, SendWithoutAStatusLeavesDeviceAndBufferAlone)
{
    for (const int result : {-1, 0}) {
        driver_answers(Operation::read, interface.status_get, result);
        const Bytes before = interface.outgoing({0x1C, 0x01, 0x00});
        Bytes buffer = before;
        EXPECT_EQ(interface.send(buffer), -5);
        EXPECT_EQ(output(), interface.status_error);
        EXPECT_EQ(buffer, before);
    }
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 0U);
}

TEST_P(HostInterfaceTest, SendNegatesResultsAbove9999)
{
    for (const int result : driver_results) {
        SCOPED_TRACE(result);
        driver_answers(Operation::write, interface.data, result);
        Bytes buffer = interface.outgoing({0x1C, 0x01, 0x00});
        EXPECT_EQ(interface.send(buffer), negated_above_9999(result));
    }
    EXPECT_TRUE(side().answers().empty());
    EXPECT_EQ(output(), "");
}

// ---- BT send: two bytes of the caller's buffer are the header ----

using BtWriteTest = FpgaTest;

TEST_F(BtWriteTest, LengthCountsTheHeader)
{
    Bytes buffer = counting(10);
    EXPECT_EQ(bt_write(buffer.data(), 10), 10);
    const Bytes sent = {0x71, 8, 3, 4, 5, 6, 7, 8, 9, 10};
    EXPECT_EQ(buffer, sent);
    const auto writes = calls(Operation::write, 0x71);
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].bytes, sent);
    EXPECT_EQ(writes[0].count, 10U);
    EXPECT_EQ(board.host().bt.answers(),
              std::vector<Message>{Message(sent.begin() + 2, sent.end())});
}

TEST_F(BtWriteTest, LengthsUpTo254AreSent)
{
    constexpr struct {
        int32_t len;
        uint64_t count;
        uint8_t header;
    } cases[] = {
        {254, 254, 252}, {253, 253, 251}, {3, 3, 1},     {2, 2, 0},
        {1, 1, 0xFF},    {0, 0, 0xFE},    {-1, 0, 0xFD}, {INT32_MIN, 0, 0xFE},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.len);
        clear_trace();
        driver_answers(Operation::write, {}, 7);
        Bytes buffer = counting(static_cast<size_t>(std::max(c.len, 2)));
        Bytes expected = buffer;
        expected[0] = 0x71;
        expected[1] = c.header;
        EXPECT_EQ(bt_write(buffer.data(), c.len), 7);
        EXPECT_EQ(buffer, expected);
        const auto writes = board.trace.of(Operation::write, "fpga");
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(writes[0].count, c.count);
        expected.resize(static_cast<size_t>(c.count));
        EXPECT_EQ(writes[0].bytes, expected);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(BtWriteTest, TheLongestMessageArrivesWhole)
{
    Bytes buffer = counting(254);
    EXPECT_EQ(bt_write(buffer.data(), 254), 254);
    ASSERT_EQ(board.host().bt.answers().size(), 1U);
    EXPECT_EQ(board.host().bt.answers()[0], Message(buffer.begin() + 2, buffer.end()));
}

TEST_F(BtWriteTest, LengthsFrom255AreRefused)
{
    for (const int32_t len : {255, 256, INT32_MAX}) {
        Bytes buffer = counting(300);
        EXPECT_EQ(bt_write(buffer.data(), len), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
        EXPECT_EQ(buffer, counting(300));
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(BtWriteTest, NoBufferIsRefused)
{
    for (const int32_t len : {10, INT32_MAX}) {
        EXPECT_EQ(bt_write(nullptr, len), -2);
        EXPECT_EQ(output(), "ibuffer is empty!!!\n");
    }
    EXPECT_EQ(steps(), Names{});
}

// ---- KCS send: the record is built from the bare message ----

using KcsWriteTest = FpgaTest;

TEST_F(KcsWriteTest, RecordIsCommandLengthAndMessage)
{
    const Bytes message = {0x1C, 0x02, 0xC1};
    EXPECT_EQ(kcs_write(message.data(), 3), 5);
    EXPECT_EQ(message, (Bytes{0x1C, 0x02, 0xC1}));
    const auto writes = calls(Operation::write, 0x31);
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].bytes, (Bytes{0x31, 3, 0x1C, 0x02, 0xC1}));
    EXPECT_EQ(writes[0].count, 5U);
    EXPECT_EQ(board.host().kcs.answers(), std::vector<Message>{message});
}

TEST_F(KcsWriteTest, LengthsUpTo100AreSent)
{
    constexpr struct {
        int32_t len;
        uint64_t count;
        uint8_t header;
    } cases[] = {
        {100, 102, 100}, {99, 101, 99},        {1, 3, 1},
        {0, 2, 0},       {-1, 1, 0xFF},        {-2, 0, 0xFE},
        {-3, 0, 0xFD},   {INT32_MIN, 0, 0x00}, {INT32_MIN + 1, 0, 0x01},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.len);
        clear_trace();
        driver_answers(Operation::write, {}, 7);
        const Bytes message = counting(static_cast<size_t>(std::max(c.len, 1)));
        EXPECT_EQ(kcs_write(message.data(), c.len), 7);
        const auto writes = board.trace.of(Operation::write, "fpga");
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(writes[0].count, c.count);
        Bytes expected = {0x31, c.header};
        expected.insert(expected.end(), message.begin(), message.end());
        expected.resize(static_cast<size_t>(c.count));
        EXPECT_EQ(writes[0].bytes, expected);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(KcsWriteTest, TheLongestMessageArrivesWhole)
{
    const Bytes message = counting(100);
    EXPECT_EQ(kcs_write(message.data(), 100), 102);
    EXPECT_EQ(board.host().kcs.answers(), std::vector<Message>{message});
}

TEST_F(KcsWriteTest, LengthsFrom101AreRefused)
{
    const Bytes message = counting(300);
    for (const int32_t len : {101, 102, INT32_MAX}) {
        EXPECT_EQ(kcs_write(message.data(), len), -2);
        EXPECT_EQ(output(), "invalid argument\r\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(KcsWriteTest, NoMessageIsRefused)
{
    for (const int32_t len : {3, INT32_MAX}) {
        EXPECT_EQ(kcs_write(nullptr, len), -2);
        EXPECT_EQ(output(), "ibuffer is empty!!!\n");
    }
    EXPECT_EQ(steps(), Names{});
}

// ---- reserved RAM ----

class ReservedRamTest : public FpgaTest {
protected:
    void SetUp() override
    {
        FpgaTest::SetUp();
        for (size_t i = 0; i < board.fpga().ram().size(); ++i) {
            board.fpga().ram()[i] = pattern(i);
        }
    }

    static uint8_t pattern(size_t offset)
    {
        return static_cast<uint8_t>(offset * 7 + offset / 256);
    }
    bool ram_is_untouched()
    {
        const auto &ram = board.fpga().ram();
        for (size_t i = 0; i < ram.size(); ++i) {
            if (ram[i] != pattern(i)) {
                return false;
            }
        }
        return true;
    }
};

TEST_F(ReservedRamTest, ReadSeeksAndReadsUnderTheRequestLock)
{
    Bytes buffer(24, 0xEE);
    EXPECT_EQ(reserved_ram_read(1000, buffer.data(), 24), 24);
    for (size_t i = 0; i < buffer.size(); ++i) {
        EXPECT_EQ(buffer[i], pattern(1000 + i));
    }
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", "seek fpga 3e8", "read fpga 51",
                              "unlock fpga_request_lock"}));
    const auto reads = calls(Operation::read, 0x51);
    ASSERT_EQ(reads.size(), 1U);
    EXPECT_EQ(reads[0].bytes, Bytes{0x51});
    EXPECT_EQ(reads[0].count, 24U);
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(ram_is_untouched());
}

TEST_F(ReservedRamTest, WriteSeeksAndWritesUnderTheRequestLock)
{
    const Bytes data = {0xD0, 0xD1, 0xD2};
    EXPECT_EQ(reserved_ram_write(1021, data.data(), 3), 3);
    EXPECT_EQ(board.fpga().ram()[1020], pattern(1020));
    EXPECT_EQ(board.fpga().ram()[1021], 0xD0);
    EXPECT_EQ(board.fpga().ram()[1023], 0xD2);
    EXPECT_EQ(steps(), (Names{"lock fpga_request_lock", "seek fpga 3fd", "write fpga 51",
                              "unlock fpga_request_lock"}));
    const auto writes = calls(Operation::write, 0x51);
    ASSERT_EQ(writes.size(), 1U);
    EXPECT_EQ(writes[0].bytes, (Bytes{0x51, 0xD0, 0xD1, 0xD2}));
    EXPECT_EQ(writes[0].count, 4U);
    EXPECT_EQ(data, (Bytes{0xD0, 0xD1, 0xD2}));
    EXPECT_EQ(output(), "");
}

TEST_F(ReservedRamTest, WholeRamGoesInAndComesBack)
{
    Bytes data = counting(1024);
    EXPECT_EQ(reserved_ram_write(0, data.data(), 1024), 1024);
    Bytes buffer(1024);
    EXPECT_EQ(reserved_ram_read(0, buffer.data(), 1024), 1024);
    EXPECT_EQ(buffer, data);
}

struct Range {
    int32_t offset;
    int32_t len;
};

TEST_F(ReservedRamTest, RangesThatEndWithinTheRamReachTheDriver)
{
    constexpr struct {
        Range range;
        uint64_t read;
        uint64_t written;
    } cases[] = {
        {{0, 1024}, 1024, 1025}, {{1, 1023}, 1023, 1024}, {{1023, 1}, 1, 2},
        {{1024, 0}, 0, 1},       {{0, 0}, 0, 1},          {{1025, -1}, 0, 0},
        {{0, -1}, 0, 0},         {{5, INT32_MIN}, 0, 0},  {{INT32_MAX, INT32_MIN}, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.range.offset << ' ' << c.range.len);
        clear_trace();
        board.faults.clear();
        board.faults.add(fpga_answers(Operation::read, {}, 7));
        board.faults.add(fpga_answers(Operation::write, {}, 8));
        Bytes buffer(static_cast<size_t>(std::max(c.range.len, 1)), 0xEE);
        EXPECT_EQ(reserved_ram_read(c.range.offset, buffer.data(), c.range.len), 7);
        EXPECT_EQ(buffer[0], 0x51);
        EXPECT_EQ(reserved_ram_write(c.range.offset, buffer.data(), c.range.len), 8);
        const auto reads = board.trace.of(Operation::read, "fpga");
        const auto writes = board.trace.of(Operation::write, "fpga");
        ASSERT_EQ(reads.size(), 1U);
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(reads[0].count, c.read);
        EXPECT_EQ(writes[0].count, c.written);
        if (c.written > 0) {
            EXPECT_EQ(writes[0].bytes[0], 0x51);
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(ReservedRamTest, RangesBeyondTheRamAreRefused)
{
    const std::string bad_length = "len is a invalid argument \r\n";
    const std::string bad_offset = "offset is not a valid paramter!!\n";
    const struct {
        Range range;
        std::string text;
    } cases[] = {
        {{0, 1025}, bad_length},         {{0, INT32_MAX}, bad_length},
        {{INT32_MIN, 1025}, bad_length}, {{INT32_MAX, INT32_MAX}, bad_length},
        {{1000, 25}, bad_offset},        {{1, 1024}, bad_offset},
        {{1025, 0}, bad_offset},         {{1026, -1}, bad_offset},
        {{INT32_MAX, 0}, bad_offset},    {{INT32_MAX, 1024}, bad_offset},
        {{INT32_MAX, -1}, bad_offset},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.range.offset << ' ' << c.range.len);
        Bytes buffer(4, 0xEE);
        EXPECT_EQ(reserved_ram_read(c.range.offset, buffer.data(), c.range.len), -2);
        EXPECT_EQ(output(), c.text);
        EXPECT_EQ(buffer, Bytes(4, 0xEE));
        EXPECT_EQ(reserved_ram_write(c.range.offset, buffer.data(), c.range.len), -2);
        EXPECT_EQ(output(), c.text);
    }
    EXPECT_EQ(steps(), Names{});
    EXPECT_TRUE(ram_is_untouched());
}

TEST_F(ReservedRamTest, NoBufferIsRefusedBeforeTheRange)
{
    for (const int32_t len : {4, 1025}) {
        EXPECT_EQ(reserved_ram_read(0, nullptr, len), -1);
        EXPECT_EQ(output(), "the obuffer paramter is invalid!!!\n");
        EXPECT_EQ(reserved_ram_write(0, nullptr, len), -1);
        EXPECT_EQ(output(), "the ibuffer paramter is invalid!!!\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(ReservedRamTest, ASeekThatLandsElsewhereMovesNothing)
{
    using Kind = Fault::Kind;
    for (const auto &[kind, value] :
         {std::pair{Kind::error, EINVAL}, {Kind::result, 99}, {Kind::result, 0}}) {
        SCOPED_TRACE(value);
        clear_trace();
        board.faults.clear();
        board.faults.add({.name = "lost",
                          .device = "fpga",
                          .operation = Operation::seek,
                          .kind = kind,
                          .value = value,
                          .times = 0});
        Bytes buffer = {0xEE, 0xEE};
        EXPECT_EQ(reserved_ram_read(100, buffer.data(), 2), -2);
        EXPECT_EQ(reserved_ram_write(100, buffer.data(), 2), -2);
        EXPECT_EQ(buffer, (Bytes{0xEE, 0xEE}));
        EXPECT_EQ(steps(),
                  (Names{"lock fpga_request_lock", "seek fpga 64", "unlock fpga_request_lock",
                         "lock fpga_request_lock", "seek fpga 64", "unlock fpga_request_lock"}));
    }
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(ram_is_untouched());
}

TEST_F(ReservedRamTest, NegativeOffsetsFailAtTheSeek)
{
    for (const Range range :
         {Range{-2, 1}, {-1024, 1024}, {INT32_MIN, 1024}, {INT32_MIN, INT32_MIN}}) {
        SCOPED_TRACE(range.offset);
        Bytes buffer(4, 0xEE);
        EXPECT_EQ(reserved_ram_read(range.offset, buffer.data(), range.len), -2);
        EXPECT_EQ(buffer, Bytes(4, 0xEE));
        const Bytes data(1024, 0xEE);
        EXPECT_EQ(reserved_ram_write(range.offset, data.data(), range.len), -2);
    }
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(ram_is_untouched());
}

// A seek to -1 answers -1, which is where the caller wanted to go: the transfer
// happens where the last one left the descriptor.
TEST_F(ReservedRamTest, OffsetMinusOneMatchesTheFailedSeek)
{
    uint8_t byte = 0;
    EXPECT_EQ(reserved_ram_read(200, &byte, 1), 1);
    EXPECT_EQ(reserved_ram_read(-1, &byte, 1), 1);
    EXPECT_EQ(byte, pattern(200));
}

TEST_F(ReservedRamTest, ResultsAreNeverNegated)
{
    Bytes buffer(4, 0xEE);
    for (const int result : driver_results) {
        SCOPED_TRACE(result);
        driver_answers(Operation::read, 0x51, result);
        EXPECT_EQ(reserved_ram_read(0, buffer.data(), 4), result);
        driver_answers(Operation::write, 0x51, result);
        EXPECT_EQ(reserved_ram_write(0, buffer.data(), 4), result);
    }
    EXPECT_EQ(output(), "");
}

// ---- a host that misbehaves ----

// The fault strikes the data or the status record of the interface under test.
struct Struck {
    Operation operation = Operation::read;
    bool status = false;
    Fault::Kind kind = Fault::Kind::result;
    long long value = 0;
    unsigned skip = 0;
};

enum class Printed { nothing, status_error };

// The controller polls the status, takes a message, and answers with
// {0x1C, 0x01, 0x00}; each row says what host and driver do to it, and what the
// two ends have to show for it. "whole" stands for the full record's length.
constexpr int whole = 5;
const Message reply = {0x1C, 0x01, 0x00};
const std::vector<Message> got_it = {reply};
const std::vector<Message> got_nothing = {};
const Message hello = {0x18, 0x01, 0x7A};

struct Misbehaviour {
    const char *name;
    std::function<void(HostInterface &)> host = {};
    std::optional<Struck> fault = {};
    // Done by the host right after the n-th status read, counted from 1.
    unsigned after_status = 0;
    std::function<void(HostInterface &)> then = {};

    int polled = 0;
    std::optional<uint8_t> status = HostInterface::idle; // empty: the command byte
    std::optional<int> taken = 0;                        // empty: the interface's limit
    Message message = {}; // first bytes of the buffer; empty: the command byte
    int sent = whole;
    std::vector<Message> answers = got_it;
    bool pending = false; // a request waits at the end
    Printed printed = Printed::nothing;
};

std::function<void(HostInterface &)> sends(Message message)
{
    return [message](HostInterface &side) { side.send(message); };
}

Message oversize()
{
    return counting(300);
}

// Waits once more, with the next request, when the answer has come.
void sends_again_on_answer(HostInterface &side)
{
    side.send(hello);
    side.on_answer([&side](const Message &) { side.send({0x18, 0x02}); });
}

void hangs_up_on_answer(HostInterface &side)
{
    side.send(hello);
    side.on_answer([&side](const Message &) { side.fail_writes(10001); });
}

void sends_two(HostInterface &side)
{
    side.send(hello);
    side.send({0x18, 0x02});
}

using Kind = Fault::Kind;
constexpr Operation reads = Operation::read;
constexpr Operation writes = Operation::write;

// clang-format off
const Misbehaviour misbehaviours[] = {
    // Requests of every size.
    {.name = "SaysNothing"},
    {.name = "SendsOneRequest", .host = sends(hello), .status = 1, .taken = 3, .message = hello},
    {.name = "SendsAnEmptyMessage", .host = sends({}), .status = 1, .taken = 0},
    {.name = "SendsOneByte", .host = sends({0x55}), .status = 1, .taken = 1, .message = {0x55}},
    {.name = "SendsMoreThanFits", .host = sends(oversize()), .status = 1, .taken = {},
     .message = counting(100)},
    {.name = "SendsTwo", .host = sends_two, .status = 1, .taken = 3, .message = hello, .sent = -9,
     .answers = got_nothing, .pending = true},

    // A status that does not do what the traffic says.
    {.name = "IsNeverIdle", .host = [](HostInterface &side) { side.never_idle(true); }, .status = 2,
     .sent = -9, .answers = got_nothing},
    {.name = "SendsAndIsNeverIdle",
     .host = [](HostInterface &side) { side.send(hello); side.never_idle(true); }, .status = 2,
     .taken = 3, .message = hello, .sent = -9, .answers = got_nothing},
    {.name = "StaysAtZero", .host = [](HostInterface &side) { side.set_status(0); }, .status = 0,
     .sent = -9, .answers = got_nothing},
    {.name = "StaysAtAllOnes", .host = [](HostInterface &side) { side.set_status(0xFF); },
     .status = 0xFF, .sent = -9, .answers = got_nothing},
    {.name = "IsIdleWithARequest",
     .host = [](HostInterface &side) { side.send(hello); side.set_status(4); }, .taken = 3,
     .message = hello},
    {.name = "PromisesARequestAndHasNone", .host = [](HostInterface &side) { side.set_status(1); },
     .status = 1, .sent = -9, .answers = got_nothing},
    {.name = "FlipsTheIdleBit", .fault = Struck{reads, true, Kind::bit_flip, 2}, .status = 0,
     .sent = whole},
    {.name = "FlipsAnotherBitBeforeTheSend", .fault = Struck{reads, true, Kind::bit_flip, 0, 1},
     .sent = -9, .answers = got_nothing},

    // Changes between one look and the next.
    {.name = "SendsBetweenPollAndTake", .after_status = 1, .then = sends(hello), .taken = 3,
     .message = hello},
    {.name = "SendsBetweenCheckAndSend", .after_status = 2, .then = sends(hello), .pending = true},
    {.name = "GetsBusyBetweenCheckAndSend", .after_status = 2,
     .then = [](HostInterface &side) { side.never_idle(true); }},
    {.name = "GoesAwayBetweenCheckAndSend", .after_status = 2,
     .then = [](HostInterface &side) { side.fail_writes(10005); }, .sent = -10005,
     .answers = got_nothing},
    {.name = "SendsAgainWhileAnswered", .host = sends_again_on_answer, .status = 1, .taken = 3,
     .message = hello, .pending = true},
    {.name = "HangsUpWhileAnswered", .host = hangs_up_on_answer, .status = 1, .taken = 3,
     .message = hello},

    // The driver's errors, and what looks like one.
    {.name = "ReadAnswers9999", .host = sends(hello),
     .fault = Struck{reads, false, Kind::result, 9999}, .status = 1, .taken = 9999, .sent = -9,
     .answers = got_nothing, .pending = true},
    {.name = "ReadFailsWith10000", .host = sends(hello),
     .fault = Struck{reads, false, Kind::result, 10000}, .status = 1, .taken = -10000, .sent = -9,
     .answers = got_nothing, .pending = true},
    {.name = "ReadFailsAfterTheTransfer", .host = sends(hello),
     .fault = Struck{reads, false, Kind::late_result, 10001}, .status = 1, .taken = -10001,
     .message = hello},
    {.name = "ReadFailsWithErrno", .fault = Struck{reads, false, Kind::error, EIO}, .taken = -1},
    {.name = "ReadAnswersZero", .host = sends(hello),
     .fault = Struck{reads, false, Kind::result, 0}, .status = 1, .taken = 0, .sent = -9,
     .answers = got_nothing, .pending = true},
    {.name = "ReadIsShort", .host = sends(hello),
     .fault = Struck{reads, false, Kind::short_count, 2}, .status = 1, .taken = 2,
     .message = {0x18, 0x01}},
    {.name = "ReadFlipsABit", .host = sends(hello),
     .fault = Struck{reads, false, Kind::bit_flip, 8}, .status = 1, .taken = 3,
     .message = {0x18, 0x00, 0x7A}},
    {.name = "ReadLies", .fault = Struck{reads, false, Kind::lie}, .taken = {}},
    {.name = "WriteAnswers9999", .fault = Struck{writes, false, Kind::result, 9999}, .sent = 9999,
     .answers = got_nothing},
    {.name = "WriteFailsWith10000", .fault = Struck{writes, false, Kind::result, 10000},
     .sent = -10000, .answers = got_nothing},
    {.name = "WriteFailsAfterTheTransfer", .fault = Struck{writes, false, Kind::late_result, 10005},
     .sent = -10005},
    {.name = "WriteFailsWithErrno", .fault = Struck{writes, false, Kind::error, EIO}, .sent = -1,
     .answers = got_nothing},
    {.name = "WriteTakesNothing", .fault = Struck{writes, false, Kind::result, 0}, .sent = 0,
     .answers = got_nothing},
    {.name = "WriteCutsTheMessage", .fault = Struck{writes, false, Kind::short_count, 3}, .sent = 3,
     .answers = {{0x1C}}},
    {.name = "WriteTakesTheHeaderAlone", .fault = Struck{writes, false, Kind::short_count, 2},
     .sent = 2, .answers = {{}}},
    {.name = "WriteCutsTheHeader", .fault = Struck{writes, false, Kind::short_count, 1}, .sent = -1,
     .answers = got_nothing},
    {.name = "WriteLies", .fault = Struck{writes, false, Kind::lie}, .sent = whole,
     .answers = got_nothing},

    // A status that cannot be had, or is not one.
    {.name = "StatusFailsBeforeTheSend", .fault = Struck{reads, true, Kind::error, EIO, 1},
     .sent = -5, .answers = got_nothing, .printed = Printed::status_error},
    {.name = "StatusAnswersZeroBeforeTheSend", .fault = Struck{reads, true, Kind::result, 0, 1},
     .sent = -5, .answers = got_nothing, .printed = Printed::status_error},
    {.name = "StatusFailsAtThePoll", .host = sends(hello),
     .fault = Struck{reads, true, Kind::error, EIO}, .polled = -5, .status = {}, .taken = 3,
     .message = hello},
    {.name = "StatusFailsWithADriverNumber", .fault = Struck{reads, true, Kind::result, 10005},
     .polled = 0, .status = {}},
    {.name = "StatusLiesBeforeTheSend", .fault = Struck{reads, true, Kind::lie, 0, 1}, .sent = -9,
     .answers = got_nothing},
};
// clang-format on

class MisbehavingHostTest : public FpgaTest,
                            public ::testing::WithParamInterface<std::tuple<Interface, size_t>> {
protected:
    const Interface &interface = std::get<0>(GetParam());
    const Misbehaviour &row = misbehaviours[std::get<1>(GetParam())];

    void prepare(HostInterface &side)
    {
        if (row.host) {
            row.host(side);
        }
        if (row.fault) {
            board.faults.add({.name = row.name,
                              .device = "fpga",
                              .operation = row.fault->operation,
                              .address = row.fault->status ? interface.status_get : interface.data,
                              .kind = row.fault->kind,
                              .value = row.fault->value,
                              .skip = row.fault->skip});
        }
        if (row.then) {
            board.trace.listen([this, &side, count = 0U](const Event &event) mutable {
                if (event.operation == Operation::read && event.address == interface.status_get &&
                    ++count == row.after_status) {
                    row.then(side);
                }
            });
        }
    }
};

TEST_P(MisbehavingHostTest, BothEndsAgree)
{
    HostInterface &side = board.host().*interface.side;
    prepare(side);

    uint8_t status = 0xEE;
    EXPECT_EQ(interface.get_status(0, &status), row.polled);
    EXPECT_EQ(status, row.status.value_or(interface.status_get));

    Bytes buffer(static_cast<size_t>(interface.receive_max), 0xEE);
    EXPECT_EQ(interface.receive(buffer.data(), interface.receive_max),
              row.taken.value_or(interface.receive_max));
    const Message expected = row.message.empty() ? Message{interface.data} : row.message;
    EXPECT_EQ(Message(buffer.begin(), buffer.begin() + static_cast<long>(expected.size())),
              expected);
    if (row.taken) {
        EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0xEE),
                  static_cast<long>(buffer.size() - expected.size()))
            << "bytes behind the message";
    }

    const Bytes before = interface.outgoing(reply);
    Bytes outgoing = before;
    EXPECT_EQ(interface.send(outgoing), row.sent);
    if (row.sent == -9 || row.sent == -5) {
        EXPECT_EQ(outgoing, before);
        EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 0U);
    } else {
        EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 1U);
    }
    EXPECT_EQ(side.answers(), row.answers);
    EXPECT_EQ(side.request_pending(), row.pending);
    EXPECT_EQ(output(), row.printed == Printed::status_error ? interface.status_error : "");
    for (const Fault &fault : board.faults.faults()) {
        EXPECT_EQ(fault.hits, 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(All, MisbehavingHostTest,
                         ::testing::Combine(::testing::ValuesIn(interfaces),
                                            ::testing::Range(size_t{0}, std::size(misbehaviours))),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) +
                                    misbehaviours[std::get<1>(test.param)].name;
                         });

// ---- threads ----

// A door that a thread waits at until the test opens it.
class Door {
public:
    void wait()
    {
        std::unique_lock guard(lock_);
        arrived_ = true;
        changed_.notify_all();
        changed_.wait(guard, [this] { return open_; });
    }
    void await_arrival()
    {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [this] { return arrived_; });
    }
    void open()
    {
        const std::lock_guard guard(lock_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool arrived_ = false;
    bool open_ = false;
};

using HostInterfaceThreadsTest = HostInterfaceTest;

INSTANTIATE_TEST_SUITE_P(All, HostInterfaceThreadsTest, ::testing::ValuesIn(interfaces), ByName());

TEST_P(HostInterfaceThreadsTest, ASendPassesAReceiveThatIsUnderWay)
{
    Door door;
    when_locked(interface.read_lock, [&door] { door.wait(); });
    Bytes buffer(10, 0xEE);
    std::thread receiver([&] { EXPECT_EQ(interface.receive(buffer.data(), 10), 0); });
    door.await_arrival();
    clear_trace();

    Bytes outgoing = interface.outgoing(reply);
    EXPECT_EQ(interface.send(outgoing), whole);
    EXPECT_EQ(side().answers(), got_it);
    EXPECT_EQ(board.trace.count(Operation::read, "fpga"), 1U) << "the status alone";

    door.open();
    receiver.join();
    EXPECT_EQ(buffer[0], interface.data);
}

TEST_P(HostInterfaceThreadsTest, AReceivePassesASendThatIsUnderWay)
{
    Door door;
    when_locked(interface.write_lock, [&door] { door.wait(); });
    Bytes outgoing = interface.outgoing(reply);
    std::thread sender([&] { EXPECT_EQ(interface.send(outgoing), whole); });
    door.await_arrival();

    side().send(hello);
    Bytes buffer(10, 0xEE);
    EXPECT_EQ(interface.receive(buffer.data(), 10), 3);
    EXPECT_TRUE(side().answers().empty());

    door.open();
    sender.join();
    EXPECT_EQ(side().answers(), got_it);
}

// The second send finds the interface idle, as the status is asked outside the
// lock, and then waits until the first is through.
TEST_P(HostInterfaceThreadsTest, TwoSendsWriteOneAfterTheOther)
{
    Door door;
    when_locked(interface.write_lock, [&door] { door.wait(); });
    std::thread first([&] {
        Bytes outgoing = interface.outgoing(reply);
        EXPECT_EQ(interface.send(outgoing), whole);
    });
    door.await_arrival();
    board.act([this] { clear_trace(); });

    std::promise<void> second_asked;
    board.act([&] {
        board.trace.listen([&second_asked](const Event &event) {
            if (event.operation == Operation::unlock && event.device == "fpga_request_lock") {
                second_asked.set_value();
            }
        });
    });
    const Message other = {0x20, 0x02, 0xC1};
    std::thread second([&] {
        Bytes outgoing = interface.outgoing(other);
        EXPECT_EQ(interface.send(outgoing), whole);
    });
    second_asked.get_future().wait();
    door.open();
    first.join();
    second.join();

    const std::string lock = interface.write_lock;
    EXPECT_EQ(steps(),
              (Names{"lock fpga_request_lock", step_of("read", interface.status_get),
                     "unlock fpga_request_lock", step_of("write", interface.data), "unlock " + lock,
                     "lock " + lock, step_of("write", interface.data), "unlock " + lock}));
    EXPECT_EQ(side().answers(), (std::vector<Message>{reply, other}));
}

// KCS and BT share nothing but the request lock of their status.
TEST_F(FpgaTest, KcsAndBtDoNotWaitForEachOther)
{
    Door door;
    when_locked("kcs_write_lock", [&door] { door.wait(); });
    std::thread kcs([&] { EXPECT_EQ(kcs_write(reply.data(), 3), whole); });
    door.await_arrival();
    Bytes outgoing = interfaces[1].outgoing(reply);
    EXPECT_EQ(interfaces[1].send(outgoing), whole);
    EXPECT_EQ(board.host().bt.answers(), got_it);
    EXPECT_TRUE(board.host().kcs.answers().empty());
    door.open();
    kcs.join();
    EXPECT_EQ(board.host().kcs.answers(), got_it);
}

} // namespace
} // namespace board_test
