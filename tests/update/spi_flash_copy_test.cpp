// Copies to the BIOS flash.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "tests/update/heap_watch.h"
#include "tests/update/update_test.h"

namespace board_test {
namespace {

constexpr const char *device = "/dev/mtd6";
constexpr uint8_t only_stage = 0x01; // the first copy of an update of one stage

class SpiFlashCopyTest : public UpdateTest {
protected:
    void SetUp() override
    {
        UpdateTest::SetUp();
        give_bios_flash_to_controller();
        before_ = flash();
    }
    const Bytes &flash() { return board.bios_flash().contents(); }
    // The flash with the bytes at the offset and their blocks erased.
    Bytes with(uint32_t offset, const Bytes &bytes)
    {
        Bytes all = before_;
        const size_t erased = (bytes.size() + erase_size - 1) / erase_size * erase_size;
        std::fill_n(all.begin() + offset, erased, uint8_t{0xFF});
        std::copy(bytes.begin(), bytes.end(), all.begin() + offset);
        return all;
    }

    Bytes before_;
};

TEST_F(SpiFlashCopyTest, RunsItsStepsInOrder)
{
    const Bytes image = pattern(20000);
    put_image(image);
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0x2000, board_image, 100, 12000, only_stage, 1), 0);
    EXPECT_EQ(timeline(), (Names{"lock bios_flash_lock",
                                 "open mtd6",
                                 "ioctl mtd6 80204d01",
                                 "open image",
                                 "print Erasing blocks: 0/3 (0%)",
                                 "sleep 10",
                                 "print \rErasing blocks: 1/3 (33%)",
                                 "status 13/1",
                                 "ioctl mtd6 40084d02",
                                 "sleep 10",
                                 "print \rErasing blocks: 2/3 (66%)",
                                 "status 26/1",
                                 "ioctl mtd6 40084d02",
                                 "sleep 10",
                                 "print \rErasing blocks: 3/3 (100%)",
                                 "status 40/1",
                                 "ioctl mtd6 40084d02",
                                 "print \rErasing blocks: 3/3 (100%)\n",
                                 "seek image 64",
                                 "seek mtd6 2000",
                                 "print Writing data: 0k/11k (0%)",
                                 "sleep 10",
                                 "print \rWriting data: 10k/11k (85%)",
                                 "status 74/1",
                                 "read image 64",
                                 "write mtd6 2000",
                                 "sleep 10",
                                 "print \rWriting data: 11k/11k (100%)",
                                 "status 80/1",
                                 "read image 2864",
                                 "write mtd6 4800",
                                 "print \rWriting data: 11k/11k (100%)\n",
                                 "seek image 64",
                                 "seek mtd6 2000",
                                 "print Verifying data: 0k/11k (0%)",
                                 "sleep 10",
                                 "print \rVerifying data: 10k/11k (85%)",
                                 "status 97/1",
                                 "read image 64",
                                 "read mtd6 2000",
                                 "sleep 10",
                                 "print \rVerifying data: 11k/11k (100%)",
                                 "status 100/1",
                                 "read image 2864",
                                 "read mtd6 4800",
                                 "print \rVerifying data: 11k/11k (100%)\n",
                                 "close mtd6",
                                 "close image",
                                 "unlock bios_flash_lock"}));
    EXPECT_EQ(flash(), with(0x2000, Bytes(image.begin() + 100, image.begin() + 12100)));
    EXPECT_TRUE(controller_owns_bios_flash());
    EXPECT_TRUE(bios_driver_loaded());
}

TEST_F(SpiFlashCopyTest, ErasesFromItsPlaceOnTheFlash)
{
    const std::string name = file("image", pattern(5000));
    EXPECT_EQ(spi_flash_copy(device, 0x3000, name.c_str(), 0, 5000, only_stage, 1), 0);
    for (uint32_t block = 0; block < 16; ++block) {
        EXPECT_EQ(board.bios_flash().wear(block), block == 3 || block == 4 ? 1U : 0U) << block;
    }
}

TEST_F(SpiFlashCopyTest, CopiesEverySize)
{
    for (const int32_t size : {1, 4096, 4097, 10239, 10240, 10241, 20480, 65536}) {
        SCOPED_TRACE(size);
        const Bytes image = pattern(static_cast<size_t>(size), 3);
        const std::string name = file("image", image);
        board.bios_flash().put(0, before_);
        watch();
        EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, size, only_stage, 1), 0);
        EXPECT_EQ(output(), copy_lines(static_cast<uint32_t>(size)));
        EXPECT_EQ(flash(), with(0, image));
    }
}

