// The I2C master channels: what the callers get, what the chips got.

#include <errno.h>
#include <limits.h>
#include <linux/i2c-dev.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr uint8_t eeprom = 0xA0; // channels 0 and 2
constexpr uint8_t bridge = 0x54; // channel 1
constexpr uint8_t nobody = 0x30;
constexpr uint8_t untouched = 0xEE;

constexpr long not_addressed = 10010; // the driver's word for a missing chip
constexpr long bad_record = 10022;

constexpr uint32_t transfer_command = 0x21;

Bytes counting(size_t size, uint8_t first = 1)
{
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(first + i);
    }
    return bytes;
}

Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes head(const Bytes &bytes, size_t count)
{
    return {bytes.begin(), bytes.begin() + static_cast<long>(count)};
}

Bytes tail(const Bytes &bytes, size_t from)
{
    return {bytes.begin() + static_cast<long>(from), bytes.end()};
}

// The record of a read or write-read, filled up with zeros.
Bytes read_record(const Bytes &begin)
{
    Bytes record = begin;
    record.resize(71, 0);
    return record;
}

class I2cTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // All transfers on an FPGA channel, or on channel 2, answer this.
    Fault &every_transfer(Operation operation, Fault::Kind kind, long long value,
                          unsigned times = 0)
    {
        const bool soc = operation == Operation::ioctl;
        return board.faults.add({.name = "transfer",
                                 .device = soc ? "i2c-0" : "fpga",
                                 .operation = operation,
                                 .address = soc ? uint32_t{I2C_RDWR} : transfer_command,
                                 .kind = kind,
                                 .value = value,
                                 .times = times});
    }

    std::vector<Event> transfers(Operation operation) const
    {
        return board.trace.of(operation, operation == Operation::ioctl ? "i2c-0" : "fpga");
    }

    // The steps of a call that makes `attempts` with sleeps in between, all
    // within the lock.
    static Names locked(const Names &attempt, int attempts = 1, const Names &between = {})
    {
        Names all = {"lock i2c_lock"};
        for (int i = 0; i < attempts; ++i) {
            if (i > 0) {
                all.insert(all.end(), between.begin(), between.end());
            }
            all.insert(all.end(), attempt.begin(), attempt.end());
        }
        all.push_back("unlock i2c_lock");
        return all;
    }

    void fill_eeproms()
    {
        for (const unsigned channel : {0U, 2U}) {
            Bytes &memory = board.eeprom(channel).memory();
            for (size_t i = 0; i < memory.size(); ++i) {
                memory[i] = stored(i);
            }
        }
    }
    static uint8_t stored(size_t offset) { return static_cast<uint8_t>(offset * 3 + 5); }
    static Bytes stored(size_t offset, size_t count)
    {
        Bytes bytes(count);
        for (size_t i = 0; i < count; ++i) {
            bytes[i] = stored(offset + i);
        }
        return bytes;
    }
};

const Names fpga_read_step = {"read fpga 21"};
const Names fpga_write_step = {"write fpga 21"};

// ---- Refusals ----

struct Refusal {
    const char *name;
    std::function<int(uint8_t *)> call; // with a buffer of 128 bytes
    int result;
    const char *text;
};

void PrintTo(const Refusal &refusal, std::ostream *out)
{
    *out << refusal.name;
}

class I2cRefusal : public I2cTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(I2cRefusal, AnswersItsCodeAndTextAndTouchesNothing)
{
    Bytes buffer(128, untouched);
    EXPECT_EQ(GetParam().call(buffer.data()), GetParam().result);
    EXPECT_EQ(output(), GetParam().text);
    EXPECT_EQ(buffer, Bytes(128, untouched));
    EXPECT_EQ(steps(), Names{});
}

constexpr char no_buffer[] = "the obuffer paramter is invalid!!!\n";
constexpr char bad_len[] = "len is a invalid argument \r\n";
constexpr char bad_tx_len[] = "tx_len is a invalid argument \r\n";
constexpr char bad_rx_len[] = "rx_len is a invalid argument \r\n";
constexpr char bad_read_chan[] = "i2c_read: chan is not a valid paramter!!\n";
constexpr char bad_write_read_chan[] = "i2c_write_read: chan is not a valid paramter!!\n";
constexpr char bad_write_chan[] = "i2c_write: chan is not a valid paramter!!\n";
constexpr char bad_reset_chan[] = "i2c_reset: chan is not a valid paramter!!\n";
constexpr char bad_query_chan[] = "i2c_query_status: chan is not a valid paramter!!\n";
constexpr char no_status[] = "invalid argument\r\n";

uint32_t *word(uint8_t *buffer)
{
    return reinterpret_cast<uint32_t *>(buffer);
}

