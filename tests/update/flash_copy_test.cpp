// Copies of controller images to MTD partitions.

#include <fcntl.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "tests/update/heap_watch.h"
#include "tests/update/update_test.h"

namespace board_test {
namespace {

constexpr const char *device = "/dev/mtd0";

// Either operation, for what they share.
struct Copier {
    const char *name;
    int (*copy)(const char *device, const char *image, uint32_t length);
    const char *lead; // of the first erase line
};

void PrintTo(const Copier &copier, std::ostream *stream)
{
    *stream << copier.name;
}

int copy_whole(const char *to, const char *image, uint32_t)
{
    return mtd_flash_copy(to, image);
}

int copy_stretch(const char *to, const char *image, uint32_t length)
{
    return mtd_flash_copy_ex(to, image, 0, length);
}

class FlashCopyTest : public UpdateTest {
protected:
    using UpdateTest::UpdateTest;

    const Bytes &flash() { return board.flash().contents(); }
    // The partition after an image was copied to its start.
    static Bytes with_image(const Bytes &image)
    {
        Bytes bytes = pattern(2 * partition_size, 7);
        const size_t erased = (image.size() + erase_size - 1) / erase_size * erase_size;
        std::fill_n(bytes.begin(), erased, uint8_t{0xFF});
        std::copy(image.begin(), image.end(), bytes.begin());
        return bytes;
    }
};

class EitherCopyTest : public FlashCopyTest, public ::testing::WithParamInterface<Copier> {
protected:
    int copy(const char *to, const char *image, uint32_t length)
    {
        return GetParam().copy(to, image, length);
    }
};

TEST_F(FlashCopyTest, RunsItsStepsInOrder)
{
    const Bytes image = pattern(12000);
    const std::string name = file("image", image);
    watch();
    EXPECT_EQ(mtd_flash_copy(device, name.c_str()), 0);
    EXPECT_EQ(timeline(), (Names{"lock flash_copy_lock",
                                 "open mtd0",
                                 "ioctl mtd0 80204d01",
                                 "print Erasing blocks: 0/3 (0%)",
                                 "sleep 10",
                                 "print \rErasing blocks: 1/3 (33%)",
                                 "status 6/1",
                                 "ioctl mtd0 40084d02",
                                 "sleep 10",
                                 "print \rErasing blocks: 2/3 (66%)",
                                 "status 13/1",
                                 "ioctl mtd0 40084d02",
                                 "sleep 10",
                                 "print \rErasing blocks: 3/3 (100%)",
                                 "status 20/1",
                                 "ioctl mtd0 40084d02",
                                 "print \rErasing blocks: 3/3 (100%)\nWriting data: 0k/11k (0%)",
                                 "sleep 10",
                                 "print \rWriting data: 10k/11k (85%)",
                                 "status 62/1",
                                 "write mtd0 00",
                                 "sleep 10",
                                 "print \rWriting data: 11k/11k (100%)",
                                 "status 70/1",
                                 "write mtd0 2800",
                                 "print \rWriting data: 11k/11k (100%)\n",
                                 "seek mtd0 00",
                                 "print Verifying data: 0k/11k (0%)",
                                 "sleep 10",
                                 "print \rVerifying data: 10k/11k (85%)",
                                 "status 95/1",
                                 "read mtd0 00",
                                 "sleep 10",
                                 "print \rVerifying data: 11k/11k (100%)",
                                 "status 100/1",
                                 "read mtd0 2800",
                                 "print \rVerifying data: 11k/11k (100%)\n",
                                 "close mtd0",
                                 "unlock flash_copy_lock"}));
    EXPECT_EQ(flash(), with_image(image));
}

TEST_F(FlashCopyTest, StretchRunsItsStepsInOrder)
{
    put_image(pattern(9000));
    watch();
    EXPECT_EQ(mtd_flash_copy_ex(device, board_image, 3000, 5000), 0);
    EXPECT_EQ(timeline(), (Names{"lock flash_copy_lock",
                                 "open mtd0",
                                 "ioctl mtd0 80204d01",
                                 "open image",
                                 "print \rErasing blocks: 0/2 (0%)",
                                 "sleep 10",
                                 "print \rErasing blocks: 1/2 (50%)",
                                 "status 10/1",
                                 "ioctl mtd0 40084d02",
                                 "sleep 10",
                                 "print \rErasing blocks: 2/2 (100%)",
                                 "status 20/1",
                                 "ioctl mtd0 40084d02",
                                 "print \rErasing blocks: 2/2 (100%)\n",
                                 "seek image bb8",
                                 "print Writing data: 0k/4k (0%)",
                                 "sleep 10",
                                 "print \rWriting data: 4k/4k (100%)",
                                 "status 70/1",
                                 "read image bb8",
                                 "write mtd0 00",
                                 "print \rWriting data: 4k/4k (100%)\n",
                                 "seek image bb8",
                                 "seek mtd0 00",
                                 "print Verifying data: 0k/4k (0%)",
                                 "sleep 10",
                                 "print \rVerifying data: 4k/4k (100%)",
                                 "status 100/1",
                                 "read image bb8",
                                 "read mtd0 00",
                                 "print \rVerifying data: 4k/4k (100%)\n",
                                 "close mtd0",
                                 "close image",
                                 "unlock flash_copy_lock"}));
    const Bytes image = pattern(9000);
    EXPECT_EQ(flash(), with_image(Bytes(image.begin() + 3000, image.begin() + 8000)));
}

TEST_F(FlashCopyTest, WholeFileIsRewoundOnlyForTheVerify)
{
    put_image(pattern(100));
    EXPECT_EQ(mtd_flash_copy(device, board_image), 0);
    const auto seeks = board.trace.of(Operation::seek);
    ASSERT_EQ(seeks.size(), 2U);
    EXPECT_EQ(seeks[0].device, "image");
    EXPECT_EQ(seeks[1].device, "mtd0");
}

TEST_F(FlashCopyTest, OpensTheDeviceForSynchronousWriting)
{
    put_image(pattern(100));
    EXPECT_EQ(mtd_flash_copy(device, board_image), 0);
    const auto opens = board.trace.of(Operation::open);
    ASSERT_EQ(opens.size(), 2U);
    EXPECT_EQ(opens[0].address, static_cast<uint32_t>(O_RDWR | O_SYNC));
    EXPECT_EQ(opens[1].address, static_cast<uint32_t>(O_RDONLY));
}

TEST_F(FlashCopyTest, EmptyFileErasesAndWritesNothing)
{
    const std::string name = file("empty", {});
    watch();
    EXPECT_EQ(mtd_flash_copy(device, name.c_str()), 0);
    EXPECT_EQ(output(), "Erasing blocks: 0/0 (0%)\rErasing blocks: 0/0 (100%)\n"
                        "Writing data: 0k/0k (0%)\rWriting data: 0k/0k (100%)\n"
                        "Verifying data: 0k/0k (0%)\rVerifying data: 0k/0k (100%)\n");
    EXPECT_EQ(status(), Status(100, 1));
    EXPECT_EQ(flash(), pattern(2 * partition_size, 7));
    EXPECT_EQ(board.trace.count(Operation::write, "mtd0"), 0U);
}

TEST_P(EitherCopyTest, CopiesEverySize)
{
    const uint32_t sizes[] = {1,     1023,  4095,  4096,  4097,  10239,
                              10240, 10241, 20480, 20481, 65535, partition_size};
    for (const uint32_t size : sizes) {
        SCOPED_TRACE(size);
        board.flash().put(0, pattern(2 * partition_size, 7));
        const Bytes image = pattern(size, size);
        const std::string name = file("image", image);
        watch();
        EXPECT_EQ(copy(device, name.c_str(), size), 0);
        EXPECT_EQ(output(), copy_lines(size, GetParam().lead));
        EXPECT_EQ(flash(), with_image(image));
        EXPECT_EQ(status(), Status(100, 1));
    }
}

TEST_P(EitherCopyTest, ProgressNeverFallsBack)
{
    const std::string name = file("image", pattern(partition_size));
    watch();
    EXPECT_EQ(copy(device, name.c_str(), partition_size), 0);
    const std::vector<Status> seen = statuses();
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(seen.front(), Status(1, 1));
    EXPECT_EQ(seen.back(), Status(100, 1));
    EXPECT_TRUE(
        std::all_of(seen.begin(), seen.end(), [](const Status &each) { return each.second == 1; }));
}

TEST_F(FlashCopyTest, StretchOfTheFileGoesToTheStartOfTheFlash)
{
    const Bytes image = pattern(30000);
    const std::string name = file("image", image);
    const struct {
        uint32_t offset;
        uint32_t length;
    } stretches[] = {{0, 30000}, {1, 29999}, {29999, 1}, {10240, 10240}, {5, 12345}};
    for (const auto &each : stretches) {
        SCOPED_TRACE(each.offset);
        board.flash().put(0, pattern(2 * partition_size, 7));
        output();
        EXPECT_EQ(mtd_flash_copy_ex(device, name.c_str(), each.offset, each.length), 0);
        EXPECT_EQ(output(), copy_lines(each.length, "\r"));
        const auto first = image.begin() + each.offset;
        EXPECT_EQ(flash(), with_image(Bytes(first, first + each.length)));
    }
}

TEST_F(FlashCopyTest, StretchWithoutPathOrLengthIsRefusedAtOnce)
{
    watch();
    EXPECT_EQ(mtd_flash_copy_ex(nullptr, "image", 0, 1), -1);
    EXPECT_EQ(mtd_flash_copy_ex(device, nullptr, 0, 1), -1);
    EXPECT_EQ(mtd_flash_copy_ex(device, "image", 0, 0), -1);
    EXPECT_EQ(timeline(), Names{});
}

// Offset and length of a file of 1000 bytes, and what is said about them.
struct Stretch {
    uint32_t offset;
    uint32_t length;
    const char *message; // with the image's path; null for "won't fit"
};

void PrintTo(const Stretch &stretch, std::ostream *stream)
{
    *stream << stretch.length << "_at_" << stretch.offset;
}

class StretchTest : public FlashCopyTest, public ::testing::WithParamInterface<Stretch> {};

TEST_P(StretchTest, OutsideFileOrPartitionIsRefused)
{
    const std::string name = file("image", pattern(1000));
    watch();
    EXPECT_EQ(mtd_flash_copy_ex(device, name.c_str(), GetParam().offset, GetParam().length), -1);
    EXPECT_EQ(output(), GetParam().message != nullptr
                            ? text(GetParam().message, name.c_str())
                            : text("%s won't fit into %s!\n", name.c_str(), device));
    EXPECT_EQ(status(), Status(0, 0));
    EXPECT_EQ(flash(), pattern(2 * partition_size, 7));
}

constexpr const char *illegal = "%s offset illeagal!\n";

INSTANTIATE_TEST_SUITE_P(Stretches, StretchTest,
                         ::testing::Values(Stretch{0, 1001, illegal}, Stretch{1, 1000, illegal},
                                           Stretch{1000, 1, illegal}, Stretch{1001, 1, illegal},
                                           Stretch{0, 0x7FFFFFFF, illegal},
                                           // Signed: a length with its top bit set is below any
                                           // rest of a file, but fits nowhere.
                                           Stretch{0, 0x80000000, nullptr},
                                           Stretch{0, 0xFFFFFFFF, nullptr},
                                           Stretch{2000, 0xFFFFFC19, illegal}));

// Signed as well: an offset beyond 2 GiB makes the rest of the file large. The
// file cannot be positioned there.
TEST_F(FlashCopyTest, OffsetBeyondTwoGibibytesFailsAtTheSeek)
{
    const std::string name = file("image", pattern(1000));
    watch();
    EXPECT_EQ(mtd_flash_copy_ex(device, name.c_str(), 0x80000400, 500), -1);
    EXPECT_EQ(output(), erase_lines(1, "\r") + "While seeking to start of " + name + "\n");
    EXPECT_EQ(status(), Status(20, 1));
}

TEST_F(FlashCopyTest, StretchLargerThanThePartitionIsRefused)
{
    const std::string name = file("image", pattern(partition_size + 10));
    watch();
    EXPECT_EQ(mtd_flash_copy_ex(device, name.c_str(), 5, partition_size + 1), -1);
    EXPECT_EQ(output(), text("%s won't fit into %s!\n", name.c_str(), device));
    EXPECT_EQ(mtd_flash_copy_ex(device, name.c_str(), 5, partition_size), 0);
}

TEST_F(FlashCopyTest, FileLargerThanThePartitionIsRefused)
{
    const std::string name = file("image", pattern(partition_size + 1));
    watch();
    EXPECT_EQ(mtd_flash_copy(device, name.c_str()), -1);
    EXPECT_EQ(
        timeline(),
        (Names{"lock flash_copy_lock", "open mtd0", "ioctl mtd0 80204d01", "unlock flash_copy_lock",
               "close mtd0", "print " + text("%s won't fit into %s!\n", name.c_str(), device)}));
}

// A driver of 4 GiB partitions, one byte short of what 32 bits can say.
class HugeDevice : public virtual_board::Device {
public:
    explicit HugeDevice(uint32_t erase_size) : Device("huge"), erase_size_(erase_size) {}
    long ioctl(virtual_board::OpenFile &, uint32_t, void *argument) override
    {
        mtd_info_user info = {};
        info.size = 0xFFFFFFFF;
        info.erasesize = erase_size_;
        *static_cast<mtd_info_user *>(argument) = info;
        return 0;
    }

private:
    uint32_t erase_size_;
};

TEST_P(EitherCopyTest, DeviceWithoutEraseBlocksIsNone)
{
    board.attach("/dev/mtd7", std::make_shared<HugeDevice>(0));
    const std::string name = file("image", pattern(10));
    output();
    EXPECT_EQ(copy("/dev/mtd7", name.c_str(), 10), -1);
    EXPECT_EQ(output(), "This doesn't seem to be a valid MTD flash device!\n");
}

TEST_P(EitherCopyTest, SaysWhatDoesNotOpen)
{
    const std::string name = file("image", pattern(10));
    output();
    EXPECT_EQ(copy("/dev/mtd9", name.c_str(), 10), -1);
    EXPECT_EQ(output(), "While trying to open /dev/mtd9 for read/write access\n");
    EXPECT_EQ(copy(device, "/no/such/image", 10), -1);
    EXPECT_EQ(output(), "While trying to open /no/such/image\n");
    EXPECT_EQ(copy(path("").c_str(), name.c_str(), 10), -1);
    EXPECT_EQ(output(), "While trying to open " + path("") + " for read/write access\n");
    EXPECT_EQ(flash(), pattern(2 * partition_size, 7));
}

TEST_P(EitherCopyTest, SaysWhatIsNoFlash)
{
    const std::string name = file("image", pattern(10));
    const std::string other = file("other", pattern(10));
    watch();
    EXPECT_EQ(copy(other.c_str(), name.c_str(), 10), -1);
    EXPECT_EQ(copy("/dev/rtc", name.c_str(), 10), -1);
    EXPECT_EQ(output(), "This doesn't seem to be a valid MTD flash device!\n"
                        "This doesn't seem to be a valid MTD flash device!\n");
    EXPECT_EQ(status(), Status(0, 0));
}

// What goes wrong in the middle of a copy of 12000 bytes, and how it ends. The
// message names its paths.
struct Trouble {
    const char *name;
    Fault fault;
    const char *message;
    enum { before_erase, in_erase, before_write, in_write, before_verify, in_verify } when;
    uint32_t chunk; // chunks or blocks shown before
    Status status;
    bool stretch_is_silent = false;
};

void PrintTo(const Trouble &trouble, std::ostream *stream)
{
    *stream << trouble.name;
}

class TroubledCopyTest : public FlashCopyTest,
                         public ::testing::WithParamInterface<std::tuple<Trouble, Copier>> {
protected:
    // The output up to the trouble.
    static std::string shown(const Trouble &trouble, const char *lead)
    {
        const std::string all = copy_lines(12000, lead);
        const auto cut = [&](const char *line, uint32_t lines) {
            size_t end = all.find(line);
            for (uint32_t i = 0; i <= lines && end != std::string::npos; ++i) {
                end = all.find('\r', end + 1);
            }
            return all.substr(0, end);
        };
        switch (trouble.when) {
        case Trouble::before_erase:
            return "";
        case Trouble::in_erase:
            return cut("Erasing blocks: 0", trouble.chunk);
        case Trouble::before_write:
            return erase_lines(3, lead);
        case Trouble::in_write:
            return cut("Writing", trouble.chunk);
        case Trouble::before_verify:
            return erase_lines(3, lead) + write_lines(12000);
        default:
            return cut("Verifying", trouble.chunk);
        }
    }
};

TEST_P(TroubledCopyTest, FailsWithItsMessage)
{
    const auto &[trouble, copier] = GetParam();
    put_image(pattern(12000));
    board.faults.add(trouble.fault);
    watch();
    EXPECT_EQ(copier.copy(device, board_image, 12000), -1);
    const bool stretch = *copier.lead != '\0';
    const std::string message = stretch && trouble.stretch_is_silent
                                    ? ""
                                    : with_paths(trouble.message, device, board_image);
    EXPECT_EQ(output(), shown(trouble, copier.lead) + message);
    EXPECT_EQ(status(), trouble.status);
    EXPECT_EQ(board.faults.faults()[0].hits, 1U);
    // Unlocked first, then state 3 if it is published, then closed.
    const Names last = steps();
    const bool image_is_open =
        trouble.when != Trouble::before_erase || trouble.fault.operation == Operation::status;
    const Names expected = image_is_open
                               ? Names{"unlock flash_copy_lock", "close mtd0", "close image"}
                               : Names{"unlock flash_copy_lock", "close mtd0"};
    ASSERT_GT(last.size(), expected.size());
    EXPECT_EQ(Names(last.end() - static_cast<long>(expected.size()), last.end()), expected);
}

constexpr auto fails = Fault::Kind::error;
constexpr auto falls_short = Fault::Kind::short_count;

const Trouble troubles[] = {
    {"ImageDoesNotOpen",
     fault("image", Operation::open, fails, EACCES),
     "While trying to open {image}\n",
     Trouble::before_erase,
     0,
     {0, 0}},
    {"GeometryIsRefused",
     fault("mtd0", Operation::ioctl, fails, EIO),
     "This doesn't seem to be a valid MTD flash device!\n",
     Trouble::before_erase,
     0,
     {0, 0}},
    {"ImageHasNoStatus",
     fault("image", Operation::status, fails, EIO),
     "While trying to get the file status of {image}\n",
     Trouble::before_erase,
     0,
     {0, 0}},
    {"FirstEraseFails",
     fault("mtd0", Operation::ioctl, fails, EIO, 1),
     "\nWhile erasing blocks 0x00000000-0x00001000 on {device}\n",
     Trouble::in_erase,
     1,
     {6, 3}},
    {"LastEraseFails",
     fault("mtd0", Operation::ioctl, fails, EIO, 3),
     "\nWhile erasing blocks 0x00002000-0x00003000 on {device}\n",
     Trouble::in_erase,
     3,
     {20, 3}},
    {"ImageIsNotRead",
     fault("image", Operation::read, fails, EIO),
     "\nWhile reading data from {image}\n",
     Trouble::in_write,
     1,
     {62, 1}},
    {"ImageShrinks",
     fault("image", Operation::read, falls_short, 1759, 1),
     "\nShort read count returned while reading from {image}\n",
     Trouble::in_write,
     2,
     {70, 1}},
    {"ImageEnds",
     fault("image", Operation::read, falls_short, 0),
     "\nShort read count returned while reading from {image}\n",
     Trouble::in_write,
     1,
     {62, 1}},
    {"WriteFails",
     fault("mtd0", Operation::write, fails, EIO, 1),
     "\nWhile writing data to 0x00002800-0x00002ee0 on {device}\n",
     Trouble::in_write,
     2,
     {70, 1}},
    {"FirstWriteFallsShort",
     fault("mtd0", Operation::write, falls_short, 10239),
     "\nShort write count returned while writing to x00000000-0x00002800 on {device}: 10239/12000 "
     "bytes written to flash\n",
     Trouble::in_write,
     1,
     {62, 1}},
    {"WriteFallsShort",
     fault("mtd0", Operation::write, falls_short, 7, 1),
     "\nShort write count returned while writing to x00002800-0x00002ee0 on {device}: 10247/12000 "
     "bytes written to flash\n",
     Trouble::in_write,
     2,
     {70, 1}},
    {"DeviceGoesInTheWrite",
     fault("mtd0", Operation::write, Fault::Kind::vanish, 0, 1),
     "\nWhile writing data to 0x00002800-0x00002ee0 on {device}\n",
     Trouble::in_write,
     2,
     {70, 1}},
    {"DeviceIsNotRewound",
     fault("mtd0", Operation::seek, fails, EIO),
     "While seeking to start of {device}\n",
     Trouble::before_verify,
     0,
     {70, 1}},
    {"ImageIsNotReadAgain",
     fault("image", Operation::read, fails, EIO, 2),
     "\nWhile reading data from {image}\n",
     Trouble::in_verify,
     1,
     {95, 1}},
    {"FlashIsNotRead",
     fault("mtd0", Operation::read, fails, EIO),
     "\nWhile reading data from {device}\n",
     Trouble::in_verify,
     1,
     {95, 1}},
    {"FlashReadFallsShort",
     fault("mtd0", Operation::read, falls_short, 100, 1),
     "\nShort read count returned while reading from {device}\n",
     Trouble::in_verify,
     2,
     {100, 1}},
    {"WriteLies",
     fault("mtd0", Operation::write, Fault::Kind::lie, 0),
     "File does not seem to match flash data. First mismatch at 0x00000000-0x00002800\n",
     Trouble::in_verify,
     1,
     {95, 1}},
    {"LastWriteLies",
     fault("mtd0", Operation::write, Fault::Kind::lie, 0, 1),
     "File does not seem to match flash data. First mismatch at 0x00002800-0x00002ee0\n",
     Trouble::in_verify,
     2,
     {100, 1}},
    {"EraseLies",
     fault("mtd0", Operation::ioctl, Fault::Kind::lie, 0, 3),
     "File does not seem to match flash data. First mismatch at 0x00000000-0x00002800\n",
     Trouble::in_verify,
     1,
     {95, 1}},
    {"FirstBitFlips",
     fault("mtd0", Operation::write, Fault::Kind::bit_flip, 0),
     "File does not seem to match flash data. First mismatch at 0x00000000-0x00002800\n",
     Trouble::in_verify,
     1,
     {95, 1}},
    {"LastBitFlips",
     fault("mtd0", Operation::write, Fault::Kind::bit_flip, 1760 * 8 - 1, 1),
     "File does not seem to match flash data. First mismatch at 0x00002800-0x00002ee0\n",
     Trouble::in_verify,
     2,
     {100, 1}},
    {"ReadFlips",
     fault("mtd0", Operation::read, Fault::Kind::bit_flip, 10239 * 8),
     "File does not seem to match flash data. First mismatch at 0x00000000-0x00002800\n",
     Trouble::in_verify,
     1,
     {95, 1}},
};

const Copier copiers[] = {{"Whole", copy_whole, ""}, {"Stretch", copy_stretch, "\r"}};

INSTANTIATE_TEST_SUITE_P(Copies, EitherCopyTest, ::testing::ValuesIn(copiers),
                         [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Troubles, TroubledCopyTest,
                         ::testing::Combine(::testing::ValuesIn(troubles),
                                            ::testing::ValuesIn(copiers)),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) +
                                    std::get<1>(test.param).name;
                         });

// The two differ in how they position the image.
TEST_F(FlashCopyTest, ImageThatIsNotPositionedEndsTheCopy)
{
    put_image(pattern(100));
    board.faults.add(fault("image", Operation::seek, fails, EIO));
    watch();
    EXPECT_EQ(mtd_flash_copy(device, board_image), -1);
    EXPECT_EQ(output(),
              erase_lines(1) + write_lines(100) + "While seeking to start of /ko/image.bin\n");
    EXPECT_EQ(status(), Status(70, 1));

    board.faults.add(fault("image", Operation::seek, fails, EIO));
    EXPECT_EQ(mtd_flash_copy_ex(device, board_image, 0, 100), -1);
    EXPECT_EQ(output(), erase_lines(1, "\r") + "While seeking to start of /ko/image.bin\n");
    EXPECT_EQ(status(), Status(20, 1));

    board.faults.add(fault("image", Operation::seek, fails, EIO, 1));
    EXPECT_EQ(mtd_flash_copy_ex(device, board_image, 0, 100), -1);
    EXPECT_EQ(output(), erase_lines(1, "\r") + write_lines(100)) << "without a message";
    EXPECT_EQ(status(), Status(70, 1));
}

TEST_F(FlashCopyTest, FailedErasePublishesItBetweenUnlockAndClose)
{
    put_image(pattern(100));
    board.faults.add(fault("mtd0", Operation::ioctl, fails, EIO, 1));
    watch();
    EXPECT_EQ(mtd_flash_copy(device, board_image), -1);
    const Names all = timeline();
    EXPECT_EQ(Names(all.end() - 9, all.end()),
              (Names{"sleep 10", "print \rErasing blocks: 1/1 (100%)", "status 20/1",
                     "ioctl mtd0 40084d02",
                     "print \nWhile erasing blocks 0x00000000-0x00001000 on /dev/mtd0\n",
                     "unlock flash_copy_lock", "status 20/3", "close mtd0", "close image"}));
}

TEST_F(FlashCopyTest, CopyAfterAFailedOneSucceeds)
{
    const Bytes image = pattern(12000);
    put_image(image);
    board.faults.add(fault("mtd0", Operation::write, Fault::Kind::bit_flip, 5));
    EXPECT_EQ(mtd_flash_copy(device, board_image), -1);
    EXPECT_EQ(mtd_flash_copy(device, board_image), 0);
    EXPECT_EQ(flash(), with_image(image));
    EXPECT_EQ(board.flash().wear(0), 2U);
    EXPECT_EQ(board.flash().wear(3), 0U);
}

// The next copy closes the image number of the one before it if its device does
// not open, whoever owns the number by then.
TEST_P(EitherCopyTest, StaleImageNumberIsClosedAgain)
{
    const std::string name = file("image", pattern(10));
    const int device_number = open("/dev/null", O_RDONLY);
    const int image_number = open("/dev/null", O_RDONLY);
    close(device_number);
    close(image_number);
    EXPECT_EQ(copy(device, name.c_str(), 10), 0);

    const int lower = open("/dev/null", O_RDONLY);
    const int bystander = open("/dev/null", O_RDONLY);
    EXPECT_EQ(lower, device_number);
    EXPECT_EQ(bystander, image_number);
    EXPECT_EQ(copy("/dev/mtd9", name.c_str(), 10), -1);
    EXPECT_EQ(fcntl(bystander, F_GETFD), -1);
    EXPECT_NE(fcntl(lower, F_GETFD), -1) << "the device's own number is overwritten";
    close(lower);
}

TEST_P(EitherCopyTest, DescriptorZeroIsNeverClosed)
{
    const std::string name = file("image", pattern(10));
    const int standard_input = fcntl(0, F_DUPFD_CLOEXEC, 3);
    close(0);
    EXPECT_EQ(copy(device, name.c_str(), 10), 0);
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(board.open_files(), 4U) << "device, CPLD, FPGA and I2C";
    dup2(standard_input, 0);
    close(standard_input);
}

TEST_P(EitherCopyTest, DescriptorZeroIsNeverClosedAsAnImageEither)
{
    const std::string name = file("image", pattern(10));
    const int standard_input = fcntl(0, F_DUPFD_CLOEXEC, 3);
    // 0 becomes free when the device is open and the image is not.
    board.trace.listen([](const Event &event) {
        if (event.address == MEMGETINFO) {
            close(0);
        }
    });
    EXPECT_EQ(copy(device, name.c_str(), 10), 0);
    EXPECT_NE(fcntl(0, F_GETFD), -1);
    dup2(standard_input, 0);
    close(standard_input);
}

TEST_P(EitherCopyTest, FailsWithoutMemory)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    const std::string name = file("image", pattern(10));
    const char *const messages[] = {"Malloc src mem fail!\n", "Malloc dest mem fail!\n"};
    for (unsigned i = 0; i < 2; ++i) {
        watch_heap();
        fail_allocation(i);
        watch();
        EXPECT_EQ(copy(device, name.c_str(), 10), -1);
        EXPECT_EQ(timeline(), (Names{"lock flash_copy_lock", "unlock flash_copy_lock",
                                     std::string("print ") + messages[i]}));
        EXPECT_EQ(heap_bytes(), 0U);
    }
}

