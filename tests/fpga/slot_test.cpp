// Slot, insertion, base board, POST codes and the HDD card.

#include <errno.h>
#include <limits.h>

#include <numeric>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

// Bit by bit, unlike the library.
int ones(unsigned value)
{
    int count = 0;
    for (unsigned bit = 0; bit < 8; ++bit) {
        count += value >> bit & 1;
    }
    return count;
}

bool parity_is_good(unsigned slot_byte)
{
    return ones(slot_byte & 0x9F) % 2 == 1;
}

class SlotTest : public StateTest {
protected:
    void set_slot_byte(unsigned byte)
    {
        board.slot().set_number(byte & 0x0F);
        board.slot().set_other_pins(byte & 0x70);
        board.slot().set_bad_parity(!parity_is_good(byte));
        ASSERT_EQ(board.slot().slot_byte(), byte);
    }

    // The driver answers the next call this, and does nothing.
    void answer(Operation operation, long long result)
    {
        board.faults.add({.name = "answer",
                          .device = "fpga",
                          .operation = operation,
                          .kind = Fault::Kind::result,
                          .value = result});
    }

    // One record reached the driver, under the request lock.
    void expect_request(Operation operation, const Bytes &record, uint64_t count = 1)
    {
        const std::vector<Event> events = board.trace.of(operation, "fpga");
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].bytes, record);
        EXPECT_EQ(events[0].count, count);
        char step[32];
        snprintf(step, sizeof(step), "%s fpga %02x",
                 operation == Operation::read ? "read" : "write", record[0]);
        expect_steps(locked({step}, "fpga_request_lock"));
    }
};

// ---- The slot byte ----

TEST_F(SlotTest, EverySlotByteGivesItsNumberAndParity)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        set_slot_byte(byte);
        uint8_t slot = untouched;
        EXPECT_EQ(get_slot_id(&slot), 0);
        EXPECT_EQ(slot, byte % 16);
        EXPECT_EQ(get_slot_id_checksum(), parity_is_good(byte) ? 0 : -1);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SlotTest, ParityCoversFiveLowBitsAndItself)
{
    const struct {
        uint8_t byte;
        int result;
    } rows[] = {{0x83, 0}, {0x03, -1}, {0x00, -1}, {0x80, 0}, {0x10, 0}, {0x60, -1}, {0xE0, 0}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.byte);
        set_slot_byte(row.byte);
        EXPECT_EQ(get_slot_id_checksum(), row.result);
    }
    uint8_t slot = untouched;
    set_slot_byte(0x83);
    EXPECT_EQ(get_slot_id(&slot), 0);
    EXPECT_EQ(slot, 3);
}

TEST_F(SlotTest, SlotByteIsAskedUnderTheRequestLock)
{
    uint8_t slot = untouched;
    get_slot_id(&slot);
    expect_request(Operation::read, {0x82});
    get_slot_id_checksum();
    expect_request(Operation::read, {0x82});
}

// Any result but a negative one will do; what the driver left in the record
// counts, be it the command itself.
TEST_F(SlotTest, OnlyNegativeResultsFailTheSlotByte)
{
    for (const long long result : {-1, 0, 1, 2, 10005}) {
        SCOPED_TRACE(result);
        uint8_t slot = untouched;
        answer(Operation::read, result);
        EXPECT_EQ(get_slot_id(&slot), result < 0 ? -5 : 0);
        EXPECT_EQ(slot, result < 0 ? untouched : 0x82 % 16);
        answer(Operation::read, result);
        EXPECT_EQ(get_slot_id_checksum(), result < 0 ? -5 : -1); // 0x82 has two ones
        expect_steps({"lock fpga_request_lock", "read fpga 82", "unlock fpga_request_lock",
                      "lock fpga_request_lock", "read fpga 82", "unlock fpga_request_lock"});
    }
    EXPECT_EQ(output(), "");
}

// ---- Insertion ----

TEST_F(SlotTest, SeatedWhenBothPresenceSignalsAreLow)
{
    for (unsigned byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        board.slot().set_insertion_byte(static_cast<uint8_t>(byte));
        uint8_t inserted = untouched;
        EXPECT_EQ(get_board_insert(&inserted), 0);
        EXPECT_EQ(inserted, byte / 32 % 4 == 0 ? 1 : 0);
    }
    EXPECT_EQ(output(), "");
    clear_trace();
    uint8_t inserted = untouched;
    get_board_insert(&inserted);
    expect_request(Operation::read, {0x83});
}

