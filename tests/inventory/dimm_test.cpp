// DIMMs: presence, location and the PCI addresses of their registers.

#include <limits.h>
#include <string.h>

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

class DimmTest : public InventoryTest {};

template <typename T> Bytes bytes_of(const T &object)
{
    Bytes bytes(sizeof(object));
    memcpy(bytes.data(), &object, sizeof(object));
    return bytes;
}

// ---- Presence ----

TEST_F(DimmTest, NoneIsPresentAtLoad)
{
    EXPECT_EQ(bytes_of(g_dimm_present), Bytes(64));
}

TEST_F(DimmTest, SettingReachesTheEntryOfItsPlace)
{
    for (int32_t cpu = 0; cpu < 2; ++cpu) {
        for (int32_t channel = 0; channel < 3; ++channel) {
            for (int32_t slot = 0; slot < 2; ++slot) {
                memset(g_dimm_present, 0, sizeof(g_dimm_present));
                EXPECT_EQ(set_dimm_presence(cpu, channel, slot, 0x80000001), 0);
                for (int32_t entry = 0; entry < 16; ++entry) {
                    const bool set = entry == cpu * 6 + channel * 2 + slot;
                    EXPECT_EQ(g_dimm_present[entry], set ? 0x80000001 : 0) << entry;
                    uint8_t out = untouched;
                    EXPECT_EQ(get_dimm_presence(entry, &out), 0);
                    EXPECT_EQ(out, set ? 1 : 0) << entry;
                }
                EXPECT_EQ(set_dimm_presence(cpu, channel, slot, 0), 0);
                EXPECT_EQ(bytes_of(g_dimm_present), Bytes(64));
            }
        }
    }
    EXPECT_EQ(output(), "");
    expect_steps({});
}

TEST_F(DimmTest, LastReachableEntryIsEleven)
{
    EXPECT_EQ(set_dimm_presence(1, 2, 1, 1), 0);
    EXPECT_EQ(g_dimm_present[11], 1U);
}

TEST_F(DimmTest, PresenceIsTheEntrysLowByte)
{
    for (const uint32_t value : {0x00000100U, 0xFFFFFF00U, 0x12345678U, 0xFFFFFFFFU}) {
        g_dimm_present[15] = value;
        uint8_t out = untouched;
        EXPECT_EQ(get_dimm_presence(15, &out), 0);
        EXPECT_EQ(out, value % 256);
    }
}

TEST_F(DimmTest, SettingElsewhereIsRefusedSilently)
{
    const int32_t places[][3] = {
        {2, 0, 0},  {-1, 0, 0}, {0, 3, 0},       {0, -1, 0},      {0, 0, 2},
        {0, 0, -1}, {2, 3, 2},  {INT_MAX, 0, 0}, {INT_MIN, 0, 0}, {0, INT_MAX, INT_MIN},
    };
    for (const auto &place : places) {
        EXPECT_EQ(set_dimm_presence(place[0], place[1], place[2], 1), -2);
    }
    EXPECT_EQ(bytes_of(g_dimm_present), Bytes(64));
    EXPECT_EQ(output(), "");
}

TEST_F(DimmTest, PresenceRefusesBadArguments)
{
    const auto at = [](const char *name, int32_t index, const char *text) {
        return Call{name, [index](Outs &o) { return get_dimm_presence(index, &o.byte); }, -2, text};
    };
    expect_calls({
        at("16", 16, "get_dimm_presence #: the para is err,sign:16 .\r\n"),
        at("-1", -1, "get_dimm_presence #: the para is err,sign:-1 .\r\n"),
        at("smallest", INT_MIN, "get_dimm_presence #: the para is err,sign:-2147483648 .\r\n"),
        {"null", [](Outs &) { return get_dimm_presence(0, nullptr); }, -2,
         "get_dimm_presence #: para is null .\r\n"},
        {"null before index", [](Outs &) { return get_dimm_presence(16, nullptr); }, -2,
         "get_dimm_presence #: para is null .\r\n"},
    });
}

// ---- The table of PCI addresses ----

const Bytes table_at_load = {
    // clang-format off
    0, 0, 0, 0,  1, 1, 1, 1,  15, 29,  2, 3, 4, 5,  0, 0,
    0x80, 0, 0, 0,  0x84, 0, 0, 0,  0x88, 0, 0, 0,  0, 0, 0, 0,
    1, 0, 0, 0,  1, 1, 1, 1,  16, 30,  6, 7, 2, 3,  0, 0,
    0x04, 1, 0, 0,  0x08, 1, 0, 0,  0x0C, 1, 0, 0,  0x10, 1, 0, 0,
    // clang-format on
};

TEST_F(DimmTest, TableHasItsBytes)
{
    EXPECT_EQ(bytes_of(g_dimm_bdf_info), table_at_load);
    EXPECT_EQ(g_dimm_bdf_info_size, 2);
}