TEST_F(SpiFlashCopyTest, NoBytesNeedNoFiles)
{
    watch();
    EXPECT_EQ(spi_flash_copy("/dev/mtd9", 7, "/no/such/image", 5, 0, only_stage, 1), 0);
    EXPECT_EQ(timeline(), (Names{"lock bios_flash_lock", "unlock bios_flash_lock"}));
}

// A copy of one block and one chunk publishes six points of its span, of which
// equal ones follow each other: 40 in the erase, 80 in the write, 100 in the
// verify.
struct Span {
    uint8_t stage;
    uint8_t weight;
    uint32_t points[3];
};

void PrintTo(const Span &span, std::ostream *stream)
{
    *stream << unsigned{span.stage} << "_of_weight_" << unsigned{span.weight};
}

class SpanTest : public SpiFlashCopyTest, public ::testing::WithParamInterface<Span> {};

TEST_P(SpanTest, IsWhereStageAndWeightPutIt)
{
    const Span &span = GetParam();
    const std::string name = file("image", pattern(1000));
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, 1000, span.stage, span.weight), 0);
    std::vector<Status> expected;
    for (const uint32_t point : span.points) {
        if (expected.empty() || expected.back() != Status(point, 1)) {
            expected.emplace_back(point, 1);
        }
    }
    EXPECT_EQ(statuses(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Spans, SpanTest,
    ::testing::Values(
        // One stage, named or not: a share of 100 is added only if it is named.
        Span{0x01, 1, {40, 80, 100}}, Span{0x11, 1, {140, 180, 200}},
        // The first and the second copy of two.
        Span{0x01, 2, {20, 40, 50}}, Span{0x02, 2, {70, 90, 100}},
        // Two stages: the share of one comes before the BIOS step.
        Span{0x21, 1, {70, 90, 100}}, Span{0x21, 2, {60, 70, 75}}, Span{0x22, 2, {85, 95, 100}},
        // Three: share 33, divisor 3.
        Span{0x31, 1, {46, 59, 66}},
        // Eleven copies of fifteen stages: share 6, divisor 165.
        Span{0xFB, 11, {12, 12, 12}},
        // Bytes wrap: number 15 of one copy is 1400, and with a share of 100 1500.
        Span{0x0F, 1, {1400 % 256 + 40, 1400 % 256 + 80, 1400 % 256 + 100}},
        Span{0x1F, 1, {1500 % 256 + 40, 1500 % 256 + 80, 1500 % 256 + 100}},
        // Number 0 is -100 / divisor.
        Span{0x00, 1, {156 + 40, 156 + 80, 156 + 100}}, Span{0x20, 1, {0 + 20, 0 + 40, 0 + 50}},
        // A divisor of 2 * 129 is one of 2.
        Span{0x21, 129, {70, 90, 100}}));

TEST_F(SpiFlashCopyTest, CopyWithoutASpanIsRefused)
{
    const std::string name = file("image", pattern(1000));
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, 1000, only_stage, 0), -2);
    EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, 1000, 0x21, 128), -2);
    EXPECT_EQ(timeline(), Names{});
    EXPECT_EQ(flash(), before_);
}

// A region of an image of 1000 bytes that is refused. Checked in this order.
struct Region {
    uint32_t flash_offset;
    uint32_t image_offset;
    int32_t length;
    const char *message;
};

void PrintTo(const Region &region, std::ostream *stream)
{
    *stream << region.length << "_from_" << region.image_offset << "_to_" << region.flash_offset;
}

class RefusedRegionTest : public SpiFlashCopyTest, public ::testing::WithParamInterface<Region> {};

TEST_P(RefusedRegionTest, LeavesTheFlash)
{
    const Region &region = GetParam();
    const std::string name = file("image", pattern(region.length > 1001 ? 70000 : 1000));
    watch();
    EXPECT_EQ(spi_flash_copy(device, region.flash_offset, name.c_str(), region.image_offset,
                             region.length, only_stage, 1),
              -2);
    EXPECT_EQ(output(), with_paths(region.message, device, name));
    EXPECT_EQ(status(), Status(0, 0));
    EXPECT_EQ(flash(), before_);
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", "open mtd6", "ioctl mtd6 80204d01",
                              "unlock bios_flash_lock", "close mtd6"}));
}

constexpr const char *too_small = "{image} too small!\n";
constexpr const char *too_large = "{image} won't fit into {device}!\n";

