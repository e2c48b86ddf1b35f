// Host power, reset lines, buttons, NMI and ACPI state.

#include <limits.h>

#include <random>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr uint8_t patterns[] = {0x00, 0xFF, 0xA5};
constexpr uint8_t untouched = 0xE7;

// What a call that is given any byte does with it.
enum class Takes {
    bit_0,    // bit 0 is written
    non_zero, // 1 is written for every value but 0
    zero,     // 1 is written for 0 alone
    one_bit,  // 0 and 1 are written, others refused
};

uint8_t with_bit(uint8_t value, uint8_t mask, bool set)
{
    return static_cast<uint8_t>(set ? value | mask : value & ~mask);
}

class PowerTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        // The host answers the button after longer than any test takes.
        board.host().power_delay_us = UINT64_MAX / 2;
        board.host().force_off_us = UINT64_MAX / 2;
        open_board();
    }

    // Steps but for loads, which not every machine shows.
    Names steps_without_loads() const
    {
        Names all = steps();
        std::erase_if(all, [](const std::string &step) { return step.starts_with("load"); });
        return all;
    }

    size_t accesses() const
    {
        return board.trace.of(Operation::load).size() + board.trace.of(Operation::store).size();
    }

    // The call held the register lock, once, and touched no register.
    void expect_locked_for_nothing()
    {
        EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", "unlock cpld_reg_lock"}));
    }
};

// ---- the power button ----

TEST_F(PowerTest, PressOfALockedButtonUnlocksItForTheLengthOfThePress)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    set_reg(CPLD_REG_POWER_BUTTON, 0x00);
    EXPECT_EQ(set_pwr_button(1), 0);
    EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", "load 83", "load 83", "store 83=10", "load 83",
                              "store 83=90", "sleep 30000", "unlock cpld_reg_lock"}));
    EXPECT_EQ(g_SHOULD_LOCK, 1);
    EXPECT_EQ(output(), "");
}

struct ButtonCase {
    const char *name;
    uint8_t value;
    uint8_t register_before;
    uint8_t should_lock_before;
    Names steps; // loads left out
    uint8_t register_after;
    uint8_t should_lock_after;
};

TEST_F(PowerTest, PressAndReleaseStepByStep)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    const std::string lock = "lock cpld_reg_lock";
    const std::string unlock = "unlock cpld_reg_lock";
    const std::string sleep = "sleep 30000";
    const ButtonCase cases[] = {
        {"press, enabled", 1, 0x10, 0, {lock, "store 83=90", unlock}, 0x90, 0},
        {"press, enabled, other bits", 1, 0x7F, 0, {lock, "store 83=ff", unlock}, 0xFF, 0},
        {"press, enabled, note kept", 1, 0x10, 1, {lock, "store 83=90", unlock}, 0x90, 1},
        {"press, locked, other bits",
         1,
         0x6F,
         0,
         {lock, "store 83=7f", "store 83=ff", sleep, unlock},
         0xFF,
         1},
        {"press, locked, a5",
         1,
         0xA5,
         0,
         {lock, "store 83=b5", "store 83=b5", sleep, unlock},
         0xB5,
         1},
        {"release, no note", 0, 0x90, 0, {lock, "store 83=10", sleep, unlock}, 0x10, 0},
        {"release, no note, locked", 0, 0x80, 0, {lock, "store 83=00", sleep, unlock}, 0x00, 0},
        {"release, note", 0, 0x90, 1, {lock, "store 83=10", sleep, "store 83=00", unlock}, 0x00, 0},
        {"release, note, other bits",
         0,
         0xFF,
         1,
         {lock, "store 83=7f", sleep, "store 83=6f", unlock},
         0x6F,
         0},
        {"release, only 1 is a note", 0, 0x90, 2, {lock, "store 83=10", sleep, unlock}, 0x10, 2},
        {"release of a released button",
         0,
         0xA5 & 0x7F,
         0,
         {lock, "store 83=25", sleep, unlock},
         0x25,
         0},
    };
    for (const ButtonCase &row : cases) {
        SCOPED_TRACE(row.name);
        set_reg(CPLD_REG_POWER_BUTTON, row.register_before);
        g_SHOULD_LOCK = row.should_lock_before;
        clear_trace();
        EXPECT_EQ(set_pwr_button(row.value), 0);
        EXPECT_EQ(steps_without_loads(), row.steps);
        EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON), row.register_after);
        EXPECT_EQ(g_SHOULD_LOCK, row.should_lock_after);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PowerTest, ButtonSleepsWithTheRegisterLockHeld)
{
    std::vector<Names> held;
    board.trace.listen([&](const Event &event) {
        if (event.operation == Operation::sleep) {
            held.push_back(held_locks());
        }
    });
    set_reg(CPLD_REG_POWER_BUTTON, 0x00);
    EXPECT_EQ(set_pwr_button(1), 0);
    EXPECT_EQ(set_pwr_button(0), 0);
    const Names all = {"cpld_open_lock", "cpld_reg_lock", "fpga_open_lock"};
    EXPECT_EQ(held, (std::vector<Names>{all, all}));
}