// The four lookups, with the values of both CPUs by index.
struct Lookup {
    const char *name;
    std::function<int(uint8_t cpu, uint32_t index, uint32_t *out)> get;
    std::vector<uint32_t> values[2];
    // What an application writes to the table.
    std::function<void(int row, uint32_t index, uint8_t value)> put;
    const char *refusal;
};

const Lookup lookups[] = {
    {"get_dimm_bus_number",
     get_dimm_bus_number,
     {{1, 1, 1, 1}, {1, 1, 1, 1}},
     [](int row, uint32_t index, uint8_t value) { g_dimm_bdf_info[row].bus[index] = value; },
     ""},
    {"get_dimm_device_number",
     get_dimm_device_number,
     {{15, 29}, {16, 30}},
     [](int row, uint32_t index, uint8_t value) { g_dimm_bdf_info[row].device[index] = value; },
     "get_dimm_device_number #:invalid imc\r\n"},
    {"get_dimm_function_number",
     [](uint8_t cpu, uint32_t index, uint32_t *out) {
         return get_dimm_function_number(cpu, 0xFFFFFFFF, index, out);
     },
     {{2, 3, 4, 5}, {6, 7, 2, 3}},
     [](int row, uint32_t index, uint8_t value) { g_dimm_bdf_info[row].function[index] = value; },
     ""},
    {"get_dimm_register_addr",
     get_dimm_register_addr,
     {{0x80, 0x84, 0x88, 0}, {0x104, 0x108, 0x10C, 0x110}},
     [](int row, uint32_t index, uint8_t value) { g_dimm_bdf_info[row].reg[index] = value; },
     ""},
};

void PrintTo(const Lookup &lookup, std::ostream *out)
{
    *out << lookup.name;
}

class DimmLookup : public InventoryTest, public ::testing::WithParamInterface<Lookup> {
protected:
    void expect(uint8_t cpu, uint32_t index, uint32_t value)
    {
        uint32_t out = untouched_word;
        EXPECT_EQ(GetParam().get(cpu, index, &out), 0);
        EXPECT_EQ(out, value) << "CPU " << int{cpu} << ", index " << index;
    }
    uint32_t columns() const { return static_cast<uint32_t>(GetParam().values[0].size()); }
};

TEST_P(DimmLookup, GivesEveryEntry)
{
    for (uint8_t cpu = 0; cpu < 2; ++cpu) {
        for (uint32_t index = 0; index < columns(); ++index) {
            expect(cpu, index, GetParam().values[cpu][index]);
        }
    }
    EXPECT_EQ(output(), "");
    expect_steps({});
}

TEST_P(DimmLookup, UnknownCpuIsNoErrorAndWritesNothing)
{
    for (int cpu = 2; cpu < 256; ++cpu) {
        expect(static_cast<uint8_t>(cpu), 0, untouched_word);
    }
    EXPECT_EQ(output(), "");
}

TEST_P(DimmLookup, RefusesIndicesBeyondTheColumn)
{
    const Lookup &row = GetParam();
    for (const uint32_t index : {columns(), columns() + 1, 0x80000000U, 0xFFFFFFFFU}) {
        expect_calls(
            {{row.name, [&](Outs &o) { return row.get(0, index, &o.word); }, -2, row.refusal}});
    }
}

TEST_P(DimmLookup, RefusesNullFirst)
{
    const Lookup &row = GetParam();
    const std::string text = std::string(row.name) + " #:point is null\r\n";
    expect_calls({
        {"null", [&](Outs &) { return row.get(0, 0, nullptr); }, -2, text},
        {"null before index", [&](Outs &) { return row.get(0, 99, nullptr); }, -2, text},
        {"null, unknown CPU", [&](Outs &) { return row.get(9, 0, nullptr); }, -2, text},
    });
}

TEST_P(DimmLookup, HonoursWhatApplicationsWrite)
{
    for (uint32_t index = 0; index < columns(); ++index) {
        GetParam().put(1, index, static_cast<uint8_t>(0xA0 + index));
        expect(1, index, 0xA0 + index);
        expect(0, index, GetParam().values[0][index]);
    }
    // Another CPU takes the row.
    g_dimm_bdf_info[1].cpu = 200;
    expect(200, 0, 0xA0);
    expect(1, 0, untouched_word);
    // Both rows are walked, and the last one wins.
    g_dimm_bdf_info[1].cpu = 0;
    expect(0, 0, 0xA0);
    // A CPU number that no 8 bits hold is nobody's.
    g_dimm_bdf_info[1].cpu = 0x100;
    expect(0, 0, GetParam().values[0][0]);
}

TEST_P(DimmLookup, WalksAsManyRowsAsCounted)
{
    for (const int32_t size : {1, 0, -1, INT_MIN}) {
        g_dimm_bdf_info_size = size;
        expect(0, 0, size == 1 ? GetParam().values[0][0] : untouched_word);
        expect(1, 0, untouched_word);
    }
    // Never past the table.
    g_dimm_bdf_info_size = INT_MAX;
    expect(1, 0, GetParam().values[1][0]);
    expect(2, 0, untouched_word);
}