Personality large_flash()
{
    Personality personality = update_board();
    personality.flash = {.erase_size = 0x10000, .partitions = {0x3000000}};
    return personality;
}

class LargeCopyTest : public FlashCopyTest {
protected:
    LargeCopyTest() : FlashCopyTest(large_flash()) {}
};

TEST_F(LargeCopyTest, HoldsTwoBuffersAndNoMore)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    const std::string name = file("image", pattern(0x800000));
    board.trace.keep(false);
    watch_heap();
    EXPECT_EQ(mtd_flash_copy(device, name.c_str()), 0);
    EXPECT_EQ(allocations(), (std::vector<size_t>{10240, 10240}));
    EXPECT_EQ(heap_peak(), 20480U);
    EXPECT_EQ(heap_bytes(), 0U);
}

// Above 42 MB the product of bytes and 100 does not fit 32 bits, and what is
// printed and published wraps with it.
TEST_F(LargeCopyTest, PercentagesWrap)
{
    constexpr uint32_t length = 43000000;
    const std::string name = file("image", pattern(length));
    std::vector<Status> published;
    board.trace.keep(false);
    board.trace.listen([&](const Event &event) {
        if (event.operation == Operation::write || event.operation == Operation::read) {
            published.push_back(status());
        }
    });
    EXPECT_EQ(mtd_flash_copy(device, name.c_str()), 0);
    const std::string shown = output();
    const size_t writing = shown.find("Writing");
    const size_t verifying = shown.find("Verifying");
    EXPECT_EQ(shown.substr(writing, verifying - writing), write_lines(length));
    EXPECT_EQ(shown.substr(verifying), verify_lines(length));
    EXPECT_NE(shown.find("\rWriting data: 41940k/41992k (99%)\rWriting data: 41950k/41992k (0%)"),
              std::string::npos);
    constexpr size_t chunks = 4200;
    ASSERT_EQ(published.size(), 2 * chunks);
    EXPECT_EQ(published[chunks - 7], Status(69, 1));
    EXPECT_EQ(published[chunks - 1], Status(20, 1));
    EXPECT_EQ(published[2 * chunks - 1], Status(70, 1));
    EXPECT_EQ(status(), Status(100, 1));
}