TEST_F(PowerTest, LockedButtonIsLockedAgainOnRelease)
{
    set_reg(CPLD_REG_POWER_BUTTON, 0x00);
    EXPECT_EQ(set_pwr_button(1), 0);
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON), 0x90);
    uint8_t locked = 1;
    EXPECT_EQ(get_power_button_lock_state(&locked), 0);
    EXPECT_EQ(locked, 0) << "enabled during the press";
    EXPECT_EQ(set_pwr_button(0), 0);
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON), 0x00);
    EXPECT_EQ(g_SHOULD_LOCK, 0);
}

TEST_F(PowerTest, ButtonTouchesItsRegisterOnly)
{
    for (const uint8_t pattern : patterns) {
        for (const uint8_t value : Bytes{1, 0}) {
            SCOPED_TRACE(std::to_string(pattern) + ", " + std::to_string(value));
            g_SHOULD_LOCK = 0;
            fill_registers(pattern);
            Bytes expected = registers();
            expected[CPLD_REG_POWER_BUTTON] = with_bit(pattern, 0x80, value == 1);
            if (value == 1) {
                expected[CPLD_REG_POWER_BUTTON] |= 0x10;
            }
            EXPECT_EQ(set_pwr_button(value), 0);
            EXPECT_EQ(registers(), expected);
        }
    }
}