const Refusal refusals[] = {
    {"read_null", [](uint8_t *) { return i2c_read(0, 1, nullptr, 1, 0); }, -1, no_buffer},
    {"read_null_first", [](uint8_t *) { return i2c_read(3, 1, nullptr, 65, 0); }, -1, no_buffer},
    {"read_chan_3", [](uint8_t *b) { return i2c_read(3, 1, b, 1, 0); }, -2, bad_read_chan},
    {"read_chan_max", [](uint8_t *b) { return i2c_read(INT_MAX, 1, b, 1, 0); }, -2, bad_read_chan},
    {"read_chan_before_len", [](uint8_t *b) { return i2c_read(3, 1, b, 65, 0); }, -2,
     bad_read_chan},
    {"read_65_on_0", [](uint8_t *b) { return i2c_read(0, 1, b, 65, 0); }, -2, bad_len},
    {"read_65_on_1", [](uint8_t *b) { return i2c_read(1, 1, b, 65, 0); }, -2, bad_len},
    {"read_max", [](uint8_t *b) { return i2c_read(1, 1, b, INT_MAX, 0); }, -2, bad_len},

    {"write_read_null_rx", [](uint8_t *b) { return i2c_write_read(0, 1, b, 1, nullptr, 1, 0); }, -1,
     no_buffer},
    {"write_read_null_tx", [](uint8_t *b) { return i2c_write_read(3, 1, nullptr, 1, b, 1, 0); }, -1,
     no_buffer},
    {"write_read_chan_3", [](uint8_t *b) { return i2c_write_read(3, 1, b, 65, b, 1, 0); }, -2,
     bad_write_read_chan},
    {"write_read_chan_negative", [](uint8_t *b) { return i2c_write_read(-1, 1, b, 1, b, 1, 0); },
     -2, bad_write_read_chan},
    {"write_read_chan_min", [](uint8_t *b) { return i2c_write_read(INT_MIN, 1, b, 1, b, 1, 0); },
     -2, bad_write_read_chan},
    {"write_read_tx_65_on_0", [](uint8_t *b) { return i2c_write_read(0, 1, b, 65, b, 65, 0); }, -2,
     bad_tx_len},
    {"write_read_tx_65_on_1", [](uint8_t *b) { return i2c_write_read(1, 1, b, 65, b, 1, 0); }, -2,
     bad_tx_len},
    {"write_read_rx_65_on_0", [](uint8_t *b) { return i2c_write_read(0, 1, b, 64, b, 65, 0); }, -2,
     bad_rx_len},
    {"write_read_rx_65_on_1", [](uint8_t *b) { return i2c_write_read(1, 1, b, 1, b, 65, 0); }, -2,
     bad_rx_len},

    {"write_null", [](uint8_t *) { return i2c_write(0, 1, nullptr, 1, 0); }, -2,
     "ibuffer is empty!!!\n"},
    {"write_null_first", [](uint8_t *) { return i2c_write(3, 1, nullptr, 65, 0); }, -2,
     "ibuffer is empty!!!\n"},
    {"write_chan_3", [](uint8_t *b) { return i2c_write(3, 1, b, 65, 0); }, -2, bad_write_chan},
    {"write_chan_negative", [](uint8_t *b) { return i2c_write(-1, 1, b, 1, 0); }, -2,
     bad_write_chan},
    {"write_chan_min", [](uint8_t *b) { return i2c_write(INT_MIN, 1, b, 1, 0); }, -2,
     bad_write_chan},
    {"write_65_on_0", [](uint8_t *b) { return i2c_write(0, 1, b, 65, 0); }, -2, bad_len},
    {"write_65_on_1", [](uint8_t *b) { return i2c_write(1, 1, b, 65, 0); }, -2, bad_len},

    {"reset_chan_3", [](uint8_t *) { return i2c_reset(3); }, -2, bad_reset_chan},
    {"reset_chan_max", [](uint8_t *) { return i2c_reset(INT_MAX); }, -2, bad_reset_chan},
    {"status_null", [](uint8_t *) { return get_i2c_status(3, nullptr); }, -2, no_status},
    {"status_chan_3", [](uint8_t *b) { return get_i2c_status(3, word(b)); }, -2, bad_query_chan},
    {"bus_status_null", [](uint8_t *) { return get_i2c_bus_status(0, nullptr); }, -2, no_status},
    {"bus_status_chan_3", [](uint8_t *b) { return get_i2c_bus_status(3, word(b)); }, -2,
     bad_query_chan},
    {"max_null", [](uint8_t *) { return get_max_i2c_num(nullptr); }, -1,
     "get_max_i2c_num: val pointer is null\n"},
};

INSTANTIATE_TEST_SUITE_P(Table, I2cRefusal, ::testing::ValuesIn(refusals),
                         [](const auto &test) { return test.param.name; });

// ---- i2c_read, channels 0 and 1 ----

TEST_F(I2cTest, ReadSendsItsRecordOnce)
{
    const struct {
        int32_t chan;
        uint8_t addr;
        int32_t len;
        int32_t delay_ms;
        Bytes record;
    } rows[] = {
        {0, 0xA0, 2, 0, {0x21, 0, 0xA0, 2, 0, 0x00, 0x00}},
        {1, 0x55, 64, 0x1234, {0x21, 1, 0x55, 64, 0, 0x12, 0x34}},
        {0, 0xFF, 0, 0xFFFF, {0x21, 0, 0xFF, 0, 0, 0xFF, 0xFF}},
        {0, 0xA0, 1, 0x12345, {0x21, 0, 0xA0, 1, 0, 0x23, 0x45}},
        {1, 0xA0, 1, -2, {0x21, 1, 0xA0, 1, 0, 0xFF, 0xFE}},
        {-1, 0xA0, 3, 1, {0x21, 0xFF, 0xA0, 3, 0, 0x00, 0x01}},
        {INT_MIN + 0x80, 0xA0, 64, 1, {0x21, 0x80, 0xA0, 64, 0, 0x00, 0x01}},
        {0, 0xA0, -1, 1, {0x21, 0, 0xA0, 0xFF, 0, 0x00, 0x01}},
        {1, 0xA0, INT_MIN, 1, {0x21, 1, 0xA0, 0, 0, 0x00, 0x01}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.record));
        clear_trace();
        Bytes buffer(static_cast<size_t>(std::max(row.len, 0)) + 1, untouched);
        const int result = i2c_read(row.chan, row.addr, buffer.data(), row.len, row.delay_ms);
        const auto events = transfers(Operation::read);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes, read_record(row.record));
        EXPECT_EQ(events[0].count, 64U);
        EXPECT_EQ(events[0].result, result);
        EXPECT_EQ(steps(), locked(fpga_read_step)) << "no sleep, no retry";
        EXPECT_EQ(buffer.back(), untouched);
        EXPECT_EQ(output(), "");
    }
}