INSTANTIATE_TEST_SUITE_P(
    Regions, RefusedRegionTest,
    ::testing::Values(
        Region{0, 0, 1001, too_small}, Region{0, 1, 1000, too_small}, Region{1, 1001, 1, too_small},
        Region{1, 0, 65537, too_large}, Region{1, 0, -1, too_large}, Region{1, 2000, -1, too_small},
        Region{1, 0, 1000, "spi offset 1 won't fit erase 4096 the device {device}\r\n"},
        Region{0xFFF, 0, 1000, "spi offset 4095 won't fit erase 4096 the device {device}\r\n"},
        Region{0xFFFFFFFF, 0, 1000, "spi offset -1 won't fit erase 4096 the device {device}\r\n"}));

TEST_F(SpiFlashCopyTest, RegionBehindTheFlashFailsAtItsEraseBlock)
{
    const std::string name = file("image", pattern(5000));
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0xF000, name.c_str(), 0, 5000, only_stage, 1), -2);
    EXPECT_EQ(output(), "Erasing blocks: 0/2 (0%)\rErasing blocks: 1/2 (50%)"
                        "\rErasing blocks: 2/2 (100%)\n"
                        "While erasing blocks 0x00010000-0x00011000 on /dev/mtd6\n");
    EXPECT_EQ(status(), Status(40, 3));
}

TEST_F(SpiFlashCopyTest, FailedErasePublishesItBetweenUnlockAndClose)
{
    const std::string name = file("image", pattern(12000));
    board.faults.add(fault("mtd6", Operation::ioctl, Fault::Kind::error, EIO, 2));
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0x1000, name.c_str(), 0, 12000, 0x22, 2), -2);
    const Names all = timeline();
    EXPECT_EQ(Names(all.end() - 5, all.end()),
              (Names{"ioctl mtd6 40084d02",
                     "print \nWhile erasing blocks 0x00002000-0x00003000 on /dev/mtd6\n",
                     "unlock bios_flash_lock", "status 81/3", "close mtd6"}));
}

TEST_F(SpiFlashCopyTest, FlashOfTheHostIsNotReached)
{
    set_reg(CPLD_REG_BIOS_FLASH, 0);
    const std::string name = file("image", pattern(1000));
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, 1000, only_stage, 1), -2);
    EXPECT_EQ(status(), Status(40, 3));
    EXPECT_EQ(flash(), before_);
}

struct Trouble {
    const char *name;
    Fault fault;
    const char *message; // after the phases shown before
    int phases;          // written whole before
    Status status;
};

void PrintTo(const Trouble &trouble, std::ostream *stream)
{
    *stream << trouble.name;
}

class TroubledSpiFlashCopyTest : public SpiFlashCopyTest,
                                 public ::testing::WithParamInterface<Trouble> {};

// Copies one chunk to offset 0x1000.
TEST_P(TroubledSpiFlashCopyTest, FailsWithItsMessage)
{
    const Trouble &trouble = GetParam();
    put_image(pattern(2000));
    board.faults.add(trouble.fault);
    watch();
    EXPECT_EQ(spi_flash_copy(device, 0x1000, board_image, 50, 1500, only_stage, 1), -2);
    const std::string phases[] = {erase_lines(1), write_lines(1500)};
    std::string expected;
    for (int i = 0; i < trouble.phases; ++i) {
        expected += phases[i];
    }
    EXPECT_EQ(output(), expected + with_paths(trouble.message, device, board_image));
    EXPECT_EQ(status(), trouble.status);
    EXPECT_EQ(board.faults.faults()[0].hits, 1U);
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 3, all.end()),
              (Names{"unlock bios_flash_lock", "close mtd6", "close image"}));
}

constexpr auto fails = Fault::Kind::error;
constexpr const char *mismatch =
    "Verifying data: 0k/1k (0%)\rVerifying data: 1k/1k (100%)"
    "File does not seem to match flash data. First mismatch at 0x00000000-0x000005dc\n";

