// How many devices the board can hold.

#include <limits.h>

#include <map>
#include <optional>

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

constexpr uint8_t this_board = 0xFE;

const std::map<unsigned, int> board_codes = {
    {0x31, 2},  {0x32, 2},  {0x33, 1},  {0x34, 2},  {0x35, 2},  {0x36, 3},  {0x37, 0},
    {0x38, 1},  {0x39, 4},  {0x3A, 6},  {0x3B, 6},  {0x3C, 4},  {0x3D, 3},  {0x3E, 2},
    {0x41, 23}, {0x42, 6},  {0x43, 8},  {0x44, 0},  {0x45, 24}, {0x46, 4},  {0x47, 8},
    {0x48, 12}, {0x49, 12}, {0x4A, 8},  {0x4B, 8},  {0x4C, 0},  {0x4D, 24}, {0x4E, 2},
    {0x4F, 0},  {0x71, 8},  {0x72, 24}, {0x73, 12}, {0x74, 10}, {0x75, 25}, {0x76, 2},
    {0x77, 2},  {0x78, 4},  {0x79, 8},  {0x80, 8},  {0x81, 4},  {0xFF, 2},
};

// But for the disks.
const std::map<int, int> types_of_this_board = {{0, 2}, {1, 16}, {3, 2}, {4, 6}, {5, 1}, {8, 1}};

struct Storage {
    int disks;
    int raid_cards;
    int onboard_raids;
};

const std::map<unsigned, Storage> boms = {
    {0, {4, 1, 1}},
    {1, {4, 0, 0}},
    {8, {2, 1, 1}},
    {9, {2, 0, 0}},
};

constexpr const char *no_bom = "get_product_cfg_num:bom id not support!\n";
constexpr const char *no_type = "#get_group_devicemaximum:the devicetype is err\r\n";
constexpr const char *no_board = "#get_group_devicemaximum:the boardid is err\r\n";

class MaximaTest : public InventoryTest {
protected:
    template <typename Get>
    void expect(Get get, int result, std::optional<int> max, const std::string &text)
    {
        int32_t out = untouched_number;
        EXPECT_EQ(get(&out), result);
        EXPECT_EQ(out, max.value_or(untouched_number));
        EXPECT_EQ(output(), text);
    }
};

// ---- By board code ----

std::vector<int32_t> all_types()
{
    std::vector<int32_t> types = {INT_MIN, INT_MIN + 8, -256, -2, -1, 0x10000, INT_MAX};
    for (int32_t type = 0; type <= 256; ++type) {
        types.push_back(type);
    }
    return types;
}

TEST_F(MaximaTest, EveryBoardCodeHasOneMaximumForEveryType)
{
    for (unsigned code = 0; code < 256; ++code) {
        if (code == this_board) {
            continue;
        }
        const auto row = board_codes.find(code);
        const bool known = row != board_codes.end();
        for (const int32_t type : all_types()) {
            int32_t out = untouched_number;
            ASSERT_EQ(get_group_devicemaximum(type, static_cast<uint8_t>(code), &out, 0),
                      known ? 0 : -1)
                << code << ' ' << type;
            ASSERT_EQ(out, known ? row->second : untouched_number) << code << ' ' << type;
        }
        std::string text;
        for (size_t i = 0; !known && i < all_types().size(); ++i) {
            text += no_board;
        }
        ASSERT_EQ(output(), text) << code;
    }
    expect_steps({});
}

TEST_F(MaximaTest, ThisBoardHasAMaximumPerType)
{
    for (const int32_t type : all_types()) {
        SCOPED_TRACE(type);
        const auto row = types_of_this_board.find(type);
        const auto get = [type](int32_t *out) {
            return get_group_devicemaximum(type, this_board, out, 0x5A5A5A5A);
        };
        if (type == 2) {
            expect(get, 0, 4, "");
            expect_steps(bom_read);
        } else if (row != types_of_this_board.end()) {
            expect(get, 0, row->second, "");
            expect_steps({});
        } else {
            expect(get, -1, std::nullopt, no_type);
            expect_steps({});
        }
    }
}