TEST_F(PowerTest, ButtonRefusesOtherValues)
{
    fill_registers(0xA5);
    const Bytes before = registers();
    clear_trace();
    for (unsigned value = 2; value < 256; ++value) {
        EXPECT_EQ(set_pwr_button(static_cast<uint8_t>(value)), -2);
        EXPECT_EQ(output(), "set_pwr_button val is a invalid parameter\n");
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(board.trace.of(Operation::sleep).size(), 0U);
    EXPECT_EQ(g_SHOULD_LOCK, 0);
}

// The button as its callers know it: the line, the enable, and the note that
// the release has to lock again.
struct ButtonModel {
    uint8_t reg;
    bool should_lock = false;
    uint64_t slept_us = 0;

    void press()
    {
        if ((reg & 0x10) == 0) {
            should_lock = true;
            slept_us += 30000;
        }
        reg |= 0x90;
    }
    void release()
    {
        slept_us += 30000;
        reg &= 0x7F;
        if (should_lock) {
            reg &= 0xEF;
        }
        should_lock = false;
    }
};

TEST_F(PowerTest, ButtonFollowsItsModelOverRandomSequences)
{
    std::mt19937 random(20);
    ButtonModel model{static_cast<uint8_t>(random())};
    set_reg(CPLD_REG_POWER_BUTTON, model.reg);
    const uint64_t begin_us = board.clock.now_us();
    for (int i = 0; i < 2000; ++i) {
        uint8_t got = untouched;
        switch (random() % 7) {
        case 0:
            EXPECT_EQ(set_pwr_button(1), 0);
            model.press();
            break;
        case 1:
            EXPECT_EQ(set_pwr_button(0), 0);
            model.release();
            break;
        case 2:
            EXPECT_EQ(set_power_button_lock(static_cast<uint8_t>(1 + random() % 255)), 0);
            model.reg &= 0xEF;
            break;
        case 3:
            EXPECT_EQ(set_power_button_lock(0), 0);
            model.reg |= 0x10;
            break;
        case 4:
            EXPECT_EQ(get_pwr_button(&got), 0);
            EXPECT_EQ(got, model.reg >> 7);
            break;
        case 5:
            EXPECT_EQ(get_power_button_lock_state(&got), 0);
            EXPECT_EQ(got, (model.reg & 0x10) == 0 ? 1 : 0);
            break;
        default: // the CPLD latches something beside it
            model.reg = static_cast<uint8_t>((model.reg & 0x90) | (random() & 0x6F));
            set_reg(CPLD_REG_POWER_BUTTON, model.reg);
        }
        ASSERT_EQ(reg(CPLD_REG_POWER_BUTTON), model.reg) << "after step " << i;
        ASSERT_EQ(g_SHOULD_LOCK, model.should_lock ? 1 : 0) << "after step " << i;
        ASSERT_EQ(board.clock.now_us() - begin_us, model.slept_us) << "after step " << i;
    }
    EXPECT_EQ(output(), "");
}

// ---- single bits, read ----

struct BitGetter {
    const char *name;
    int (*get)(uint8_t *);
    uint32_t offset;
    uint8_t mask;
    uint8_t when_set;
    uint8_t when_clear;
    const char *null_text; // null: the pointer is not checked
    int null_result;
};

// get_something(selector, out) as a getter of one selector.
template <int (*Get)(uint32_t, uint8_t *), uint32_t Selector> int selected(uint8_t *val)
{
    return Get(Selector, val);
}

constexpr BitGetter bit_getters[] = {
    {"button", get_pwr_button, 0x83, 0x80, 1, 0, "get_pwr_button val is a invalid parameter\n", -2},
    {"button lock", get_power_button_lock_state, 0x83, 0x10, 0, 1, nullptr, 0},
    {"power event 0", selected<get_power_event, 0>, 0x83, 0x20, 1, 0,
     "get_power_event val pointer is null\n", -1},
    {"power event 1", selected<get_power_event, 1>, 0x98, 0x80, 1, 0,
     "get_power_event val pointer is null\n", -1},
    {"power event 2", selected<get_power_event, 2>, 0x83, 0x04, 1, 0,
     "get_power_event val pointer is null\n", -1},
    {"button event 0", selected<get_button_event, 0>, 0x83, 0x40, 1, 0,
     "get_button_event:val pointer is null\n", -1},
    {"button event 1", selected<get_button_event, 1>, 0xE0, 0x80, 1, 0,
     "get_button_event:val pointer is null\n", -1},
    {"power before AC loss", get_power_before_ac_lost, 0x98, 0x01, 1, 0,
     "get_power_before_ac_lost val pointer is null\n", -1},
    {"chipset", selected<get_chipset_status, 0>, 0x84, 0x80, 1, 0,
     "get_chipset_status val pointer is null\n", -1},
    {"power", selected<get_power_status, 0>, 0x85, 0x10, 1, 0,
     "get_power_status val pointer is null\n", -1},
    {"ACPI", get_acpi_status, 0x85, 0x10, 0, 4, "get_acpi_status val pointer is null\n", -1},
    {"ACPI S4", get_acpi_S4_status, 0x85, 0x40, 1, 0, "get_system_reset_flag:val pointer is null\n",
     -1},
    {"reset flag", get_system_reset_flag, 0x83, 0x08, 1, 0,
     "get_system_reset_flag:val pointer is null\n", -1},
};

TEST_F(PowerTest, GettersReadTheirBitOfEveryRegisterValue)
{
    for (const BitGetter &row : bit_getters) {
        SCOPED_TRACE(row.name);
        for (unsigned value = 0; value < 256; ++value) {
            // All other registers hold the opposite.
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(row.offset, static_cast<uint8_t>(value));
            uint8_t got = untouched;
            EXPECT_EQ(row.get(&got), 0);
            EXPECT_EQ(got, (value & row.mask) != 0 ? row.when_set : row.when_clear);
        }
    }
    EXPECT_EQ(board.trace.of(Operation::store).size(), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(PowerTest, GettersLoadOnceUnderTheLock)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single loads are not seen on this machine";
    }
    for (const BitGetter &row : bit_getters) {
        SCOPED_TRACE(row.name);
        char load[16];
        snprintf(load, sizeof(load), "load %02x", row.offset);
        clear_trace();
        uint8_t got = 0;
        EXPECT_EQ(row.get(&got), 0);
        EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", load, "unlock cpld_reg_lock"}));
    }
}

TEST_F(PowerTest, GettersRefuseNull)
{
    for (const BitGetter &row : bit_getters) {
        if (row.null_text == nullptr) {
            continue;
        }
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.get(nullptr), row.null_result);
        EXPECT_EQ(output(), row.null_text);
    }
    EXPECT_EQ(accesses(), 0U);
}