TEST_F(I2cTest, ReadBringsTheChipsBytes)
{
    fill_eeproms();
    for (const int32_t len : {1, 2, 63, 64}) {
        Bytes buffer(static_cast<size_t>(len) + 1, untouched);
        const uint8_t offset[] = {0x01, 0x00};
        ASSERT_EQ(i2c_write(0, eeprom, offset, 2, 0), 2);
        EXPECT_EQ(i2c_read(0, eeprom, buffer.data(), len, 0), len);
        EXPECT_EQ(buffer, stored(0x100, static_cast<size_t>(len)) + Bytes{untouched});
    }
}

TEST_F(I2cTest, ReadPassesTheDriversResultOnAndCopiesWhateverItIs)
{
    for (const long result : {0L, 1L, 9999L, 10000L, 10005L, -10005L}) {
        clear_trace();
        board.faults.clear();
        every_transfer(Operation::read, Fault::Kind::result, result);
        Bytes buffer(5, untouched);
        EXPECT_EQ(i2c_read(1, 0x54, buffer.data(), 4, 0), result);
        EXPECT_EQ(buffer, (Bytes{0x21, 1, 0x54, 4, untouched})) << "the record, not answered";
        EXPECT_EQ(steps(), locked(fpga_read_step)) << result;
    }
    board.faults.clear();
    every_transfer(Operation::read, Fault::Kind::error, EIO);
    Bytes buffer(2, untouched);
    EXPECT_EQ(i2c_read(0, 0x54, buffer.data(), 1, 0), -1);
    EXPECT_EQ(buffer, (Bytes{0x21, untouched}));
}

TEST_F(I2cTest, ReadFromAMissingChipKeepsTheDriversPositiveError)
{
    Bytes buffer(2, untouched);
    EXPECT_EQ(i2c_read(0, nobody, buffer.data(), 2, 5), not_addressed);
    EXPECT_EQ(buffer, (Bytes{0x21, 0}));
    EXPECT_EQ(steps(), locked(fpga_read_step));
}

// The channel is checked signed and the length against its maximum alone; the
// driver refuses what gets through.
TEST_F(I2cTest, ReadWithNegativeChannelOrLengthIsLeftToTheDriver)
{
    for (const int32_t chan : {-1, -2, -200}) {
        Bytes buffer(64, untouched);
        EXPECT_EQ(i2c_read(chan, eeprom, buffer.data(), 64, 0), bad_record);
        EXPECT_EQ(buffer[0], 0x21);
        EXPECT_EQ(buffer[1], static_cast<uint8_t>(chan));
    }
    Bytes buffer(1, untouched);
    EXPECT_EQ(i2c_read(0, eeprom, buffer.data(), -1, 0), bad_record);
    EXPECT_EQ(i2c_read(-3, eeprom, buffer.data(), -128, 0), bad_record);
    EXPECT_EQ(i2c_read(0, eeprom, buffer.data(), INT_MIN, 0), 0) << "low byte 0: nothing to read";
    EXPECT_EQ(buffer, Bytes{untouched}) << "a negative count copies nothing";
    EXPECT_EQ(output(), "");
}

// ---- i2c_read, channel 2 ----

const Names soc_transfer = {"ioctl i2c-0 707"};

Names soc_steps(const std::string &sleep)
{
    return {"ioctl i2c-0 707", sleep};
}

TEST_F(I2cTest, ChannelTwoReadSendsTheOffsetInTheBufferAndLandsBehindIt)
{
    fill_eeproms();
    Bytes buffer = {0x01, 0x20, untouched, untouched, untouched, untouched};
    EXPECT_EQ(i2c_read(2, eeprom, buffer.data(), 3, 7), 3);
    EXPECT_EQ(buffer, Bytes({0x01, 0x20}) + stored(0x120, 3) + Bytes{untouched});
    const auto events = transfers(Operation::ioctl);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].bytes, (Bytes{0x50, 0, 2, 0, 0x01, 0x20, 0x50, 1, 3, 0}));
    EXPECT_EQ(steps(), locked(soc_steps("sleep 7000")));
}

TEST_F(I2cTest, ChannelTwoReadHasNoLengthLimit)
{
    fill_eeproms();
    for (const int32_t len : {64, 65, 300}) {
        Bytes buffer(static_cast<size_t>(len) + 3, untouched);
        buffer[0] = buffer[1] = 0;
        EXPECT_EQ(i2c_read(2, eeprom, buffer.data(), len, 0), len);
        EXPECT_EQ(tail(buffer, 2), stored(0, static_cast<size_t>(len)) + Bytes{untouched});
    }
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, ChannelTwoReadFailsAfterOneTransferAndItsDelay)
{
    Bytes buffer(4, untouched);
    EXPECT_EQ(i2c_read(2, nobody, buffer.data(), 2, 3), -1);
    EXPECT_EQ(buffer, Bytes(4, untouched));
    EXPECT_EQ(steps(), locked(soc_steps("sleep 3000")));
}

TEST_F(I2cTest, ChannelTwoReadCountsOnlyAPositiveResult)
{
    Bytes buffer(4, untouched);
    every_transfer(Operation::ioctl, Fault::Kind::result, 0, 1);
    EXPECT_EQ(i2c_read(2, eeprom, buffer.data(), 2, 0), 0);
    every_transfer(Operation::ioctl, Fault::Kind::result, 1, 1);
    EXPECT_EQ(i2c_read(2, eeprom, buffer.data(), 2, 0), 2);
    EXPECT_EQ(buffer, Bytes(4, untouched));
}

