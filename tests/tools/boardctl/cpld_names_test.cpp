#include "boardctl/families/cpld_names.h"

#include <board_hal_cpld.h>
#include <gtest/gtest.h>

namespace boardctl {

namespace {

TEST(CpldNames, FindPlaces)
{
    const struct {
        const char *word;
        uint8_t offset;
        uint8_t mask;
        const char *name;
    } cases[] = {
        {"POWER_STATE", CPLD_REG_POWER_STATE, 0xFF, "POWER_STATE"},
        {"cpld_reg_power_state", CPLD_REG_POWER_STATE, 0xFF, "POWER_STATE"},
        {"CPLD_VERSION", CPLD_REG_CPLD_VERSION, 0xFF, "CPLD_VERSION"},
        {"0x85", 0x85, 0xFF, "POWER_STATE"},
        {"133", 0x85, 0xFF, "POWER_STATE"},
        {"0x07", 0x07, 0xFF, "0x07"},
        {"POWER_STATE.POWER_GOOD", 0x85, 0x10, "POWER_STATE.POWER_GOOD"},
        {"0x85.CPLD_POWER_GOOD", 0x85, 0x10, "POWER_STATE.POWER_GOOD"},
        {"0x85.0x10", 0x85, 0x10, "POWER_STATE.POWER_GOOD"},
        {"0x85.0x11", 0x85, 0x11, "POWER_STATE.0x11"},
        {"power_good", 0x85, 0x10, "POWER_STATE.POWER_GOOD"},
        {"CPU1_STATUS.CPU_PRESENT", CPLD_REG_CPU1_STATUS, 0x80, "CPU1_STATUS.CPU_PRESENT"},
    };
    for (const auto &one : cases) {
        Place place;
        EXPECT_EQ(find_place(one.word, place), "") << one.word;
        EXPECT_EQ(place.offset, one.offset) << one.word;
        EXPECT_EQ(place.mask, one.mask) << one.word;
        EXPECT_EQ(place_name(place), one.name) << one.word;
    }
}

TEST(CpldNames, ComplainAboutOthers)
{
    const struct {
        const char *word;
        const char *complaint;
    } cases[] = {
        {"NOWHERE", "\"NOWHERE\" is no register and no bit; see boardctl cpld dump"},
        {"256", "\"256\" is no register and no bit; see boardctl cpld dump"},
        {"NOWHERE.POWER_GOOD", "\"NOWHERE\" is no register"},
        {"POWER_STATE.LED_5", "\"LED_5\" is no bit of POWER_STATE"},
        {"0x07.0", "\"0\" is no bit of 0x07"},
        {"CPU_PRESENT", "\"CPU_PRESENT\" is in several registers: say CPU0_STATUS.CPU_PRESENT or "
                        "CPU1_STATUS.CPU_PRESENT"},
    };
    for (const auto &one : cases) {
        Place place;
        EXPECT_EQ(find_place(one.word, place), one.complaint);
    }
}

TEST(CpldNames, FieldsMoveToBitZeroAndBack)
{
    const Place generation = {CPLD_REG_CPU0_STATUS, CPLD_CPU_GENERATION};
    EXPECT_EQ(generation.get(0xB8), 3);
    EXPECT_EQ(generation.put(0xB8, 5), 0xD8);
    EXPECT_EQ(generation.max(), 7);
    EXPECT_EQ(Place{0x06}.put(0x12, 0x34), 0x34);
}

TEST(CpldNames, BitsInWords)
{
    EXPECT_EQ(set_bits(CPLD_REG_CPU0_STATUS, 0xB1),
              "CPU_PRESENT, CPU_GENERATION=3, CPU_THERMAL_TRIP");
    EXPECT_EQ(set_bits(CPLD_REG_POWER_STATE, 0x90), "POWER_GOOD, bit 7");
    EXPECT_EQ(set_bits(CPLD_REG_TEST, 0xFF), "");
    EXPECT_EQ(changed_bits(CPLD_REG_CPU0_STATUS, 0xB0, 0x51),
              "CPU_PRESENT 1 -> 0, CPU_GENERATION 3 -> 5, CPU_THERMAL_TRIP 0 -> 1");
    EXPECT_EQ(changed_bits(CPLD_REG_POWER_STATE, 0x10, 0x10), "");
}

TEST(CpldNames, EveryNameIsFound)
{
    const std::vector<std::string> names = place_names();
    EXPECT_GT(names.size(), 100U);
    for (const std::string &name : names) {
        Place place;
        EXPECT_EQ(find_place(name, place), "") << name;
        EXPECT_EQ(place_name(place), name);
    }
}

} // namespace

} // namespace boardctl