const Trouble troubles[] = {
    {"NoStatus",
     fault("image", Operation::status, fails, EIO),
     "While trying to get the file status of {image}\n",
     0,
     {0, 0}},
    {"ImageNotPositioned",
     fault("image", Operation::seek, fails, EIO),
     "While seeking to start of {image}\n",
     1,
     {40, 1}},
    {"FlashNotPositioned", fault("mtd6", Operation::seek, fails, EIO), "", 1, {40, 1}},
    {"ImageNotRead",
     fault("image", Operation::read, fails, EIO),
     "Writing data: 0k/1k (0%)\rWriting data: 1k/1k (100%)\nWhile reading data from {image}\n",
     1,
     {80, 1}},
    {"WriteFails",
     fault("mtd6", Operation::write, fails, EIO),
     "Writing data: 0k/1k (0%)\rWriting data: 1k/1k (100%)\n"
     "While writing data to 0x00000000-0x000005dc on {device}\n",
     1,
     {80, 1}},
    {"WriteFallsShort",
     fault("mtd6", Operation::write, Fault::Kind::short_count, 9),
     "Writing data: 0k/1k (0%)\rWriting data: 1k/1k (100%)\n"
     "Short write count returned while writing to x00000000-0x000005dc on {device}: 9/1500 bytes "
     "written to flash\n",
     1,
     {80, 1}},
    {"ImageNotPositionedAgain", fault("image", Operation::seek, fails, EIO, 1), "", 2, {80, 1}},
    {"FlashNotPositionedAgain", fault("mtd6", Operation::seek, fails, EIO, 1), "", 2, {80, 1}},
    {"FlashNotRead",
     fault("mtd6", Operation::read, fails, EIO),
     "Verifying data: 0k/1k (0%)\rVerifying data: 1k/1k (100%)\nWhile reading data from {device}\n",
     2,
     {100, 1}},
    {"WriteLies", fault("mtd6", Operation::write, Fault::Kind::lie), mismatch, 2, {100, 1}},
    {"BitFlips",
     fault("mtd6", Operation::write, Fault::Kind::bit_flip, 1500 * 8 - 1),
     mismatch,
     2,
     {100, 1}},
    {"EraseLies", fault("mtd6", Operation::ioctl, Fault::Kind::lie, 0, 1), mismatch, 2, {100, 1}},
};

INSTANTIATE_TEST_SUITE_P(Troubles, TroubledSpiFlashCopyTest, ::testing::ValuesIn(troubles),
                         [](const auto &test) { return test.param.name; });

TEST_F(SpiFlashCopyTest, SaysWhatDoesNotOpen)
{
    const std::string name = file("image", pattern(10));
    watch();
    EXPECT_EQ(spi_flash_copy("/dev/mtd9", 0, name.c_str(), 0, 10, only_stage, 1), -2);
    EXPECT_EQ(output(), "While trying to open /dev/mtd9 for read/write access\n");
    EXPECT_EQ(spi_flash_copy(device, 0, "/no/such/image", 0, 10, only_stage, 1), -2);
    EXPECT_EQ(output(), "While trying to open /no/such/image\n");
    EXPECT_EQ(spi_flash_copy("/dev/rtc", 0, name.c_str(), 0, 10, only_stage, 1), -2);
    EXPECT_EQ(output(), "This doesn't seem to be a valid MTD flash device!\n");
}

TEST_F(SpiFlashCopyTest, FailsWithoutMemory)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    const char *const messages[] = {"Malloc src mem fail!\n", "Malloc dest mem fail!\n"};
    // Even a copy of no bytes takes its buffers first.
    for (unsigned i = 0; i < 2; ++i) {
        watch_heap();
        fail_allocation(i);
        watch();
        EXPECT_EQ(spi_flash_copy(device, 0, "image", 0, 0, only_stage, 1), -2);
        EXPECT_EQ(timeline(), (Names{"lock bios_flash_lock", "unlock bios_flash_lock",
                                     std::string("print ") + messages[i]}));
        EXPECT_EQ(heap_bytes(), 0U);
    }
}

// The numbers that this operation keeps are its own, not those of the copies to
// the controller's flash.
TEST_F(SpiFlashCopyTest, StaleImageNumberIsClosedAgain)
{
    const std::string name = file("image", pattern(10));
    const int first = open("/dev/null", O_RDONLY);
    EXPECT_EQ(spi_flash_copy(device, 0, name.c_str(), 0, 10, only_stage, 1), 0);
    close(first);
    EXPECT_EQ(mtd_flash_copy("/dev/mtd0", name.c_str()), 0);

    // The spi copy's image had the number that is two above the first.
    const int numbers[] = {open("/dev/null", O_RDONLY), open("/dev/null", O_RDONLY),
                           open("/dev/null", O_RDONLY)};
    EXPECT_EQ(spi_flash_copy("/dev/mtd9", 0, name.c_str(), 0, 10, only_stage, 1), -2);
    EXPECT_NE(fcntl(numbers[0], F_GETFD), -1);
    EXPECT_NE(fcntl(numbers[1], F_GETFD), -1);
    EXPECT_EQ(fcntl(numbers[2], F_GETFD), -1);
    close(numbers[0]);
    close(numbers[1]);
}

} // namespace
} // namespace board_test