TEST_F(I2cTest, ChannelTwoReadOfANegativeLengthReadsNothing)
{
    for (const int32_t len : {-1, -60000, INT_MIN}) {
        clear_trace();
        Bytes buffer = {0x00, 0x10};
        EXPECT_EQ(i2c_read(2, eeprom, buffer.data(), len, -5), len) << "what a success becomes";
        EXPECT_EQ(buffer, (Bytes{0x00, 0x10}));
        const auto events = transfers(Operation::ioctl);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes, (Bytes{0x50, 0, 2, 0, 0x00, 0x10, 0x50, 1, 0, 0}));
        EXPECT_EQ(steps(), locked(soc_steps("sleep 0")));
    }
}

// ---- i2c_write_read, channels 0 and 1 ----

TEST_F(I2cTest, WriteReadSendsItsRecord)
{
    const struct {
        int32_t chan;
        uint8_t addr;
        Bytes tx;
        int32_t rx_len;
        int32_t delay_ms;
        Bytes header;
    } rows[] = {
        {0, 0xA0, {0x01, 0x02}, 5, 0, {0x21, 0, 0xA0, 5, 2, 0x00, 0x00}},
        {1, 0x54, {0x03}, 2, 20, {0x21, 1, 0x54, 2, 1, 0x00, 0x14}},
        {0, 0xA1, counting(64), 64, 0x1234, {0x21, 0, 0xA1, 64, 64, 0x12, 0x34}},
        {0, 0xA0, counting(63), 0, -1, {0x21, 0, 0xA0, 0, 63, 0xFF, 0xFF}},
        {0, 0xA0, {}, 1, 0, {0x21, 0, 0xA0, 1, 0, 0x00, 0x00}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.header));
        clear_trace();
        Bytes tx = row.tx + Bytes{0x99};
        Bytes rx(static_cast<size_t>(row.rx_len) + 1, untouched);
        const int result =
            i2c_write_read(row.chan, row.addr, tx.data(), static_cast<int32_t>(row.tx.size()),
                           rx.data(), row.rx_len, row.delay_ms);
        EXPECT_EQ(result, row.rx_len);
        const auto events = transfers(Operation::read);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes, read_record(row.header + row.tx));
        EXPECT_EQ(events[0].count, 64U);
        EXPECT_EQ(rx.back(), untouched);
        EXPECT_EQ(tx, row.tx + Bytes{0x99});
        EXPECT_EQ(steps(), locked(fpga_read_step));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, WriteReadBringsTheChipsBytes)
{
    fill_eeproms();
    board.peci_bridge().set(7, 0xBEEF);
    const uint8_t offset[] = {0x02, 0x03};
    Bytes rx(65, untouched);
    EXPECT_EQ(i2c_write_read(0, eeprom, offset, 2, rx.data(), 64, 0), 64);
    EXPECT_EQ(rx, stored(0x203, 64) + Bytes{untouched});
    const uint8_t number = 7;
    EXPECT_EQ(i2c_write_read(1, bridge, &number, 1, rx.data(), 2, 20), 2);
    EXPECT_EQ(head(rx, 3), (Bytes{0xEF, 0xBE, stored(0x205)}));
}

struct DriverResult {
    long driver;
    int result;
    int attempts;
};

constexpr DriverResult driver_results[] = {
    {10005, -10005, 5}, {10000, -10000, 5}, {-10005, -10005, 5}, {-1, -1, 5},
    {9999, 9999, 1},    {0, 0, 1},          {1, 1, 1},           {2000000000, -2000000000, 5},
};