TEST_F(PowerTest, GettersRefuseUnknownSelectorsUnderTheLock)
{
    struct Getter {
        const char *name;
        int (*get)(uint32_t, uint8_t *);
        uint32_t first_unknown;
    };
    static constexpr Getter getters[] = {
        {"power event", get_power_event, 3},
        {"button event", get_button_event, 2},
        {"chipset", get_chipset_status, 1},
        {"power", get_power_status, 1},
    };
    for (const Getter &row : getters) {
        for (const uint32_t selector : {row.first_unknown, row.first_unknown + 1, 3U, 7U, 256U,
                                        257U, 0x80000000U, 0xFFFFFFFFU}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(selector));
            clear_trace();
            uint8_t got = untouched;
            EXPECT_EQ(row.get(selector, &got), -2);
            EXPECT_EQ(got, untouched);
            expect_locked_for_nothing();
        }
    }
    EXPECT_EQ(output(), "");
}

// ---- single bits, written ----

struct BitSetter {
    const char *name;
    int (*set)(uint8_t);
    uint32_t offset;
    uint8_t mask;
    Takes takes;
    const char *refusal; // of values above 1, where they are refused
    int refused_result;
};

constexpr BitSetter bit_setters[] = {
    {"button lock", set_power_button_lock, 0x83, 0x10, Takes::zero, nullptr, 0},
    {"power event 0", [](uint8_t val) { return set_power_event(0, val); }, 0x83, 0x20, Takes::bit_0,
     nullptr, 0},
    {"button event 0", [](uint8_t val) { return set_button_event(0, val); }, 0x83, 0x40,
     Takes::bit_0, nullptr, 0},
    {"button event 1", [](uint8_t val) { return set_button_event(1, val); }, 0xE0, 0x80,
     Takes::bit_0, nullptr, 0},
    {"power before AC loss", clear_power_before_ac_lost, 0x98, 0x01, Takes::non_zero, nullptr, 0},
    {"reset flag", set_system_reset_flag, 0x83, 0x08, Takes::one_bit,
     "set_system_reset_flag:val pointer is null\n", -1},
    {"NMI", set_NMI_interrupt, 0x84, 0x20, Takes::one_bit, "val is a invalid parameter\n", -1},
};

bool writes_one(Takes takes, uint8_t value)
{
    switch (takes) {
    case Takes::bit_0:
        return (value & 1) != 0;
    case Takes::non_zero:
        return value != 0;
    case Takes::zero:
        return value == 0;
    case Takes::one_bit:
        return value == 1;
    }
    return false;
}

TEST_F(PowerTest, SettersWriteTheirBitAndKeepTheOthers)
{
    for (const BitSetter &row : bit_setters) {
        for (const uint8_t pattern : patterns) {
            fill_registers(pattern);
            Bytes expected = registers();
            for (unsigned value = 0; value < 256; ++value) {
                SCOPED_TRACE(std::string(row.name) + " " + std::to_string(value));
                const auto byte = static_cast<uint8_t>(value);
                set_reg(row.offset, pattern);
                if (row.takes == Takes::one_bit && value > 1) {
                    expected[row.offset] = pattern;
                    EXPECT_EQ(row.set(byte), row.refused_result);
                    EXPECT_EQ(output(), row.refusal);
                } else {
                    expected[row.offset] = with_bit(pattern, row.mask, writes_one(row.takes, byte));
                    EXPECT_EQ(row.set(byte), 0);
                    EXPECT_EQ(output(), "");
                }
                ASSERT_EQ(registers(), expected);
            }
        }
    }
}

