// Power that fails in the middle of an update, and the update after it.

#include <algorithm>

#include "tests/update/update_test.h"
#include "tools/bios_image/image.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;

using virtual_board::NorFlash;

constexpr uint32_t length = 12000;
constexpr uint32_t erased = 3 * erase_size;

class PowerCutTest : public UpdateTest {
protected:
    // What a chip holds after so many bytes of a copy to its start.
    static Bytes after(uint64_t bytes, Bytes contents, const Bytes &image)
    {
        const auto cleared = std::min<uint64_t>(bytes, erased);
        std::fill_n(contents.begin(), cleared, NorFlash::erased);
        std::copy_n(image.begin(), bytes - cleared, contents.begin());
        return contents;
    }
};

// Where the power fails: around every block and chunk, and within them.
const uint64_t cuts[] = {0,
                         1,
                         erase_size - 1,
                         erase_size,
                         erase_size + 1,
                         2 * erase_size + 77,
                         erased - 1,
                         erased,
                         erased + 1,
                         erased + 10239,
                         erased + 10240,
                         erased + 10241,
                         erased + length - 1};

TEST_F(PowerCutTest, CopyStopsWhereItIsAndTheNextOneSucceeds)
{
    const Bytes image = pattern(length);
    const std::string name = file("image", image);
    const Bytes before = board.flash().contents();
    for (const uint64_t cut : cuts) {
        SCOPED_TRACE(cut);
        board.flash().put(0, before);
        watch();
        board.flash().cut_power_after(cut);
        EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), -1);
        EXPECT_EQ(status().second, cut < erased ? 3U : 1U);
        EXPECT_LT(status().first, 100U);
        EXPECT_EQ(board.flash().contents(), after(cut, before, image));
        EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), -1) << "the chip is dead";
        board.flash().restore_power();
        EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), 0);
        EXPECT_EQ(status(), Status(100, 1));
        EXPECT_EQ(board.flash().contents(), after(erased + length, before, image));
    }
}

TEST_F(PowerCutTest, CutAfterTheLastByteIsFoundByTheVerify)
{
    const Bytes image = pattern(length);
    const std::string name = file("image", image);
    board.flash().cut_power_after(erased + length);
    EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), 0) << "nothing more to program";
    board.flash().restore_power();

    board.trace.listen([this](const Event &event) {
        if (event.operation == Operation::read && event.device == "mtd0") {
            uint8_t byte = 0;
            board.flash().cut_power_after(0);
            board.flash().program(0, &byte, 1);
        }
    });
    output();
    EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), -1);
    EXPECT_TRUE(output().ends_with("\nWhile reading data from /dev/mtd0\n"));
    board.flash().restore_power();
}

TEST_F(PowerCutTest, LoaderGivesTheFlashBackAndTheNextLoadSucceeds)
{
    Layout oem;
    oem.regions = {{0x3000, 0x1000}, {0x8000, 0x2000}};
    const Bytes image = build(oem, 2);
    const std::string name = file("image", image);
    const Bytes before = board.bios_flash().contents();
    for (const uint64_t cut : {0x800U, 0x1000U, 0x1800U, 0x2000U, 0x3123U, 0x5FFFU}) {
        SCOPED_TRACE(cut);
        board.bios_flash().put(0, before);
        board.bios_flash().cut_power_after(cut);
        EXPECT_EQ(load_bios("/dev/mtd6", name.c_str(), 0, partition_size, 0), -2);
        EXPECT_EQ(status(), Status(0, 3));
        EXPECT_FALSE(controller_owns_bios_flash());
        EXPECT_FALSE(bios_driver_loaded());
        board.bios_flash().restore_power();
        EXPECT_EQ(load_bios("/dev/mtd6", name.c_str(), 0, partition_size, 0), 0);
        Bytes expected = before;
        std::copy_n(image.begin() + 0x3000, 0x1000, expected.begin() + 0x3000);
        std::copy_n(image.begin() + 0x8000, 0x2000, expected.begin() + 0x8000);
        EXPECT_EQ(board.bios_flash().contents(), expected);
    }
}

// The chip's own time passes on the board's clock, the copy's pauses beside it.
TEST_F(PowerCutTest, CopyTakesTheChipsTime)
{
    const std::string name = file("image", pattern(length));
    board.flash().set_timing({.erase_block_us = 400000, .program_kib_us = 2000});
    const uint64_t start = board.clock.now_us();
    EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), 0);
    EXPECT_EQ(board.clock.now_us() - start, 3 * 400000U + 12 * 2000U + (3 + 2 + 2) * 10U);
}

} // namespace
} // namespace board_test