TEST_F(SlotTest, PullingTheBladeIsSeen)
{
    uint8_t inserted = untouched;
    board.slot().set_seated(false);
    EXPECT_EQ(get_board_insert(&inserted), 0);
    EXPECT_EQ(inserted, 0);
    board.slot().set_seated(true);
    EXPECT_EQ(get_board_insert(&inserted), 0);
    EXPECT_EQ(inserted, 1);
}

TEST_F(SlotTest, InsertionIsNormalisedAlsoAfterAFailedRead)
{
    const struct {
        Fault::Kind kind;
        uint8_t byte;
        uint8_t inserted;
    } rows[] = {
        {Fault::Kind::result, 0x20, 1},      // the command 0x83 stays in the record
        {Fault::Kind::late_result, 0x20, 0}, // the byte arrives, and then the error
        {Fault::Kind::late_result, 0x40, 0},
        {Fault::Kind::late_result, 0x9F, 1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.byte);
        board.slot().set_insertion_byte(row.byte);
        board.faults.add({.name = "answer", .device = "fpga", .kind = row.kind, .value = -EIO});
        uint8_t inserted = untouched;
        EXPECT_EQ(get_board_insert(&inserted), -5);
        EXPECT_EQ(inserted, row.inserted);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SlotTest, InsertionFailsOnNegativeResultsOnly)
{
    for (const long long result : {0, 1, 2, 10005}) {
        answer(Operation::read, result);
        uint8_t inserted = untouched;
        EXPECT_EQ(get_board_insert(&inserted), 0) << result;
        EXPECT_EQ(inserted, 1) << result;
    }
}

// ---- One-byte reads ----

struct ByteRead {
    const char *name;
    int (*get)(uint8_t *);
    uint8_t command;
    void (*set)(virtual_board::Slot &, uint8_t);
};

void PrintTo(const ByteRead &row, std::ostream *out)
{
    *out << row.name;
}

class SlotByteRead : public SlotTest, public ::testing::WithParamInterface<ByteRead> {};

TEST_P(SlotByteRead, GivesTheByte)
{
    const ByteRead &row = GetParam();
    for (const uint8_t pattern : patterns) {
        row.set(board.slot(), pattern);
        uint8_t out = untouched;
        EXPECT_EQ(row.get(&out), 0);
        EXPECT_EQ(out, pattern);
        expect_request(Operation::read, {row.command});
    }
    EXPECT_EQ(output(), "");
}

TEST_P(SlotByteRead, NeedsAByteFromTheDriver)
{
    const ByteRead &row = GetParam();
    for (const long long result : {-1, 0, 1, 2}) {
        SCOPED_TRACE(result);
        answer(Operation::read, result);
        uint8_t out = untouched;
        EXPECT_EQ(row.get(&out), result < 1 ? -5 : 0);
        EXPECT_EQ(out, result < 1 ? untouched : row.command);
        expect_request(Operation::read, {row.command});
    }
    EXPECT_EQ(output(), "");
}

TEST_P(SlotByteRead, RefusesNullSilently)
{
    EXPECT_EQ(GetParam().get(nullptr), -2);
    EXPECT_EQ(output(), "");
    expect_steps({});
}

INSTANTIATE_TEST_SUITE_P(Every, SlotByteRead,
                         ::testing::Values(ByteRead{"base_board_id", get_base_board_id, 0x53,
                                                    [](virtual_board::Slot &slot, uint8_t byte) {
                                                        slot.base_board_id = byte;
                                                    }},
                                           ByteRead{"blade_pcb_version", get_blade_pcb_ver, 0x54,
                                                    [](virtual_board::Slot &slot, uint8_t byte) {
                                                        slot.blade_pcb_version = byte;
                                                    }},
                                           ByteRead{"port80_offset", get_port80_offset, 0x41,
                                                    [](virtual_board::Slot &slot, uint8_t byte) {
                                                        while (slot.post_offset() != byte) {
                                                            slot.post(0);
                                                        }
                                                    }}));

// ---- POST codes ----

TEST_F(SlotTest, PostCodesComeInTheOrderOfTheBuffer)
{
    for (unsigned i = 0; i < 600; ++i) { // the last 88 overwrite the first
        board.slot().post(static_cast<uint8_t>(i * 7));
    }
    Bytes buffer(514, untouched);
    EXPECT_EQ(get_port80_data(512, buffer.data()), 512);
    expect_request(Operation::read, {0x42}, 512);
    for (unsigned i = 0; i < 512; ++i) {
        ASSERT_EQ(buffer[i], static_cast<uint8_t>((i < 88 ? i + 512 : i) * 7)) << i;
    }
    EXPECT_EQ(buffer[512], untouched);
    EXPECT_EQ(output(), "");
}

TEST_F(SlotTest, PostCodesAreReadUpToTheLength)
{
    for (unsigned i = 0; i < 100; ++i) {
        board.slot().post(static_cast<uint8_t>(i + 1));
    }
    const struct {
        int32_t len;
        uint64_t count;
        int result;
    } rows[] = {
        {1, 1, 1}, {99, 99, 99}, {100, 100, 100}, {511, 511, 100}, {512, 512, 100},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.len);
        Bytes buffer(513, untouched);
        Bytes expected = buffer;
        std::iota(expected.begin(), expected.begin() + row.result, uint8_t{1});
        EXPECT_EQ(get_port80_data(row.len, buffer.data()), row.result);
        EXPECT_EQ(buffer, expected);
        expect_request(Operation::read, {0x42}, row.count);
    }
    EXPECT_EQ(output(), "");
}