TEST_F(I2cTest, WriteReadNegatesErrorsAndTriesFiveTimes)
{
    for (const DriverResult &row : driver_results) {
        SCOPED_TRACE(row.driver);
        clear_trace();
        board.faults.clear();
        every_transfer(Operation::read, Fault::Kind::result, row.driver);
        const uint8_t tx[] = {0x01, 0x02};
        Bytes rx(5, untouched);
        EXPECT_EQ(i2c_write_read(0, eeprom, tx, 2, rx.data(), 4, 15), row.result);
        EXPECT_EQ(rx, (Bytes{0x21, 0, eeprom, 4, untouched})) << "copied whatever the result";
        EXPECT_EQ(steps(), locked(fpga_read_step, row.attempts, {"sleep 15000"}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, WriteReadBuildsTheRecordAnewForEveryAttempt)
{
    fill_eeproms();
    // The driver does its work, which overwrites the record, and reports an error.
    every_transfer(Operation::read, Fault::Kind::late_result, 10005);
    const Bytes tx = {0x00, 0x40};
    Bytes rx(64, untouched);
    EXPECT_EQ(i2c_write_read(0, eeprom, tx.data(), 2, rx.data(), 64, 1), -10005);
    const auto events = transfers(Operation::read);
    ASSERT_EQ(events.size(), 5U);
    for (const Event &event : events) {
        EXPECT_EQ(event.bytes, read_record(Bytes{0x21, 0, eeprom, 64, 2, 0, 1} + tx));
    }
    EXPECT_EQ(rx, stored(0x40, 64));
}

TEST_F(I2cTest, WriteReadStopsAtTheFirstGoodAttempt)
{
    fill_eeproms();
    for (const int failures : {1, 2, 3, 4}) {
        clear_trace();
        board.faults.clear();
        every_transfer(Operation::read, Fault::Kind::result, 10005,
                       static_cast<unsigned>(failures));
        const uint8_t tx[] = {0x00, 0x40};
        Bytes rx(2, untouched);
        EXPECT_EQ(i2c_write_read(0, eeprom, tx, 2, rx.data(), 2, 30), 2);
        EXPECT_EQ(rx, stored(0x40, 2));
        EXPECT_EQ(steps(), locked(fpga_read_step, failures + 1, {"sleep 30000"}));
    }
}

TEST_F(I2cTest, WriteReadRidesOutAWriteCycle)
{
    const uint8_t data[] = {0x00, 0x40, 0x77};
    ASSERT_EQ(i2c_write(0, eeprom, data, 3, 0), 3);
    clear_trace();
    Bytes rx(1, untouched);
    EXPECT_EQ(i2c_write_read(0, eeprom, data, 2, rx.data(), 1, 2), 1);
    EXPECT_EQ(rx, Bytes{0x77});
    EXPECT_EQ(steps(), locked(fpga_read_step, 4, {"sleep 2000"})) << "5 ms in steps of 2";
}

TEST_F(I2cTest, WriteReadOfNegativeLengthsCopiesNothing)
{
    const Bytes tx = {0x55};
    Bytes rx(1, untouched);
    EXPECT_EQ(i2c_write_read(0, eeprom, tx.data(), -1, rx.data(), 1, 0), -bad_record);
    EXPECT_EQ(rx, Bytes{0x21});
    const auto events = transfers(Operation::read);
    ASSERT_EQ(events.size(), 5U);
    EXPECT_EQ(events[4].bytes, read_record({0x21, 0, eeprom, 1, 0xFF, 0, 0}));

    rx[0] = untouched;
    EXPECT_EQ(i2c_write_read(1, eeprom, tx.data(), 1, rx.data(), -100, 0), -bad_record);
    EXPECT_EQ(i2c_write_read(0, eeprom, tx.data(), INT_MIN, rx.data(), INT_MIN, 0), 0);
    EXPECT_EQ(rx, Bytes{untouched});
}

// ---- i2c_write_read, channel 2 ----

const Names soc_write_read_5ms = {"ioctl i2c-0 707", "sleep 5000", "ioctl i2c-0 707"};

TEST_F(I2cTest, ChannelTwoWriteReadIsTwoTransfersWithTheDelayBetween)
{
    fill_eeproms();
    const uint8_t tx[] = {0x00, 0x80};
    Bytes rx(101, untouched);
    EXPECT_EQ(i2c_write_read(2, eeprom, tx, 2, rx.data(), 100, 5), 100);
    EXPECT_EQ(rx, stored(0x80, 100) + Bytes{untouched});
    const auto events = transfers(Operation::ioctl);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].bytes, (Bytes{0x50, 0, 2, 0, 0x00, 0x80}));
    EXPECT_EQ(events[1].bytes, (Bytes{0x50, 1, 100, 0}));
    EXPECT_EQ(steps(), locked(soc_write_read_5ms));
}

// The delay ends the write with a stop, and outlasts the write cycle.
TEST_F(I2cTest, ChannelTwoWriteReadCanProgramAndReadOn)
{
    const Bytes tx = Bytes{0x00, 0x00} + counting(65);
    Bytes rx(1, untouched);
    EXPECT_EQ(i2c_write_read(2, eeprom, tx.data(), 67, rx.data(), 1, 5), 1);
    EXPECT_EQ(board.eeprom(2).write_cycles(), 1U);
    EXPECT_EQ(board.eeprom(2).memory()[0], 65) << "wrapped around its page twice";
    EXPECT_EQ(rx, Bytes{34});
}

TEST_F(I2cTest, ChannelTwoWriteReadCountsTheReadAlone)
{
    fill_eeproms();
    const uint8_t tx[] = {0x00, 0x80};
    Bytes rx(2, untouched);
    every_transfer(Operation::ioctl, Fault::Kind::error, EIO, 1);
    EXPECT_EQ(i2c_write_read(2, eeprom, tx, 2, rx.data(), 2, 5), 2);
    EXPECT_EQ(rx, stored(0, 2)) << "from where the chip's counter was";
    EXPECT_EQ(steps(), locked(soc_write_read_5ms)) << "no retry";
}

TEST_F(I2cTest, ChannelTwoWriteReadRetriesAFailedRead)
{
    const uint8_t tx[] = {0x00, 0x80};
    Bytes rx(2, untouched);
    EXPECT_EQ(i2c_write_read(2, nobody, tx, 2, rx.data(), 2, 5), -1);
    EXPECT_EQ(steps(), locked(soc_write_read_5ms, 5, {"sleep 5000"}));
    EXPECT_EQ(rx, Bytes(2, untouched));

    clear_trace();
    every_transfer(Operation::ioctl, Fault::Kind::error, EIO, 6); // three attempts
    EXPECT_EQ(i2c_write_read(2, eeprom, tx, 2, rx.data(), 2, 5), 2);
    EXPECT_EQ(steps(), locked(soc_write_read_5ms, 4, {"sleep 5000"}));
}

TEST_F(I2cTest, ChannelTwoWriteReadTakesAZeroAsItIs)
{
    const uint8_t tx[] = {0x00, 0x80};
    Bytes rx(2, untouched);
    every_transfer(Operation::ioctl, Fault::Kind::result, 0);
    EXPECT_EQ(i2c_write_read(2, eeprom, tx, 2, rx.data(), 2, 5), 0);
    EXPECT_EQ(steps(), locked(soc_write_read_5ms));
}

TEST_F(I2cTest, ChannelTwoWriteReadOfNegativeLengthsMovesNothing)
{
    const Bytes tx = {0x55};
    Bytes rx(1, untouched);
    EXPECT_EQ(i2c_write_read(2, eeprom, tx.data(), -60000, rx.data(), -7, 0), -7)
        << "what a success becomes, and a retry follows";
    EXPECT_EQ(transfers(Operation::ioctl).size(), 10U);
    EXPECT_EQ(transfers(Operation::ioctl)[0].bytes, (Bytes{0x50, 0, 0, 0}));
    EXPECT_EQ(transfers(Operation::ioctl)[1].bytes, (Bytes{0x50, 1, 0, 0}));
    EXPECT_EQ(rx, Bytes{untouched});
    EXPECT_EQ(board.eeprom(2).write_cycles(), 0U);
}

// ---- i2c_write, channels 0 and 1 ----

TEST_F(I2cTest, WriteSendsItsRecord)
{
    const struct {
        int32_t chan;
        uint8_t addr;
        Bytes data;
        int32_t delay_ms;
        Bytes header;
    } rows[] = {
        {0, 0xA0, {0x00, 0x10, 0x55}, 0, {0x21, 0, 0xA0, 3, 0x00, 0x00}},
        {1, 0x54, {0x0C, 0x55, 0x05}, 200, {0x21, 1, 0x54, 3, 0x00, 0xC8}},
        {0, 0xA1, counting(64), 0x1234, {0x21, 0, 0xA1, 64, 0x12, 0x34}},
        {0, 0xA0, counting(63), 0x1FFFF, {0x21, 0, 0xA0, 63, 0xFF, 0xFF}},
        {0, 0xA0, {0x01}, 0, {0x21, 0, 0xA0, 1, 0x00, 0x00}},
        {0, 0xA0, {}, 0, {0x21, 0, 0xA0, 0, 0x00, 0x00}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.header));
        clear_trace();
        Bytes data = row.data;
        data.reserve(1); // an address even when empty
        const auto len = static_cast<int32_t>(data.size());
        EXPECT_EQ(i2c_write(row.chan, row.addr, data.data(), len, row.delay_ms), len);
        const auto events = transfers(Operation::write);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes, row.header + row.data);
        EXPECT_EQ(events[0].count, 64U);
        EXPECT_EQ(steps(), locked(fpga_write_step));
        board.clock.advance_us(5000);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, WriteReachesTheChip)
{
    const Bytes data = Bytes{0x00, 0x20} + counting(32);
    EXPECT_EQ(i2c_write(0, eeprom, data.data(), 34, 0), 34);
    const Bytes &memory = board.eeprom(0).memory();
    EXPECT_EQ(Bytes(memory.begin() + 0x20, memory.begin() + 0x40), counting(32));
    EXPECT_EQ(memory[0x1F], 0xFF);
    EXPECT_EQ(memory[0x40], 0xFF);
    const uint8_t set_up[] = {0x0D, 0x02, 0x03};
    EXPECT_EQ(i2c_write(1, bridge, set_up, 3, 100), 3);
    EXPECT_EQ(board.peci_bridge().get(0x0D), 0x0302);
}