TEST_F(PowerTest, SettersStoreOnceUnderTheLock)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    for (const BitSetter &row : bit_setters) {
        for (const uint8_t value : Bytes{0, 1}) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(value));
            set_reg(row.offset, 0xA5);
            char access[16];
            snprintf(access, sizeof(access), "%02x=%02x", row.offset,
                     with_bit(0xA5, row.mask, writes_one(row.takes, value)));
            clear_trace();
            EXPECT_EQ(row.set(value), 0);
            EXPECT_EQ(steps_without_loads(),
                      (Names{"lock cpld_reg_lock", std::string("store ") + access,
                             "unlock cpld_reg_lock"}));
        }
    }
}

TEST_F(PowerTest, SettersRefuseUnknownSelectorsUnderTheLock)
{
    fill_registers(0xA5);
    const Bytes before = registers();
    for (const uint32_t selector : {1U, 2U, 3U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(selector);
        clear_trace();
        EXPECT_EQ(set_power_event(selector, 1), -2);
        expect_locked_for_nothing();
    }
    for (const int32_t selector : {2, 3, 256, -1, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(selector);
        clear_trace();
        EXPECT_EQ(set_button_event(selector, 1), -2);
        expect_locked_for_nothing();
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

TEST_F(PowerTest, ClearCmosSetsItsBit)
{
    for (const uint8_t pattern : patterns) {
        SCOPED_TRACE(pattern);
        fill_registers(pattern);
        Bytes expected = registers();
        expected[0x84] = pattern | 0x40;
        clear_trace();
        EXPECT_EQ(clear_cmos_reg(), 0);
        EXPECT_EQ(registers(), expected);
        EXPECT_EQ(board.trace.of(Operation::lock).size(), 1U);
    }
    EXPECT_EQ(output(), "");
}

// ---- NMI ----

TEST_F(PowerTest, NmiIsReadBackAfterTheLock)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single accesses are not seen on this machine";
    }
    set_reg(0x84, 0x85);
    EXPECT_EQ(set_NMI_interrupt(1), 0);
    EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", "load 84", "store 84=a5",
                              "unlock cpld_reg_lock", "load 84"}));
    clear_trace();
    EXPECT_EQ(set_NMI_interrupt(0), 0);
    EXPECT_EQ(steps(), (Names{"lock cpld_reg_lock", "load 84", "store 84=85",
                              "unlock cpld_reg_lock", "load 84"}));
}

TEST_F(PowerTest, NmiThatDoesNotTakeItsLevelFails)
{
    for (const uint8_t stuck_at : Bytes{0, 1}) {
        board.cpld().stick(0x84, 0x20, stuck_at == 1 ? 0x20 : 0);
        for (const uint8_t value : Bytes{0, 1}) {
            SCOPED_TRACE(std::to_string(value) + " at " + std::to_string(stuck_at));
            EXPECT_EQ(set_NMI_interrupt(value), value == stuck_at ? 0 : -1);
        }
    }
    EXPECT_EQ(output(), "");
}

// ---- component resets ----

struct ResetLine {
    int32_t component;
    uint32_t offset;
    uint8_t mask;
};

constexpr ResetLine reset_lines[] = {
    {0, 0x83, 0x01},  {1, 0x86, 0x04},  {3, 0xEC, 0x80},  {4, 0xEC, 0x40},
    {5, 0xCD, 0x02},  {8, 0xCD, 0x10},  {9, 0xCD, 0x20},  {10, 0xCD, 0x80},
    {12, 0xCD, 0x40}, {13, 0xCD, 0x08}, {14, 0xCD, 0x01}, {20, 0xEC, 0x20},
};

const ResetLine *find_reset_line(int32_t component)
{
    for (const ResetLine &line : reset_lines) {
        if (line.component == component) {
            return &line;
        }
    }
    return nullptr;
}

std::vector<int32_t> components()
{
    std::vector<int32_t> all = {22, 127, 128, 255, 256, 260, 276, 65536, INT_MAX, INT_MIN, -256};
    for (int32_t component = -1; component <= 21; ++component) {
        all.push_back(component);
    }
    return all;
}

