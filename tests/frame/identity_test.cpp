// Which board this is.

#include <limits.h>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

class IdentityTest : public StateTest {
protected:
    // One getter by selector, over every value of the registers that it reads.
    struct Selected {
        uint32_t selector;
        int reg;        // -1: a constant
        unsigned mask;  // field of the register
        unsigned shift; // moves it down
        unsigned added;
    };

    static uint8_t expected(const Selected &row, unsigned value)
    {
        const unsigned field = row.reg < 0 ? 0 : (value & row.mask) >> row.shift;
        return static_cast<uint8_t>(field + row.added);
    }

    template <typename Get> void expect_selected(const Selected &row, Get get)
    {
        SCOPED_TRACE(row.selector);
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            if (row.reg >= 0) {
                set_reg(static_cast<uint32_t>(row.reg), static_cast<uint8_t>(value));
            }
            uint8_t out = untouched;
            ASSERT_EQ(get(row.selector, &out), 0);
            ASSERT_EQ(out, expected(row, value)) << value;
        }
        clear_trace();
        uint8_t out = 0;
        get(row.selector, &out);
        char load[16] = "";
        snprintf(load, sizeof(load), "load %02x", static_cast<unsigned>(row.reg));
        expect_steps(locked(row.reg < 0 ? Names{} : Names{load}));
        EXPECT_EQ(output(), "");
    }

    template <typename Get> void expect_unknown(std::initializer_list<uint32_t> selectors, Get get)
    {
        for (const uint32_t selector : selectors) {
            SCOPED_TRACE(selector);
            uint8_t out = untouched;
            EXPECT_EQ(get(selector, &out), -2);
            EXPECT_EQ(out, untouched);
            expect_steps(locked({}));
        }
        EXPECT_EQ(output(), "");
    }
};

TEST_F(IdentityTest, BoardIdBySelector)
{
    expect_selected({0, 0x00, 0xFF, 0, 0}, get_board_id);
    expect_selected({2, -1, 0, 0, 0xFE}, get_board_id);
    expect_selected({3, 0xD3, 0x0F, 0, 0x40}, get_board_id);
    expect_unknown({1, 4, 5, 6, 255, 256, 0x80000000, UINT_MAX}, get_board_id);
}

TEST_F(IdentityTest, PcbVersionBySelector)
{
    expect_selected({0, 0x01, 0xFF, 0, 0x40}, get_pcb_ver);
    expect_selected({2, 0xD2, 0x70, 4, 0x40}, get_pcb_ver);
    expect_selected({3, 0xD3, 0x70, 4, 0x40}, get_pcb_ver);
    expect_unknown({1, 4, 5, 255, 256, 0x80000000, UINT_MAX}, get_pcb_ver);
}

TEST_F(IdentityTest, PcbVersionIsKeptTo8Bits)
{
    uint8_t letter = untouched;
    set_reg(0x01, 0xC0);
    EXPECT_EQ(get_pcb_ver(0, &letter), 0);
    EXPECT_EQ(letter, 0x00);
    set_reg(0x01, 0x01);
    EXPECT_EQ(get_pcb_ver(0, &letter), 0);
    EXPECT_EQ(letter, 'A');
}

TEST_F(IdentityTest, PresenceOfBoardsBySelector)
{
    const auto get = [](uint32_t which, uint8_t *val) {
        return get_board_present(static_cast<int32_t>(which), val);
    };
    expect_selected({0, -1, 0, 0, 1}, get);
    expect_selected({1, -1, 0, 0, 1}, get);
    expect_selected({6, 0xD5, 0x80, 7, 0}, get);
    expect_unknown({2, 3, 4, 5, 7, 10, 262, 0x7FFFFFFF, 0x80000000, UINT_MAX}, get);
}