TEST_F(I2cTest, WriteNegatesErrorsAndTriesFiveTimes)
{
    for (const DriverResult &row : driver_results) {
        SCOPED_TRACE(row.driver);
        clear_trace();
        board.faults.clear();
        every_transfer(Operation::write, Fault::Kind::result, row.driver);
        const uint8_t data[] = {0x00, 0x10, 0x55};
        EXPECT_EQ(i2c_write(0, eeprom, data, 3, 15), row.result);
        EXPECT_EQ(steps(), locked(fpga_write_step, row.attempts, {"sleep 15000"}));
        for (const Event &event : transfers(Operation::write)) {
            EXPECT_EQ(event.bytes, (Bytes{0x21, 0, eeprom, 3, 0, 15, 0x00, 0x10, 0x55}));
        }
    }
    EXPECT_EQ(board.eeprom(0).write_cycles(), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, WriteBuildsTheRecordAnewForEveryAttempt)
{
    every_transfer(Operation::write, Fault::Kind::result, 10005);
    uint8_t data[] = {0x00, 0x10, 0x55};
    board.clock.schedule_us(25000, [&] { data[2] = 0x56; });
    EXPECT_EQ(i2c_write(0, eeprom, data, 3, 10), -10005);
    std::vector<uint8_t> sent;
    for (const Event &event : transfers(Operation::write)) {
        sent.push_back(event.bytes.back());
    }
    EXPECT_EQ(sent, (std::vector<uint8_t>{0x55, 0x55, 0x55, 0x56, 0x56}));
}

TEST_F(I2cTest, WriteRidesOutAWriteCycle)
{
    const uint8_t first[] = {0x00, 0x40, 0x77};
    const uint8_t second[] = {0x00, 0x41, 0x78};
    ASSERT_EQ(i2c_write(0, eeprom, first, 3, 0), 3);
    clear_trace();
    // Each failed attempt costs the delay twice: in the driver and between.
    EXPECT_EQ(i2c_write(0, eeprom, second, 3, 2), 3);
    EXPECT_EQ(steps(), locked(fpga_write_step, 3, {"sleep 2000"}));
    EXPECT_EQ(board.eeprom(0).memory()[0x40], 0x77);
    EXPECT_EQ(board.eeprom(0).memory()[0x41], 0x78);
}

TEST_F(I2cTest, WriteToAMissingChipFails)
{
    const uint8_t data[] = {0x01};
    EXPECT_EQ(i2c_write(1, nobody, data, 1, 0), -not_addressed);
    EXPECT_EQ(transfers(Operation::write).size(), 5U);
}

TEST_F(I2cTest, WriteOfANegativeLengthSendsNoData)
{
    const Bytes data = {0x55};
    for (const int32_t len : {-1, -6, -7, -100}) {
        clear_trace();
        EXPECT_EQ(i2c_write(0, eeprom, data.data(), len, 0), -bad_record);
        const auto events = transfers(Operation::write);
        ASSERT_EQ(events.size(), 5U);
        EXPECT_EQ(events[0].bytes, (Bytes{0x21, 0, eeprom, static_cast<uint8_t>(len), 0, 0}));
    }
    EXPECT_EQ(i2c_write(0, eeprom, data.data(), INT_MIN, 0), 0) << "low byte 0: the address alone";
    EXPECT_EQ(board.eeprom(0).write_cycles(), 0U);
}

// ---- i2c_write, channel 2 ----

TEST_F(I2cTest, ChannelTwoWriteCountsWhatIsBehindTheOffset)
{
    for (const int32_t len : {2, 3, 34, 65, 300}) {
        clear_trace();
        const Bytes data = Bytes{0x00, 0x40} + counting(static_cast<size_t>(len));
        EXPECT_EQ(i2c_write(2, eeprom, data.data(), len, 6), len - 2);
        const auto events = transfers(Operation::ioctl);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes,
                  (Bytes{0x50, 0, static_cast<uint8_t>(len), static_cast<uint8_t>(len >> 8)}) +
                      head(data, static_cast<size_t>(len)));
        EXPECT_EQ(steps(), locked(soc_steps("sleep 6000")));
        EXPECT_EQ(board.eeprom(2).memory()[0x40], len == 2     ? 0xFF
                                                  : len == 65  ? 33
                                                  : len == 300 ? static_cast<uint8_t>(289)
                                                               : 1);
    }
    EXPECT_EQ(output(), "");
}

