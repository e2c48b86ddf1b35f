// The CPLD's registers: what programs can change, and who hears of it.

#include "virtual_board/cpld.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <utility>
#include <vector>

#include "board_hal_cpld.h"

namespace board_test {
namespace {

using virtual_board::Cpld;
using virtual_board::Mapping;
using virtual_board::OpenFile;

class CpldTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Mapping mapping;
        ASSERT_EQ(cpld.map(file, CPLD_WINDOW_SIZE, mapping), 0);
        EXPECT_TRUE(mapping.watched);
        void *mapped = ::mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED,
                              mapping.descriptor, 0);
        ASSERT_NE(mapped, MAP_FAILED);
        window = static_cast<volatile uint8_t *>(mapped);
    }

    void TearDown() override { ::munmap(const_cast<uint8_t *>(window), CPLD_WINDOW_SIZE); }

    // A program's store, as it reaches the model where stores are watched.
    void store(uint32_t offset, uint8_t value)
    {
        const uint8_t before = window[offset];
        window[offset] = value;
        cpld.stored(offset, before);
    }

    Cpld cpld;
    OpenFile file;
    volatile uint8_t *window = nullptr;
};

TEST_F(CpldTest, BothSidesSeeOneRegister)
{
    EXPECT_EQ(cpld.get(0x83), 0);
    cpld.set(0x83, 0x5A);
    EXPECT_EQ(window[0x83], 0x5A);
    store(0x83, 0xA5);
    EXPECT_EQ(cpld.get(0x83), 0xA5);
}

TEST_F(CpldTest, BitsAreSetAndClearedAlone)
{
    cpld.set(0x10, 0b10100000);
    cpld.set_bits(0x10, 0b00000011);
    EXPECT_EQ(window[0x10], 0b10100011);
    cpld.clear_bits(0x10, 0b10000001);
    EXPECT_EQ(window[0x10], 0b00100010);
}

TEST_F(CpldTest, IdentityIsReadOnlyToProgramsAlone)
{
    for (const uint32_t offset :
         {0x00U, 0x01U, 0x02U, 0x03U, 0x05U, 0x09U, 0x0AU, 0x0BU, 0x0CU, 0x0DU}) {
        SCOPED_TRACE(offset);
        cpld.set(offset, 0x3C);
        store(offset, 0xC3);
        EXPECT_EQ(window[offset], 0x3C);
    }
    store(CPLD_REG_TEST, 0xC3);
    EXPECT_EQ(window[CPLD_REG_TEST], 0xC3);
}

TEST_F(CpldTest, StuckBitsHoldTheirLevel)
{
    cpld.set(0x20, 0x0F);
    cpld.stick(0x20, 0b00010010, 0b00010000);
    EXPECT_EQ(window[0x20], 0b00011101);
    store(0x20, 0xFF);
    EXPECT_EQ(window[0x20], 0b11111101);
    store(0x20, 0x00);
    EXPECT_EQ(window[0x20], 0b00010000);
    cpld.unstick(0x20);
    store(0x20, 0x02);
    EXPECT_EQ(window[0x20], 0x02);
}

TEST_F(CpldTest, AReadOnlyRegisterIsItselfAgainOnceNoBitIsStuck)
{
    cpld.set(0x00, 0x10);
    cpld.stick(0x00, 0x01, 0x01);
    EXPECT_EQ(window[0x00], 0x11);
    cpld.unstick(0x00);
    cpld.set(0x00, 0x10);
    store(0x00, 0xFF);
    EXPECT_EQ(window[0x00], 0x10);
}

TEST_F(CpldTest, ObserversHearOfEachStoreAfterItsEffect)
{
    using Change = std::pair<int, int>;
    std::vector<Change> changes;
    cpld.set(0x30, 0x11);
    cpld.stick(0x30, 0x80, 0x80);
    cpld.on_store(0x30,
                  [&](uint8_t before, uint8_t after) { changes.emplace_back(before, after); });
    store(0x30, 0x22);
    store(0x30, 0xA2);
    store(0x31, 0x33);
    cpld.set(0x30, 0x44);
    EXPECT_EQ(changes, (std::vector<Change>{{0x91, 0xA2}, {0xA2, 0xA2}}));
}

TEST_F(CpldTest, UnwatchedStoresAreFoundOnce)
{
    using Found = std::pair<uint32_t, int>;
    std::vector<Found> found;
    const auto look = [&] {
        cpld.find_stores([&](uint32_t offset, uint8_t before) {
            found.emplace_back(offset, before);
            cpld.stored(offset, before);
        });
    };
    cpld.set(0x40, 0x01);
    window[0x40] = 0x02;
    window[0x00] = 0x77;  // read-only
    window[0x100] = 0x03; // behind the registers
    look();
    EXPECT_EQ(found, (std::vector<Found>{{0x00, 0x00}, {0x40, 0x01}, {0x100, 0x00}}));
    EXPECT_EQ(window[0x00], 0x00);
    EXPECT_EQ(window[0x40], 0x02);
    EXPECT_EQ(window[0x100], 0x03);
    found.clear();
    look();
    EXPECT_TRUE(found.empty());
}

TEST_F(CpldTest, NothingBeyondTheWindowCanBeMapped)
{
    Mapping mapping;
    EXPECT_EQ(cpld.map(file, CPLD_WINDOW_SIZE + 1, mapping), -EINVAL);
    EXPECT_EQ(cpld.map(file, 256, mapping), 0);
}

TEST_F(CpldTest, ItsNodeCannotBeReadOrWritten)
{
    uint8_t byte = 0;
    EXPECT_EQ(cpld.read(file, &byte, 1), -EINVAL);
    EXPECT_EQ(cpld.write(file, &byte, 1), -EINVAL);
}

} // namespace
} // namespace board_test