// ---- By BOM id ----

TEST_F(MaximaTest, StorageGoesByTheBomId)
{
    const auto group = [](int32_t *out) { return get_group_devicemaximum(2, this_board, out, 0); };
    const auto device = [](int32_t *out) { return get_device_max_num(2, out); };
    const auto backplane = [](int32_t *out) { return get_hdd_backplane_sub_dev_maximum(0, out); };
    for (unsigned bom = 0; bom < 256; ++bom) {
        SCOPED_TRACE(bom);
        be_bom(bom);
        const auto row = boms.find(bom);
        const bool known = row != boms.end();
        const Storage storage = known ? row->second : Storage{4, 1, 0};

        expect(get_disk_maximum, known ? 0 : 1, storage.disks, known ? "" : no_bom);
        EXPECT_EQ(get_raid_maximum(), storage.raid_cards);
        EXPECT_EQ(get_onboard_raid_num(), storage.onboard_raids);
        EXPECT_EQ(output(), "");
        expect_steps([&] {
            Names thrice;
            for (int i = 0; i < 3; ++i) {
                thrice.insert(thrice.end(), bom_read.begin(), bom_read.end());
            }
            return thrice;
        }());

        if (known) {
            expect(group, 0, storage.disks, "");
            expect(device, 0, storage.disks, "");
        } else {
            expect(group, -1, std::nullopt, no_type);
            expect(device, -2, std::nullopt,
                   std::string(no_bom) + "get_device_max_num: get hdd maximum err.\n");
        }
        expect(backplane, 0, known ? storage.disks : 0, known ? "" : no_bom);
        clear_trace();
    }
}

// ---- By device type ----

TEST_F(MaximaTest, EveryDeviceTypeHasItsMaximumOrNone)
{
    be_bom(8);
    const std::map<int, int> maxima = {
        {0, 2}, {1, 16}, {2, 2}, {3, 2}, {4, 6}, {6, 1}, {7, 0}, {8, 1}, {11, 0}, {12, 1},
    };
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        const auto get = [type](int32_t *out) {
            return get_device_max_num(static_cast<uint8_t>(type), out);
        };
        const auto row = maxima.find(type);
        if (row != maxima.end()) {
            expect(get, 0, row->second, "");
        } else {
            expect(get, -2, std::nullopt,
                   "get_device_max_num:error,not find the type,DeviceTypeParameter = " +
                       std::to_string(type) + "\r\n");
        }
        const bool reads_bom = type == 2 || type == 6 || type == 12;
        expect_steps(reads_bom ? bom_read : Names{});
    }
}

TEST_F(MaximaTest, RaidMaximaOfATypeGoByTheBomId)
{
    for (const unsigned bom : {0U, 1U, 5U, 8U, 9U, 255U}) {
        SCOPED_TRACE(bom);
        be_bom(bom);
        const auto row = boms.find(bom);
        const Storage storage = row != boms.end() ? row->second : Storage{4, 1, 0};
        expect([](int32_t *out) { return get_device_max_num(6, out); }, 0, storage.raid_cards, "");
        expect([](int32_t *out) { return get_device_max_num(12, out); }, 0, storage.onboard_raids,
               "");
    }
}

// ---- Containers ----

TEST_F(MaximaTest, OnlyBackplanesAndNicCardsAreContainers)
{
    be_bom(0);
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        const auto get = [type](int32_t *out) {
            return get_sub_device_max_num(static_cast<uint8_t>(type), 0, out);
        };
        if (type == 5) {
            expect(get, 0, 4, "");
        } else if (type == 13) {
            expect(get, 0, 0, "");
        } else {
            expect(get, -2, std::nullopt,
                   "get_sub_device_max_num:DeviceTypeParameter = " + std::to_string(type) + "\r\n");
        }
        expect_steps(type == 5 ? bom_read : Names{});
    }
}