TEST_F(FlashCopyTest, SecondCallerWaitsForTheFirst)
{
    const Bytes first = pattern(40000, 1);
    const Bytes second = pattern(30000, 2);
    const std::string one = file("one", first);
    const std::string two = file("two", second);
    clear_trace();
    int results[2] = {-1, -1};
    std::thread other([&] { results[1] = mtd_flash_copy_ex("/dev/mtd1", two.c_str(), 0, 30000); });
    results[0] = mtd_flash_copy(device, one.c_str());
    other.join();
    EXPECT_EQ(results[0], 0);
    EXPECT_EQ(results[1], 0);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), flash().begin()));
    EXPECT_TRUE(std::equal(second.begin(), second.end(), flash().begin() + partition_size));
    // Whichever came first, the accesses of the two do not mix.
    Names order;
    for (const Event &event : board.trace.events()) {
        if (event.device.starts_with("mtd") && (order.empty() || order.back() != event.device)) {
            order.push_back(event.device);
        }
    }
    EXPECT_EQ(order.size(), 2U);
}

TEST_F(FlashCopyTest, AnotherThreadSeesTheProgress)
{
    const std::string name = file("image", pattern(partition_size));
    set_upgrade_status(0, 1);
    std::thread copier([&] { EXPECT_EQ(mtd_flash_copy(device, name.c_str()), 0); });
    uint32_t progress = 0;
    while (progress != 100) {
        const Status now = status();
        EXPECT_GE(now.first, progress);
        EXPECT_EQ(now.second, 1U);
        progress = now.first;
    }
    copier.join();
}

} // namespace
} // namespace board_test
