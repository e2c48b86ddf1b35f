// What is fixed on this board.

#include <limits.h>

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

class BoardFactsTest : public InventoryTest {};

TEST_F(BoardFactsTest, BackplanesHaveTheirBytes)
{
    const Bytes expected = {
        1, 0x45, 24, 1, 0x46, 4,  1, 0x48, 12, 1, 0x49, 12, 1, 0x4A, 8,
        1, 0x4B, 8,  1, 0x4D, 24, 1, 0x4E, 2,  1, 0x6D, 2,  1, 0x6E, 4,
    };
    const auto *table = reinterpret_cast<const uint8_t *>(g_HDD_backplane);
    EXPECT_EQ(Bytes(table, table + sizeof(g_HDD_backplane)), expected);
    EXPECT_EQ(g_HDDbackplanesize, 10);
}

TEST_F(BoardFactsTest, FirmwareHasTwoProperties)
{
    for (int kind = 0; kind < 256; ++kind) {
        SCOPED_TRACE(kind);
        const bool known = kind == 0 || kind == 2;
        expect_calls({{"property",
                       [=](Outs &o) {
                           return get_firmware_info_property(static_cast<uint8_t>(kind), &o.word);
                       },
                       known ? 0 : -2,
                       "",
                       {.word = kind == 0   ? 4478U
                                : kind == 2 ? 4U
                                            : 0U}}});
    }
}

TEST_F(BoardFactsTest, LogicalNumbersAreThePhysicalOnes)
{
    for (const uint8_t type : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        for (const uint32_t number : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
            expect_calls({{"number",
                           [=](Outs &o) {
                               return switch_logical_num_to_physical_num(type, number, &o.word);
                           },
                           0,
                           "",
                           {.word = number}}});
        }
    }
}

TEST_F(BoardFactsTest, AnswersAndRefusals)
{
    expect_calls({
        {"memory board",
         [](Outs &o) { return get_mem_board_present(0, &o.byte); },
         0,
         "",
         {.byte = 1}},
        {"any memory board",
         [](Outs &o) { return get_mem_board_present(UINT_MAX, &o.byte); },
         0,
         "",
         {.byte = 1}},
        {"memory board, null", [](Outs &) { return get_mem_board_present(0, nullptr); }, -2,
         "get_mem_board_present #:the pointer is null.\r\n"},
        {"power capping", [](Outs &) { return get_power_capping_support(); }, 1},
        {"PCIe sensors",
         [](Outs &o) { return get_pcie_sensor_support(&o.byte); },
         0,
         "",
         {.byte = 0}},
        {"PCIe sensors, null", [](Outs &) { return get_pcie_sensor_support(nullptr); }, -2,
         "get_pcie_sensor_support:val pointer is null\n"},
        {"AC loss", [](Outs &o) { return get_ps_aclost_status(0, &o.byte); }, 0, "", {.byte = 0}},
        {"any AC loss",
         [](Outs &o) { return get_ps_aclost_status(UINT_MAX, &o.byte); },
         0,
         "",
         {.byte = 0}},
        {"AC loss, null", [](Outs &) { return get_ps_aclost_status(0, nullptr); }, -1,
         "get_ps_aclost_status: parameter invalid\n"},
    });
}

} // namespace
} // namespace board_test
