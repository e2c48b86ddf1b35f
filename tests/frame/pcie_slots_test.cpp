// PCI addresses of the board's slots.

#include <errno.h>
#include <limits.h>
#include <string.h>

#include <array>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

constexpr uint8_t brava_bom = 0;
constexpr uint8_t corvo_bom = 8;

// Slot id, bus, device, function, field 6, type.
using Row = std::array<uint32_t, 6>;
const std::vector<Row> brava_rows = {
    {1, 0x80, 1, 0, 2, 0},
    {0, 0x00, 3, 2, 1, 1},
    {0, 0x00, 2, 3, 1, 2},
};
const std::vector<Row> corvo_rows = {
    {1, 0x00, 2, 0, 1, 0},
    {2, 0x80, 1, 0, 2, 0},
    {0, 0x00, 3, 2, 1, 1},
    {0, 0x00, 2, 3, 1, 2},
};

const Names board_type_read = {"lock cpld_reg_lock", "load 02", "unlock cpld_reg_lock"};

class PcieSlotsTest : public StateTest {
protected:
    struct Answer {
        int result;
        uint32_t slot;
        uint8_t riser;
        uint32_t node;

        bool operator==(const Answer &) const = default;
    };

    static Answer slot_of(uint32_t bus, uint32_t device, uint32_t function)
    {
        Answer answer{99, untouched_word, untouched, untouched_word};
        answer.result = get_pcie_slotid_by_BDF(bus, device, function, &answer.slot, &answer.riser,
                                               &answer.node);
        return answer;
    }

    static Answer without_riser(uint32_t slot) { return {0, slot, untouched, untouched_word}; }

    void be(uint8_t bom) { set_reg(0x02, bom); }

    void expect_slot_read(bool made)
    {
        Names expected = board_type_read;
        if (made) {
            for (const char *step :
                 {"lock fpga_request_lock", "read fpga 82", "unlock fpga_request_lock"}) {
                expected.push_back(step);
            }
        }
        expect_steps(expected);
    }

    void fail_slot_read()
    {
        board.faults.add({.name = "slot byte",
                          .device = "fpga",
                          .operation = Operation::read,
                          .address = 0x82,
                          .kind = Fault::Kind::error,
                          .value = EIO,
                          .times = 0});
    }
};

template <size_t N> void expect_table(const pcie_bdf_slot (&table)[N], const std::vector<Row> &rows)
{
    ASSERT_EQ(N, rows.size());
    uint32_t words[N][8];
    ASSERT_EQ(sizeof(words), sizeof(table));
    memcpy(words, table, sizeof(words));
    for (size_t i = 0; i < N; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(words[i][0], 0U);
        EXPECT_EQ(words[i][1], 0U);
        for (size_t field = 0; field < 6; ++field) {
            EXPECT_EQ(words[i][2 + field], rows[i][field]);
        }
    }
}

TEST_F(PcieSlotsTest, TablesAreTheBoards)
{
    expect_table(g_pcieBDF_forBrava, brava_rows);
    EXPECT_EQ(g_pcieBDFsize_forBrava, 3);
    expect_table(g_pcieBDF_forCorvo, corvo_rows);
    EXPECT_EQ(g_pcieBDFsize_forCorvo, 4);
}

