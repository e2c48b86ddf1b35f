// Exported data: what applications find in it before they call anything.

#include <string.h>

#include "board_hal.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

template <typename Type, size_t N> std::vector<uint8_t> bytes_of(const Type (&object)[N])
{
    std::vector<uint8_t> bytes(sizeof(object));
    memcpy(bytes.data(), object, bytes.size());
    return bytes;
}

TEST(DataTest, EverythingIsClearAtLoad)
{
    EXPECT_EQ(g_cpld_base_addr, nullptr);
    EXPECT_EQ(product_id, 0);
    EXPECT_EQ(chassis_id, 0);
    EXPECT_EQ(dev_handle, 0);
    EXPECT_EQ(dev_handle_i2c, 0);
    EXPECT_EQ(dev_handle_rtc, 0);
    EXPECT_EQ(dev_handle_adc, 0);
    EXPECT_EQ(serial_handle[0], 0);
    EXPECT_EQ(g_exbomid, 0U);
    EXPECT_EQ(g_SHOULD_LOCK, 0);
    EXPECT_EQ(g_caterr_flag, 0);
    EXPECT_EQ(g_cpu_mce_flag, 0);
    EXPECT_EQ(g_ucserial_direction, 0);
}

TEST(DataTest, RiserNumbers)
{
    EXPECT_EQ(g_slot_of_pcie_riser, 2U);
    EXPECT_EQ(g_pcie_riser_fru_id, 5U);
}

TEST(DataTest, SizesAreTheInterfaces)
{
    for (const size_t size : {sizeof(dev_handle), sizeof(dev_handle_i2c), sizeof(dev_handle_rtc),
                              sizeof(dev_handle_adc), sizeof(serial_handle), sizeof(g_exbomid),
                              sizeof(g_slot_of_pcie_riser), sizeof(g_pcie_riser_fru_id),
                              sizeof(g_pcieBDFsize_forBrava), sizeof(g_pcieBDFsize_forCorvo)}) {
        EXPECT_EQ(size, 4U);
    }
    for (const size_t size :
         {sizeof(product_id), sizeof(chassis_id), sizeof(g_SHOULD_LOCK), sizeof(g_caterr_flag),
          sizeof(g_cpu_mce_flag), sizeof(g_ucserial_direction)}) {
        EXPECT_EQ(size, 1U);
    }
    EXPECT_EQ(sizeof(g_cpld_base_addr), sizeof(void *));
}

TEST(DataTest, VerdictsAreArraysOf23Bytes)
{
    static constexpr char pass[] = "[  \033[0;32mPass\033[0m   ]";
    static constexpr char fail[] = "[  \033[0;31mFail\033[0m   ]";
    ASSERT_EQ(sizeof(c_str_Pass), 23U);
    ASSERT_EQ(sizeof(c_str_Fail), 23U);
    EXPECT_EQ(bytes_of(c_str_Pass), bytes_of(pass));
    EXPECT_EQ(bytes_of(c_str_Fail), bytes_of(fail));
}

// Rows of eight words: two reserved, slot, bus, device, function, link, type.

TEST(DataTest, PcieSlotsOfTheBrava)
{
    static constexpr uint32_t rows[][8] = {
        {0, 0, 1, 0x80, 1, 0, 2, 0},
        {0, 0, 0, 0x00, 3, 2, 1, 1},
        {0, 0, 0, 0x00, 2, 3, 1, 2},
    };
    EXPECT_EQ(g_pcieBDFsize_forBrava, 3);
    EXPECT_EQ(bytes_of(g_pcieBDF_forBrava), bytes_of(rows));
}

TEST(DataTest, PcieSlotsOfTheCorvo)
{
    static constexpr uint32_t rows[][8] = {
        {0, 0, 1, 0x00, 2, 0, 1, 0},
        {0, 0, 2, 0x80, 1, 0, 2, 0},
        {0, 0, 0, 0x00, 3, 2, 1, 1},
        {0, 0, 0, 0x00, 2, 3, 1, 2},
    };
    EXPECT_EQ(g_pcieBDFsize_forCorvo, 4);
    EXPECT_EQ(bytes_of(g_pcieBDF_forCorvo), bytes_of(rows));
}

TEST(DataTest, ApplicationsMayWriteTheTables)
{
    for (pcie_bdf_slot *row : {&g_pcieBDF_forBrava[2], &g_pcieBDF_forCorvo[3]}) {
        row->bus = 0x17;
        EXPECT_EQ(row->bus, 0x17U);
    }
    for (int32_t *count : {&g_pcieBDFsize_forBrava, &g_pcieBDFsize_forCorvo}) {
        *count = 1;
        EXPECT_EQ(*count, 1);
    }
}

} // namespace