INSTANTIATE_TEST_SUITE_P(Every, DimmLookup, ::testing::ValuesIn(lookups));

// ---- The whole address ----

TEST_F(DimmTest, AddressIsMadeOfTheFourLookups)
{
    for (uint8_t cpu = 0; cpu < 2; ++cpu) {
        for (uint32_t controller = 0; controller < 2; ++controller) {
            for (uint32_t channel = 0; channel < 4; ++channel) {
                for (uint32_t reg = 0; reg < 4; ++reg) {
                    uint32_t out = untouched_word;
                    EXPECT_EQ(get_mem_bdf_info(cpu, channel, controller, channel, reg, &out), 0);
                    EXPECT_EQ(out, lookups[0].values[cpu][channel] * 0x100000 +
                                       lookups[1].values[cpu][controller] * 0x8000 +
                                       lookups[2].values[cpu][channel] * 0x1000 +
                                       lookups[3].values[cpu][reg]);
                }
            }
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(DimmTest, AddressesByExample)
{
    const auto address = [](uint8_t cpu, uint32_t controller, uint32_t channel, uint32_t reg) {
        return [=](Outs &o) { return get_mem_bdf_info(cpu, 0, controller, channel, reg, &o.word); };
    };
    expect_calls({
        {"CPU 1, register 2", address(1, 0, 1, 2), 0, "", {.word = 0x18710C}},
        {"CPU 0, first", address(0, 0, 0, 0), 0, "", {.word = 0x17A080}},
        {"CPU 0, last", address(0, 1, 3, 3), 0, "", {.word = 0x1ED000}},
        {"CPU 2", address(2, 0, 0, 0), 0, "", {.word = 0}},
        {"CPU 255", address(255, 1, 3, 3), 0, "", {.word = 0}},
    });
}

TEST_F(DimmTest, AddressHonoursWhatApplicationsWrite)
{
    g_dimm_bdf_info[0] = {7, {0xFF, 0, 0, 2}, {0, 31}, {0, 0, 7, 0}, {}, {0, 0, 0, 0xFFF}};
    uint32_t out = untouched_word;
    EXPECT_EQ(get_mem_bdf_info(7, 3, 1, 2, 3, &out), 0);
    EXPECT_EQ(out, 0x2FFFFFU);
    EXPECT_EQ(get_mem_bdf_info(7, 0, 0, 0, 0, &out), 0);
    EXPECT_EQ(out, 0x0FF00000U);
}

TEST_F(DimmTest, AddressFailsWithTheFirstLookupThatFails)
{
    const auto address = [](uint32_t bus, uint32_t controller, uint32_t channel, uint32_t reg) {
        return [=](Outs &o) { return get_mem_bdf_info(0, bus, controller, channel, reg, &o.word); };
    };
    const std::string imc = "get_dimm_device_number #:invalid imc\r\n";
    expect_calls({
        {"bus", address(4, 2, 4, 4), -2, "get_mem_bdf_info #:get_dimm_bus_number\r\n"},
        {"device", address(3, 2, 4, 4), -2, imc + "get_mem_bdf_info #:get_dimm_device_number\r\n"},
        {"function", address(3, 1, 4, 4), -2, "get_mem_bdf_info #:get_dimm_function_number\r\n"},
        {"register", address(3, 1, 3, 4), -2, "get_mem_bdf_info #:get_dimm_register_addr\r\n"},
        {"null", [](Outs &) { return get_mem_bdf_info(0, 0, 0, 0, 0, nullptr); }, -2,
         "get_mem_bdf_info #:point is null\r\n"},
    });
}

// ---- Location ----

TEST_F(DimmTest, SlotsOneToSixteenAreOnCpuZero)
{
    for (int32_t slot = 1; slot <= 16; ++slot) {
        expect_calls({{"slot",
                       [=](Outs &o) { return get_dimm_location(slot, o.location()); },
                       0,
                       "",
                       {.place = {0, static_cast<uint32_t>(slot - 1)}}}});
    }
}

TEST_F(DimmTest, OtherSlotsAreIllegal)
{
    for (const int32_t slot : {0, 17, -1, INT_MAX, INT_MIN}) {
        expect_calls(
            {{"slot", [=](Outs &o) { return get_dimm_location(slot, o.location()); }, -2,
              "get_dimm_location:the slot_num" + std::to_string(slot) + " of dimm is illegal.\n"}});
    }
    expect_calls({
        {"null", [](Outs &) { return get_dimm_location(1, nullptr); }, -1,
         "get_dimm_location: parameter invalid\n"},
        {"null before slot", [](Outs &) { return get_dimm_location(0, nullptr); }, -1,
         "get_dimm_location: parameter invalid\n"},
    });
}

} // namespace
} // namespace board_test