TEST_F(PowerTest, ComponentResetsDriveTheirLineAndNoOther)
{
    for (const int32_t component : components()) {
        const ResetLine *line = find_reset_line(component);
        for (const uint8_t pattern : patterns) {
            for (const uint8_t value : Bytes{1, 0}) {
                SCOPED_TRACE(std::to_string(component) + "=" + std::to_string(value));
                fill_registers(pattern);
                Bytes expected = registers();
                clear_trace();
                if (line != nullptr) {
                    expected[line->offset] = with_bit(pattern, line->mask, value == 1);
                    EXPECT_EQ(set_component_reset(component, value), 0);
                    EXPECT_EQ(board.trace.of(Operation::lock).size(), 1U);
                } else {
                    EXPECT_EQ(set_component_reset(component, value), -2);
                    expect_locked_for_nothing();
                }
                EXPECT_EQ(registers(), expected);
            }
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PowerTest, ComponentResetsStoreOnceUnderTheLock)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    for (const ResetLine &line : reset_lines) {
        SCOPED_TRACE(line.component);
        set_reg(line.offset, 0x00);
        char store[20];
        snprintf(store, sizeof(store), "store %02x=%02x", line.offset, line.mask);
        clear_trace();
        EXPECT_EQ(set_component_reset(line.component, 1), 0);
        EXPECT_EQ(steps_without_loads(),
                  (Names{"lock cpld_reg_lock", store, "unlock cpld_reg_lock"}));
    }
}

TEST_F(PowerTest, ComponentResetsRefuseOtherValuesWithAMessage)
{
    fill_registers(0xA5);
    const Bytes before = registers();
    for (const int32_t component : components()) {
        for (const uint8_t value : Bytes{2, 3, 128, 255}) {
            SCOPED_TRACE(std::to_string(component) + "=" + std::to_string(value));
            EXPECT_EQ(set_component_reset(component, value), -2);
            EXPECT_EQ(output(), "val is a invalid parameter\n");
        }
    }
    EXPECT_EQ(registers(), before);
}

// ---- fixed answers ----

TEST_F(PowerTest, HandleSwitchIsNeverOpen)
{
    for (const uint32_t ignored : {0U, 1U, 0xFFFFFFFFU}) {
        uint8_t got = untouched;
        EXPECT_EQ(get_handle_switch_status(ignored, ~ignored, &got), 0);
        EXPECT_EQ(got, 0);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(get_handle_switch_status(ignored, ~ignored, nullptr), 2);
        EXPECT_EQ(output(), "get_handle_switch_status is invalid argument\r\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(PowerTest, OnboardPowerIsAlwaysGood)
{
    for (const uint32_t ignored : {0U, 1U, 0xFFFFFFFFU}) {
        uint8_t got = untouched;
        EXPECT_EQ(get_onboard_power_status(ignored, &got), 0);
        EXPECT_EQ(got, 1);
    }
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(PowerTest, WhatIsNotFittedAnswersAConstantAndTouchesNothing)
{
    fill_registers(0xA5);
    const Bytes before = registers();
    clear_trace();
    uint8_t byte = untouched;
    uint32_t word = 0xE7E7E7E7;
    EXPECT_EQ(clear_ioh_thermaltrip(), 0);
    for (const uint32_t number : {0U, 1U, 5U, 0xFFFFFFFFU}) {
        EXPECT_EQ(get_mch_status(number, &byte), 0);
        EXPECT_EQ(get_fan_speed(number, &word), 0);
        EXPECT_EQ(set_fan_speed(number, 100), 0);
        EXPECT_EQ(get_fan_current_speed(number, &word), 0);
        EXPECT_EQ(get_desire_fan_speed(number, &word), 0);
        EXPECT_EQ(get_fan_status(number, number, &byte), 0);
        EXPECT_EQ(get_fan_power_statistic(number, &word), -2);
    }
    EXPECT_EQ(get_mch_status(0, nullptr), 0);
    EXPECT_EQ(get_fan_speed(0, nullptr), 0);
    EXPECT_EQ(get_fan_current_speed(0, nullptr), 0);
    EXPECT_EQ(get_desire_fan_speed(0, nullptr), 0);
    EXPECT_EQ(get_fan_status(0, 0, nullptr), 0);
    EXPECT_EQ(get_fan_power_statistic(0, nullptr), -2);
    EXPECT_EQ(byte, untouched);
    EXPECT_EQ(word, 0xE7E7E7E7);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