// What counts less than nothing looks like a failure: the chip gets it five
// times.
TEST_F(I2cTest, ChannelTwoWriteOfAByteOrNoneIsRepeated)
{
    const Bytes data = {0x03, 0x99};
    for (const int32_t len : {1, 0, -1, -60000}) {
        clear_trace();
        EXPECT_EQ(i2c_write(2, 0x90, data.data(), len, 4), len - 2);
        EXPECT_EQ(steps(), locked(soc_steps("sleep 4000"), 5, {"sleep 4000"}));
        for (const Event &event : transfers(Operation::ioctl)) {
            EXPECT_EQ(event.bytes,
                      len == 1 ? (Bytes{0x48, 0, 1, 0, 0x03}) : (Bytes{0x48, 0, 0, 0}));
            EXPECT_EQ(event.result, 1);
        }
    }
}

TEST_F(I2cTest, ChannelTwoWriteOfTheLeastLengthWrapsAround)
{
    const Bytes data = {0x55};
    EXPECT_EQ(i2c_write(2, eeprom, data.data(), INT_MIN, 0), INT_MAX - 1);
    EXPECT_EQ(transfers(Operation::ioctl).size(), 1U);
    EXPECT_EQ(board.eeprom(2).write_cycles(), 0U);
}

TEST_F(I2cTest, ChannelTwoWriteRetriesAFailure)
{
    const uint8_t data[] = {0x00, 0x40, 0x77};
    EXPECT_EQ(i2c_write(2, nobody, data, 3, 4), -1);
    EXPECT_EQ(steps(), locked(soc_steps("sleep 4000"), 5, {"sleep 4000"}));

    clear_trace();
    every_transfer(Operation::ioctl, Fault::Kind::error, EIO, 2);
    EXPECT_EQ(i2c_write(2, eeprom, data, 3, 4), 1);
    EXPECT_EQ(steps(), locked(soc_steps("sleep 4000"), 3, {"sleep 4000"}));
    EXPECT_EQ(board.eeprom(2).memory()[0x40], 0x77);

    clear_trace();
    every_transfer(Operation::ioctl, Fault::Kind::result, 0, 1);
    EXPECT_EQ(i2c_write(2, eeprom, data, 3, 4), 0) << "zero is no failure";
    EXPECT_EQ(steps(), locked(soc_steps("sleep 4000")));
}

// ---- Reset and status ----

Names requested(const std::string &step)
{
    return {"lock fpga_request_lock", step, "unlock fpga_request_lock"};
}

TEST_F(I2cTest, ResetReachesItsChannel)
{
    board.fpga_i2c().channel(1).status = 0x10;
    EXPECT_EQ(i2c_reset(1), 0);
    EXPECT_EQ(board.fpga_i2c().channel(0).resets, 0U);
    EXPECT_EQ(board.fpga_i2c().channel(1).resets, 1U);
    EXPECT_EQ(board.fpga_i2c().channel(1).status, 0);
    EXPECT_EQ(steps(), requested("write fpga 23"));
    const auto events = transfers(Operation::write);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].bytes, (Bytes{0x23, 1}));
    EXPECT_EQ(events[0].count, 1U);
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, ResetFailsOnANegativeResultAlone)
{
    const struct {
        long driver;
        int result;
    } rows[] = {{0, 0}, {1, 0}, {10005, 0}, {-1, -5}, {-10005, -5}};
    for (const auto &row : rows) {
        board.faults.add({.name = "reset",
                          .device = "fpga",
                          .operation = Operation::write,
                          .address = 0x23,
                          .kind = Fault::Kind::result,
                          .value = row.driver});
        EXPECT_EQ(i2c_reset(0), row.result) << row.driver;
    }
}