TEST_F(MaximaTest, BackplaneTwoIsTheSmallOne)
{
    be_bom(0);
    for (int index = 0; index < 256; ++index) {
        SCOPED_TRACE(index);
        const auto backplane = static_cast<uint8_t>(index);
        const int disks = index == 2 ? 2 : 4;
        expect([=](int32_t *out) { return get_hdd_backplane_sub_dev_maximum(backplane, out); }, 0,
               disks, "");
        expect([=](int32_t *out) { return get_sub_device_max_num(5, backplane, out); }, 0, disks,
               "");
        expect([=](int32_t *out) { return get_nic_card_sub_dev_maximum(backplane, out); }, 0, 0,
               "");
    }
}

TEST_F(MaximaTest, SmallBackplaneDoesNotAskTheBom)
{
    be_bom(5);
    expect([](int32_t *out) { return get_sub_device_max_num(5, 2, out); }, 0, 2, "");
    expect_steps({});
    expect([](int32_t *out) { return get_sub_device_max_num(5, 1, out); }, 0, 0, no_bom);
    expect_steps(bom_read);
}

// ---- Single answers and refusals ----

TEST_F(MaximaTest, AnswersAndRefusals)
{
    be_bom(0);
    expect_calls({
        {"ethernet",
         [](Outs &o) { return get_ethernet_card_maximum(&o.number); },
         0,
         "",
         {.number = 0}},
        {"PCIe", [](Outs &o) { return get_pcie_maximum(&o.number); }, 0, "", {.number = 1}},
        {"type, null", [](Outs &) { return get_device_max_num(0, nullptr); }, -2,
         "get_device_max_num: parameter invalid.\n"},
        {"type, null before type", [](Outs &) { return get_device_max_num(99, nullptr); }, -2,
         "get_device_max_num: parameter invalid.\n"},
        {"group, null", [](Outs &) { return get_group_devicemaximum(0, this_board, nullptr, 0); },
         -1, "#get_group_devicemaximum:the para is err\r\n"},
        {"group, null before code",
         [](Outs &) { return get_group_devicemaximum(0, 0, nullptr, 0); }, -1,
         "#get_group_devicemaximum:the para is err\r\n"},
        {"container, null", [](Outs &) { return get_sub_device_max_num(5, 0, nullptr); }, -2,
         "get_sub_device_max_num: parameter invalid.\n"},
        {"container, null before type",
         [](Outs &) { return get_sub_device_max_num(0, 0, nullptr); }, -2,
         "get_sub_device_max_num: parameter invalid.\n"},
        {"backplane, null", [](Outs &) { return get_hdd_backplane_sub_dev_maximum(0, nullptr); },
         -2},
        {"small backplane, null",
         [](Outs &) { return get_hdd_backplane_sub_dev_maximum(2, nullptr); }, -2},
        {"NIC, null", [](Outs &) { return get_nic_card_sub_dev_maximum(0, nullptr); }, -2},
        {"ethernet, null", [](Outs &) { return get_ethernet_card_maximum(nullptr); }, -2},
        {"PCIe, null", [](Outs &) { return get_pcie_maximum(nullptr); }, -2},
        {"disks, null", [](Outs &) { return get_disk_maximum(nullptr); }, -2},
        {"backplane is a type of the group alone",
         [](Outs &o) { return get_group_devicemaximum(5, this_board, &o.number, 0); },
         0,
         "",
         {.number = 1}},
        {"0x41 whatever the type",
         [](Outs &o) { return get_group_devicemaximum(77, 0x41, &o.number, 0); },
         0,
         "",
         {.number = 23}},
        {"0x40", [](Outs &o) { return get_group_devicemaximum(0, 0x40, &o.number, 0); }, -1,
         no_board},
    });
}

} // namespace
} // namespace board_test