// Lengths below 1 are let through, and never become a huge count.
TEST_F(SlotTest, PostCodesOfNoLengthAskForNothing)
{
    for (const int32_t len : {0, -1, -512, INT_MIN}) {
        SCOPED_TRACE(len);
        Bytes buffer(8, untouched);
        Bytes expected = buffer;
        expected[0] = 0x42;
        EXPECT_EQ(get_port80_data(len, buffer.data()), -5);
        EXPECT_EQ(buffer, expected);
        ASSERT_EQ(board.trace.count(Operation::read, "fpga"), 1U);
        EXPECT_EQ(board.trace.of(Operation::read, "fpga")[0].count, 0U);
        clear_trace();
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SlotTest, PostCodesFailWithoutAByte)
{
    for (const long long result : {-1, 0, 1, 300, 10005}) {
        SCOPED_TRACE(result);
        uint8_t buffer[8] = {};
        answer(Operation::read, result);
        EXPECT_EQ(get_port80_data(8, buffer), result < 1 ? -5 : result);
        expect_request(Operation::read, {0x42}, 8);
    }
    EXPECT_EQ(output(), "");
}

// ---- The HDD card ----

TEST_F(SlotTest, HddCardTakesItsTwoControls)
{
    for (const uint8_t pattern : patterns) {
        EXPECT_EQ(set_hdd_card_type(pattern), 0);
        expect_request(Operation::write, {0x55, pattern});
        const auto other = static_cast<uint8_t>(~pattern);
        EXPECT_EQ(hdd_led_test(other), 0);
        expect_request(Operation::write, {0x58, other});
        EXPECT_EQ(board.slot().hdd_card_type(), pattern);
        EXPECT_EQ(board.slot().hdd_led_test(), other);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SlotTest, HddCardControlsFailOnAnythingButZero)
{
    for (const long long result : {-1, 0, 1, 2, 10005}) {
        SCOPED_TRACE(result);
        answer(Operation::write, result);
        EXPECT_EQ(set_hdd_card_type(1), result == 0 ? 0 : -5);
        expect_request(Operation::write, {0x55, 1});
        answer(Operation::write, result);
        EXPECT_EQ(hdd_led_test(1), result == 0 ? 0 : -5);
        expect_request(Operation::write, {0x58, 1});
    }
    EXPECT_EQ(board.slot().hdd_card_type(), std::nullopt);
    EXPECT_EQ(output(), "");
}

// ---- Refusals ----

TEST_F(SlotTest, RefusesBadArguments)
{
    static uint8_t buffer[1] = {untouched};
    expect_refused({
        {"slot", [] { return get_slot_id(nullptr); }, -2, "get slot id argument invalid\n"},
        {"insert", [] { return get_board_insert(nullptr); }, -2,
         "get boad insert argument invalid\n"},
        {"port 80, null", [] { return get_port80_data(16, nullptr); }, -2,
         "value is not a valid pointer,please allocate memory!!\n"},
        {"port 80, null before length", [] { return get_port80_data(513, nullptr); }, -2,
         "value is not a valid pointer,please allocate memory!!\n"},
        {"port 80, 513", [] { return get_port80_data(513, buffer); }, -2,
         "len is a invalid argument \r\n"},
        {"port 80, largest", [] { return get_port80_data(INT_MAX, buffer); }, -2,
         "len is a invalid argument \r\n"},
    });
    EXPECT_EQ(buffer[0], untouched);
}

} // namespace
} // namespace board_test