// Channel 2 is not the FPGA's, and negative numbers pass the check: the driver
// refuses them.
TEST_F(I2cTest, RequestsForChannelsThatTheFpgaLacksAreLeftToTheDriver)
{
    for (const int32_t chan : {2, -1, -200}) {
        uint32_t status = 0x12345678;
        EXPECT_EQ(i2c_reset(chan), -5);
        EXPECT_EQ(get_i2c_status(chan, &status), -5);
        EXPECT_EQ(get_i2c_bus_status(chan, &status), -5);
        EXPECT_EQ(status, 0x12345678U);
        EXPECT_EQ(transfers(Operation::write).back().bytes,
                  (Bytes{0x23, static_cast<uint8_t>(chan)}));
        const auto reads = transfers(Operation::read);
        EXPECT_EQ(reads[reads.size() - 2].bytes, (Bytes{0x22, static_cast<uint8_t>(chan)}));
        EXPECT_EQ(reads.back().bytes, (Bytes{0x24, static_cast<uint8_t>(chan)}));
    }
    EXPECT_EQ(output(), "");
}

// The meaning of the status bytes once more, in another shape than the
// library's.
uint32_t controller_state(unsigned byte)
{
    switch (byte >> 3 & 3) {
    case 0:
        return 0;
    case 1:
        return 10011;
    default:
        return 10010;
    }
}

uint32_t bus_state(unsigned byte)
{
    const unsigned high = byte >> 4;
    return high >= 8 ? 4 : high >= 4 ? 3 : high >= 2 ? 2 : high;
}

TEST_F(I2cTest, EveryStatusByteIsDecoded)
{
    for (const int32_t chan : {0, 1}) {
        auto &channel = board.fpga_i2c().channel(static_cast<size_t>(chan));
        for (unsigned byte = 0; byte < 256; ++byte) {
            channel.status = static_cast<uint8_t>(byte);
            channel.bus_status = static_cast<uint8_t>(byte);
            uint32_t status = 0xFFFFFFFF;
            uint32_t bus_status = 0xFFFFFFFF;
            EXPECT_EQ(get_i2c_status(chan, &status), 0);
            EXPECT_EQ(get_i2c_bus_status(chan, &bus_status), 0);
            EXPECT_EQ(status, controller_state(byte)) << byte;
            EXPECT_EQ(bus_status, bus_state(byte)) << byte;
        }
        channel.status = channel.bus_status = 0;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, StatusRequestsAreOneShot)
{
    uint32_t status = 0;
    EXPECT_EQ(get_i2c_status(1, &status), 0);
    EXPECT_EQ(steps(), requested("read fpga 22"));
    EXPECT_EQ(transfers(Operation::read)[0].bytes, (Bytes{0x22, 1}));
    EXPECT_EQ(transfers(Operation::read)[0].count, 1U);
    clear_trace();
    EXPECT_EQ(get_i2c_bus_status(0, &status), 0);
    EXPECT_EQ(steps(), requested("read fpga 24"));
    EXPECT_EQ(transfers(Operation::read)[0].bytes, (Bytes{0x24, 0}));
    EXPECT_EQ(transfers(Operation::read)[0].count, 1U);
}

TEST_F(I2cTest, StatusRequestsTellSuccessInOppositeWays)
{
    const struct {
        long driver;
        int status;
        int bus_status;
    } rows[] = {
        {0, 0, -5}, {1, -5, 0}, {2, -5, 0}, {10005, -5, 0}, {-1, -5, -5}, {-10005, -5, -5},
    };
    board.fpga_i2c().channel(0).status = 0x08;
    board.fpga_i2c().channel(0).bus_status = 0x40;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.driver);
        for (const uint32_t command : {0x22U, 0x24U}) {
            board.faults.add({.name = "status",
                              .device = "fpga",
                              .operation = Operation::read,
                              .address = command,
                              .kind = Fault::Kind::late_result,
                              .value = row.driver});
        }
        uint32_t status = 0x12345678;
        EXPECT_EQ(get_i2c_status(0, &status), row.status);
        EXPECT_EQ(status, row.status == 0 ? 10011U : 0x12345678U);
        status = 0x12345678;
        EXPECT_EQ(get_i2c_bus_status(0, &status), row.bus_status);
        EXPECT_EQ(status, row.bus_status == 0 ? 3U : 0x12345678U);
    }
}

// What goes wrong on the bus is what the status tells afterwards.
TEST_F(I2cTest, StatusTellsOfTheLastTransfer)
{
    uint32_t status = 0;
    const uint8_t beyond[] = {20};
    EXPECT_EQ(i2c_write(1, nobody, beyond, 1, 0), -10010);
    EXPECT_EQ(get_i2c_status(1, &status), 0);
    EXPECT_EQ(status, 10010U);
    EXPECT_EQ(i2c_write(1, bridge, beyond, 1, 0), -10011);
    EXPECT_EQ(get_i2c_status(1, &status), 0);
    EXPECT_EQ(status, 10011U);
    EXPECT_EQ(i2c_reset(1), 0);
    EXPECT_EQ(get_i2c_status(1, &status), 0);
    EXPECT_EQ(status, 0U);
}

// ---- The rest ----

TEST_F(I2cTest, ThereAreThreeChannels)
{
    uint8_t count = 0;
    EXPECT_EQ(get_max_i2c_num(&count), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(I2cTest, UnfittedOperationsAnswerZeroAndDoNothing)
{
    uint32_t baud = 0x12345678;
    uint8_t config = untouched;
    EXPECT_EQ(set_i2c_baud(0, 400000), 0);
    EXPECT_EQ(get_i2c_baud(0, &baud), 0);
    EXPECT_EQ(get_i2c_baud(0, nullptr), 0);
    EXPECT_EQ(i2c_test(0), 0);
    EXPECT_EQ(get_i2c_addr_config(0, &config), 0);
    EXPECT_EQ(get_i2c_addr_config(0, nullptr), 0);
    EXPECT_EQ(set_i2c_addr_config(0, 0x20), 0);
    EXPECT_EQ(baud, 0x12345678U);
    EXPECT_EQ(config, untouched);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