TEST_F(PcieSlotsTest, TypeOfEveryAddress)
{
    for (const bool corvo : {false, true}) {
        be(corvo ? corvo_bom : brava_bom);
        for (const uint32_t bus : {0U, 1U, 0x7FU, 0x80U, 0x81U, 0x100U, 0x80000000U}) {
            for (uint32_t address = 0; address < 64; ++address) {
                const uint32_t device = address / 8;
                const uint32_t function = address % 8;
                int result = -2;
                uint32_t type = untouched_word;
                for (const Row &row : corvo ? corvo_rows : brava_rows) {
                    if (row[1] == bus && row[2] == device && row[3] == function) {
                        result = 0;
                        type = row[5];
                    }
                }
                uint32_t out = untouched_word;
                EXPECT_EQ(get_pcie_type_by_BDF(bus, device, function, &out), result);
                EXPECT_EQ(out, type);
                if (result != 0) {
                    EXPECT_EQ(slot_of(bus, device, function),
                              (Answer{-2, untouched_word, untouched, untouched_word}));
                }
            }
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PcieSlotsTest, TypeReadsTheBomAlone)
{
    uint32_t type = 0;
    EXPECT_EQ(get_pcie_type_by_BDF(0, 3, 2, &type), 0);
    expect_slot_read(false);
    EXPECT_EQ(get_pcie_type_by_BDF(9, 9, 9, &type), -2);
    expect_slot_read(false);
}

TEST_F(PcieSlotsTest, NullIsRefusedBeforeTheBoardIsAsked)
{
    expect_refused({
        {"type", [] { return get_pcie_type_by_BDF(0x80, 1, 0, nullptr); }, -1,
         "get_pcie_type_by_BDF pointer is null\n"},
        {"unknown type", [] { return get_pcie_type_by_BDF(9, 9, 9, nullptr); }, -1,
         "get_pcie_type_by_BDF pointer is null\n"},
    });
    for (const int missing : {0, 1, 2}) {
        SCOPED_TRACE(missing);
        uint32_t slot = untouched_word;
        uint8_t riser = untouched;
        uint32_t node = untouched_word;
        EXPECT_EQ(get_pcie_slotid_by_BDF(0x80, 1, 0, missing == 0 ? nullptr : &slot,
                                         missing == 1 ? nullptr : &riser,
                                         missing == 2 ? nullptr : &node),
                  -1);
        EXPECT_EQ(output(), "get_pcie_slotid_by_BDF pointer is null\n");
        EXPECT_EQ(slot, untouched_word);
        EXPECT_EQ(riser, untouched);
        EXPECT_EQ(node, untouched_word);
        expect_steps({});
    }
}

TEST_F(PcieSlotsTest, RiserSlotOfBothNodesTellsTheNodesSlot)
{
    for (uint8_t number = 0; number < 16; ++number) {
        for (const uint8_t pins : Bytes{0x00, 0x70}) {
            board.slot().set_number(number);
            board.slot().set_other_pins(pins);
            be(brava_bom);
            EXPECT_EQ(slot_of(0x80, 1, 0), (Answer{0, 1, 1, number}));
            expect_slot_read(true);
            be(corvo_bom);
            EXPECT_EQ(slot_of(0x80, 1, 0), (Answer{0, 2, 1, number}));
            expect_slot_read(true);
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PcieSlotsTest, OtherPcieSlotReadsTheNodesSlotAndKeepsItToItself)
{
    be(corvo_bom);
    EXPECT_EQ(slot_of(0x00, 2, 0), without_riser(1));
    expect_slot_read(true);
    EXPECT_EQ(output(), "");
}

TEST_F(PcieSlotsTest, OnBoardFunctionsHaveNoSlot)
{
    for (const uint8_t bom : Bytes{brava_bom, corvo_bom}) {
        be(bom);
        EXPECT_EQ(slot_of(0x00, 3, 2), without_riser(0));
        expect_slot_read(false);
        EXPECT_EQ(slot_of(0x00, 2, 3), without_riser(0));
        expect_slot_read(false);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PcieSlotsTest, ExtendedBomId1000LeavesTheRiserOut)
{
    for (const uint32_t id : {0U, 999U, 1000U, 1001U}) {
        SCOPED_TRACE(id);
        set_extendbomid(id);
        board.slot().set_number(6);
        be(brava_bom);
        EXPECT_EQ(slot_of(0x80, 1, 0), id == 1000 ? without_riser(1) : (Answer{0, 1, 1, 6}));
        expect_slot_read(id != 1000);
        be(corvo_bom);
        EXPECT_EQ(slot_of(0x80, 1, 0), id == 1000 ? without_riser(2) : (Answer{0, 2, 1, 6}));
        expect_slot_read(id != 1000);
    }
    EXPECT_EQ(slot_of(9, 9, 9).result, -2);
}

TEST_F(PcieSlotsTest, FailedSlotReadIsToldForTheRiserAlone)
{
    fail_slot_read();
    be(brava_bom);
    EXPECT_EQ(slot_of(0x80, 1, 0), (Answer{0, 1, 1, 0}));
    EXPECT_EQ(output(), "get_pcie_slotid_by_BDF,get slot id fail!\r\n");
    be(corvo_bom);
    EXPECT_EQ(slot_of(0x80, 1, 0), (Answer{0, 2, 1, 0}));
    EXPECT_EQ(output(), "get_pcie_slotid_by_BDF,get slot id fail!\r\n");
    EXPECT_EQ(slot_of(0x00, 2, 0), without_riser(1));
    EXPECT_EQ(output(), "");
    EXPECT_EQ(board.faults.faults().front().hits, 3U);
}

TEST_F(PcieSlotsTest, UnknownBomSearchesTheBravaTable)
{
    be(5);
    board.slot().set_number(3);
    EXPECT_EQ(slot_of(0x80, 1, 0), (Answer{0, 1, 1, 3}));
    EXPECT_EQ(output(), "get_current_board_type:bom id not support!\r\n");
    EXPECT_EQ(slot_of(0x00, 2, 0).result, -2);
    uint32_t type = untouched_word;
    EXPECT_EQ(get_pcie_type_by_BDF(0x00, 3, 2, &type), 0);
    EXPECT_EQ(type, 1U);
}

TEST_F(PcieSlotsTest, LookupsHonourRowsThatApplicationsWrite)
{
    be(brava_bom);
    g_pcieBDF_forBrava[1] = {{0, 0}, 2, 0x17, 4, 5, 1, 0};
    // Slot 2 is not the riser of this node, and the slot is read all the same.
    EXPECT_EQ(slot_of(0x17, 4, 5), without_riser(2));
    expect_slot_read(true);
    EXPECT_EQ(slot_of(0x00, 3, 2).result, -2);
    be(corvo_bom);
    EXPECT_EQ(slot_of(0x17, 4, 5).result, -2);
    g_pcieBDF_forCorvo[3] = {{0, 0}, 77, 0x80, 1, 0, 1, 66};
    EXPECT_EQ(slot_of(0x80, 1, 0).slot, 2U) << "the first row that matches";
    g_pcieBDF_forCorvo[0] = {{0, 0}, 77, 0x80, 1, 0, 1, 66};
    EXPECT_EQ(slot_of(0x80, 1, 0), without_riser(77));
    uint32_t type = 0;
    EXPECT_EQ(get_pcie_type_by_BDF(0x80, 1, 0, &type), 0);
    EXPECT_EQ(type, 66U);
}

TEST_F(PcieSlotsTest, LookupsHonourTheCurrentCounts)
{
    struct {
        uint8_t bom;
        int32_t &count;
        int32_t rows;
    } const nodes[] = {{brava_bom, g_pcieBDFsize_forBrava, 3},
                       {corvo_bom, g_pcieBDFsize_forCorvo, 4}};
    for (const auto &node : nodes) {
        be(node.bom);
        // The address of the last row.
        const auto found = [] {
            uint32_t type = untouched_word;
            const int result = get_pcie_type_by_BDF(0x00, 2, 3, &type);
            EXPECT_EQ(type, result == 0 ? 2U : untouched_word);
            EXPECT_EQ(slot_of(0x00, 2, 3).result, result);
            return result == 0;
        };
        EXPECT_TRUE(found());
        for (const int32_t count : {node.rows - 1, 1, 0, -1, INT_MIN}) {
            node.count = count;
            EXPECT_FALSE(found()) << count;
        }
        node.count = INT_MAX;
        EXPECT_TRUE(found());
        uint32_t type = untouched_word;
        EXPECT_EQ(get_pcie_type_by_BDF(9, 9, 9, &type), -2) << "no row behind the table";
        node.count = node.rows;
    }
}

} // namespace
} // namespace board_test