TEST_F(IdentityTest, AmcPresenceIsTheWholeRegisterReadUnlocked)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(0xF4, static_cast<uint8_t>(value));
        uint8_t out = untouched;
        EXPECT_EQ(get_amc_module_present(0, &out), 0);
        EXPECT_EQ(out, value);
    }
    clear_trace();
    uint8_t out = untouched;
    EXPECT_EQ(get_amc_module_present(0, &out), 0);
    expect_steps({"load f4"});
    for (const uint32_t selector : {1U, 2U, 256U, UINT_MAX}) {
        out = untouched;
        EXPECT_EQ(get_amc_module_present(selector, &out), -2);
        EXPECT_EQ(out, untouched);
    }
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(IdentityTest, VersionAndProductAreWholeRegisters)
{
    const struct {
        int (*get)(uint8_t *);
        uint32_t offset;
        const char *load;
    } rows[] = {{get_bom_ver, 0x02, "load 02"}, {get_product_id, 0x03, "load 03"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.load);
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(row.offset, static_cast<uint8_t>(value));
            uint8_t out = untouched;
            EXPECT_EQ(row.get(&out), 0);
            EXPECT_EQ(out, value);
        }
        clear_trace();
        uint8_t out = 0;
        row.get(&out);
        expect_steps(locked({row.load}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(IdentityTest, NullIsRefusedBeforeTheSelector)
{
    expect_refused({
        {"board id", [] { return get_board_id(0, nullptr); }, -1,
         "get_board_id val pointer is null\n"},
        {"board id, unknown", [] { return get_board_id(1, nullptr); }, -1,
         "get_board_id val pointer is null\n"},
        {"BOM", [] { return get_bom_ver(nullptr); }, -1, "get_bom_ver:val pointer is null\n"},
        {"PCB version", [] { return get_pcb_ver(0, nullptr); }, -1,
         "get_pcb_ver:val pointer is null\n"},
        {"PCB version, unknown", [] { return get_pcb_ver(9, nullptr); }, -1,
         "get_pcb_ver:val pointer is null\n"},
        {"product", [] { return get_product_id(nullptr); }, -1,
         "get_product_id val pointer is null\n"},
        {"board present", [] { return get_board_present(0, nullptr); }, -1,
         "get_board_present:val pointer is null\n"},
        {"board present, unknown", [] { return get_board_present(2, nullptr); }, -1,
         "get_board_present:val pointer is null\n"},
        // Deliberately the message of the getter above.
        {"AMC", [] { return get_amc_module_present(0, nullptr); }, -1,
         "get_board_present:val pointer is null\n"},
        {"AMC, unknown", [] { return get_amc_module_present(1, nullptr); }, -1,
         "get_board_present:val pointer is null\n"},
        {"slot of a CPU", [] { return get_slotid_by_cpuid(0, nullptr); }, -2, ""},
        {"slot of CPU 1", [] { return get_slotid_by_cpuid(1, nullptr); }, -2, ""},
    });
}

TEST_F(IdentityTest, BoardTypeOfEveryBom)
{
    for (unsigned bom = 0; bom < 256; ++bom) {
        SCOPED_TRACE(bom);
        set_reg(0x02, static_cast<uint8_t>(bom));
        const bool corvo = bom >= 8 && bom <= 11;
        const bool known = bom <= 3 || corvo;
        EXPECT_EQ(get_current_board_type(), corvo ? 2U : 1U);
        EXPECT_EQ(output(), known ? "" : "get_current_board_type:bom id not support!\r\n");
        expect_steps(locked({"load 02"}));
    }
}

TEST_F(IdentityTest, SlotOfEveryCpuIndexForEveryPresence)
{
    // Numbers 1 to 3 are all asked although they share one bit.
    const struct {
        uint8_t status_0;
        uint8_t status_1;
        int result[6]; // -1, or the slot by index
    } rows[] = {
        {0x00, 0x00, {1, -1, -1, -1, -1, -1}}, {0x80, 0x00, {1, -1, -1, -1, -1, -1}},
        {0x7F, 0x80, {1, 3, 4, -1, -1, -1}},   {0xFF, 0xFF, {1, 2, 3, 4, -1, -1}},
        {0x80, 0x7F, {1, -1, -1, -1, -1, -1}},
    };
    for (const auto &row : rows) {
        for (unsigned index = 0; index < 256; ++index) {
            SCOPED_TRACE(index);
            set_reg(0x2A, row.status_0);
            set_reg(0x2C, row.status_1);
            uint8_t slot = untouched;
            const int expected = row.result[std::min(index, 5U)];
            EXPECT_EQ(get_slotid_by_cpuid(static_cast<uint8_t>(index), &slot),
                      expected < 0 ? -1 : 0);
            EXPECT_EQ(slot, expected < 0 ? untouched : expected);
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(IdentityTest, SlotOfCpuLocksOncePerCpuAskedAndNotForIndex0)
{
    set_reg(0x2A, 0x80);
    set_reg(0x2C, 0x80);
    uint8_t slot = 0;
    EXPECT_EQ(get_slotid_by_cpuid(0, &slot), 0);
    expect_steps({});
    EXPECT_EQ(get_slotid_by_cpuid(1, &slot), 0);
    expect_steps({"lock cpld_reg_lock", "load 2a", "unlock cpld_reg_lock", "lock cpld_reg_lock",
                  "load 2c", "unlock cpld_reg_lock"});
    EXPECT_EQ(get_slotid_by_cpuid(4, &slot), -1);
    EXPECT_EQ(board.trace.count(Operation::lock, "cpld_reg_lock"), 4U);
}

TEST_F(IdentityTest, ExtendedBomIdIsKept)
{
    EXPECT_EQ(g_exbomid, 0U);
    EXPECT_EQ(get__extendbomid(), 0U);
    for (const uint32_t id : {1000U, UINT_MAX, 0U}) {
        set_extendbomid(id);
        EXPECT_EQ(g_exbomid, id);
        EXPECT_EQ(get__extendbomid(), id);
    }
    g_exbomid = 7;
    EXPECT_EQ(get__extendbomid(), 7U);
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(IdentityTest, FixedAnswersTouchNothing)
{
    uint8_t byte = untouched;
    uint32_t word = untouched_word;
    EXPECT_EQ(get_chassis_id(&byte), 0);
    EXPECT_EQ(get_chassis_id(nullptr), 0);
    EXPECT_EQ(get_MEZZ_slot_by_BDF(0, 3, 2, &word), -2);
    EXPECT_EQ(get_MEZZ_slot_by_BDF(0, 3, 2, nullptr), -2);
    EXPECT_EQ(get_chassis_pcb_ver(&byte), 0);
    EXPECT_EQ(get_pcie_slot_present(0, 0, &byte), 0);
    EXPECT_EQ(get_hdd_cpld_version(&byte), 0);
    EXPECT_EQ(get_hp_riser_cpld_version(&byte), 0);
    EXPECT_EQ(get_card_type(0, &byte), -1);
    EXPECT_EQ(get_card_port(0), -1);
    EXPECT_EQ(get_mac_num(), 0);
    EXPECT_EQ(byte, untouched);
    EXPECT_EQ(word, untouched_word);
    EXPECT_EQ(get_CPU_type(&word), 0);
    EXPECT_EQ(word, 2U);
    expect_steps({});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
