// MTD nodes: the driver's rules, the BIOS flash's comings and goings, faults.

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

Personality small_flash(bool checks_access = false)
{
    Personality personality;
    personality.flash = {
        .erase_size = 0x1000, .partitions = {0x2000, 0x4000}, .checks_access = checks_access};
    personality.bios_flash = {.size = 0x4000, .erase_size = 0x1000};
    return personality;
}

class MtdDeviceTest : public BoardTest {
protected:
    explicit MtdDeviceTest(const Personality &personality = small_flash()) : BoardTest(personality)
    {
    }
    void TearDown() override
    {
        close(file_);
        BoardTest::TearDown();
    }

    int open_node(const char *path = "/dev/mtd1", int flags = O_RDWR)
    {
        close(file_);
        file_ = open(path, flags);
        return file_;
    }
    int erase(uint32_t start, uint32_t length)
    {
        erase_info_user record = {start, length};
        errno = 0;
        return ioctl(file_, MEMERASE, &record) == 0 ? 0 : -errno;
    }
    long write_at(off_t offset, const Bytes &bytes)
    {
        lseek(file_, offset, SEEK_SET);
        errno = 0;
        const ssize_t result = write(file_, bytes.data(), bytes.size());
        return result >= 0 ? result : -errno;
    }
    Bytes read_at(off_t offset, size_t count)
    {
        Bytes bytes(count);
        lseek(file_, offset, SEEK_SET);
        const ssize_t result = read(file_, bytes.data(), count);
        bytes.resize(result < 0 ? 0 : static_cast<size_t>(result));
        return bytes;
    }

    int file_ = -1;
};

class StrictMtdDeviceTest : public MtdDeviceTest {
protected:
    StrictMtdDeviceTest() : MtdDeviceTest(small_flash(true)) {}
};

TEST_F(MtdDeviceTest, DescribesItsPartition)
{
    mtd_info_user info = {};
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(ioctl(file_, MEMGETINFO, &info), 0);
    EXPECT_EQ(info.type, MTD_NORFLASH);
    EXPECT_EQ(info.flags, static_cast<uint32_t>(MTD_CAP_NORFLASH));
    EXPECT_EQ(info.size, 0x4000U);
    EXPECT_EQ(info.erasesize, 0x1000U);
    EXPECT_EQ(info.writesize, 1U);
    EXPECT_EQ(info.oobsize, 0U);
    int regions = 7;
    EXPECT_EQ(ioctl(file_, MEMGETREGIONCOUNT, &regions), 0);
    EXPECT_EQ(regions, 0);
}

TEST_F(MtdDeviceTest, RefusesForeignRequests)
{
    ASSERT_GE(open_node(), 0);
    long long block = 0;
    EXPECT_EQ(ioctl(file_, MEMGETBADBLOCK, &block), -1);
    EXPECT_EQ(errno, EOPNOTSUPP);
    EXPECT_EQ(ioctl(file_, 0x40046B01, &block), -1);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(MtdDeviceTest, WritesAndReadsItsPartOfTheChip)
{
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(write_at(0x10, {1, 2, 3}), 3);
    EXPECT_EQ(read_at(0x0F, 5), (Bytes{0xFF, 1, 2, 3, 0xFF}));
    EXPECT_EQ(board.flash().contents()[0x2010], 1);
    EXPECT_EQ(lseek(file_, 0, SEEK_CUR), 0x14) << "moved by the read";
    EXPECT_EQ(write_at(0x10, {0xFE}), 1);
    EXPECT_EQ(read_at(0x10, 1), Bytes{0}) << "bits are cleared only";
}

TEST_F(MtdDeviceTest, EndsWithItsPartition)
{
    ASSERT_GE(open_node("/dev/mtd0"), 0);
    EXPECT_EQ(write_at(0x1FFE, {1, 2, 3}), 2);
    EXPECT_EQ(board.flash().contents()[0x2000], 0xFF) << "the neighbour is not touched";
    EXPECT_EQ(write_at(0x2000, {1}), -ENOSPC);
    EXPECT_EQ(read_at(0x1FFF, 2), Bytes{2});
    EXPECT_EQ(read_at(0x2000, 2), Bytes{});
    uint8_t byte = 0;
    EXPECT_EQ(pread(file_, &byte, 1, 0x9000), 0);
}

TEST_F(MtdDeviceTest, SeeksWithinItsPartition)
{
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(lseek(file_, 0x4000, SEEK_SET), 0x4000);
    EXPECT_EQ(lseek(file_, -1, SEEK_END), 0x3FFF);
    EXPECT_EQ(lseek(file_, -0xFFF, SEEK_CUR), 0x3000);
    EXPECT_EQ(lseek(file_, 0x4001, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(lseek(file_, -1, SEEK_SET), -1);
    EXPECT_EQ(lseek(file_, 0, SEEK_CUR), 0x3000);
}

TEST_F(MtdDeviceTest, ErasesWhatTheDriverAccepts)
{
    ASSERT_GE(open_node(), 0);
    board.flash().put(0, Bytes(0x6000, 0));
    struct {
        uint32_t start;
        uint32_t length;
        int result;
    } const cases[] = {
        {0, 0x1000, 0},
        {0x3000, 0x1000, 0},
        {0, 0, 0},
        {0x10, 0, 0},
        {0x10, 0x1000, -EINVAL},
        {0, 0x800, -EINVAL},
        {0x4000, 0, -EINVAL},
        {0x4000, 0x1000, -EINVAL},
        {0x3000, 0x2000, -EINVAL},
        {0x1000, 0xFFFFF000, -EINVAL},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(erase(each.start, each.length), each.result) << each.start << " " << each.length;
    }
    for (uint32_t block = 0; block < 6; ++block) {
        const bool erased = block == 2 || block == 5;
        EXPECT_EQ(board.flash().wear(block), erased ? 1U : 0U) << block;
        EXPECT_EQ(board.flash().contents()[block * 0x1000], erased ? 0xFF : 0) << block;
    }
}

TEST_F(MtdDeviceTest, ErasesWithWideRecordsToo)
{
    ASSERT_GE(open_node(), 0);
    board.flash().put(0, Bytes(0x6000, 0));
    erase_info_user64 record = {0x1000, 0x1000};
    EXPECT_EQ(ioctl(file_, MEMERASE64, &record), 0);
    EXPECT_EQ(board.flash().wear(3), 1U);
    record = {0x100000000, 0x1000};
    EXPECT_EQ(ioctl(file_, MEMERASE64, &record), -1);
}

TEST_F(MtdDeviceTest, LocksBlocks)
{
    ASSERT_GE(open_node(), 0);
    erase_info_user record = {0x1000, 0x1000};
    EXPECT_EQ(ioctl(file_, MEMLOCK, &record), 0);
    EXPECT_EQ(erase(0x1000, 0x1000), -EIO);
    EXPECT_EQ(write_at(0x1000, {0}), -EIO);
    EXPECT_EQ(erase(0, 0x1000), 0);
    EXPECT_EQ(ioctl(file_, MEMUNLOCK, &record), 0);
    EXPECT_EQ(erase(0x1000, 0x1000), 0);
    record = {0x1000, 0x800};
    EXPECT_EQ(ioctl(file_, MEMLOCK, &record), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(MtdDeviceTest, BoardsDriverLetsAnyDescriptorWrite)
{
    ASSERT_GE(open_node("/dev/mtd1", O_RDONLY), 0);
    EXPECT_EQ(write_at(0, {0}), 1);
    EXPECT_EQ(erase(0, 0x1000), 0);
}

TEST_F(StrictMtdDeviceTest, StricterDriverWantsItOpenedForWriting)
{
    ASSERT_GE(open_node("/dev/mtd1", O_RDONLY), 0);
    erase_info_user record = {0, 0x1000};
    EXPECT_EQ(write_at(0, {0}), -EBADF);
    EXPECT_EQ(erase(0, 0x1000), -EPERM);
    EXPECT_EQ(ioctl(file_, MEMLOCK, &record), -1);
    EXPECT_EQ(errno, EPERM);
    ASSERT_GE(open_node("/dev/mtd1", O_RDWR), 0);
    EXPECT_EQ(write_at(0, {0}), 1);
    EXPECT_EQ(erase(0, 0x1000), 0);
}

TEST_F(MtdDeviceTest, ListsWhatIsThere)
{
    const auto list = [] {
        char text[256] = {};
        const int file = open("/proc/mtd", O_RDONLY);
        EXPECT_GT(read(file, text, sizeof(text) - 1), 0);
        EXPECT_EQ(read(file, text, 1), 0);
        EXPECT_EQ(lseek(file, 1, SEEK_SET), 1);
        char second = 0;
        EXPECT_EQ(read(file, &second, 1), 1);
        EXPECT_EQ(second, text[1]);
        EXPECT_EQ(lseek(file, 0, SEEK_END), -1);
        EXPECT_EQ(lseek(file, -1, SEEK_SET), -1);
        EXPECT_EQ(write(file, "x", 1), -1);
        close(file);
        return std::string(text);
    };
    const std::string parts = "dev:    size   erasesize  name\n"
                              "mtd0: 00002000 00001000 \"boot\"\n"
                              "mtd1: 00004000 00001000 \"boot-spare\"\n";
    EXPECT_EQ(list(), parts);
    board.modules().run({"/sbin/insmod", "/ko/m25p80.ko"});
    EXPECT_EQ(list(), parts + "mtd6: 00004000 00001000 \"bios\"\n");
    struct stat status = {};
    EXPECT_EQ(stat("/proc/mtd", &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(access("/sys/class/mtd", F_OK), -1) << "programs take the list then";
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(MtdDeviceTest, TellsItsNumbers)
{
    struct stat status = {};
    ASSERT_EQ(stat("/dev/mtd1", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(status.st_rdev, makedev(90, 2));
}

TEST_F(MtdDeviceTest, HasNoneOfWhatNandHas)
{
    open_node();
    mtd_ecc_stats errors = {1, 1, 1, 1};
    EXPECT_EQ(ioctl(file_, ECCGETSTATS, &errors), 0);
    EXPECT_EQ(errors.corrected + errors.failed + errors.badblocks + errors.bbtblocks, 0U);
    uint8_t record[256] = {};
    for (const unsigned long request : std::initializer_list<unsigned long>{
             MEMGETBADBLOCK, MEMSETBADBLOCK, MEMREADOOB, MEMWRITEOOB, ECCGETLAYOUT, MEMGETOOBSEL}) {
        EXPECT_EQ(ioctl(file_, request, record), -1) << request;
        EXPECT_EQ(errno, EOPNOTSUPP) << request;
    }
}

TEST_F(MtdDeviceTest, PartitionsFollowThePersonality)
{
    EXPECT_GE(open_node("/dev/mtd0"), 0);
    EXPECT_EQ(open_node("/dev/mtd2"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(board.flash().geometry().size, 0x6000U);
}

TEST_F(MtdDeviceTest, BiosFlashIsThereWhileItsDriverIs)
{
    struct stat status = {};
    EXPECT_EQ(open_node("/dev/mtd6"), -1);
    EXPECT_EQ(stat("/dev/mtd6", &status), -1);
    ASSERT_EQ(system("insmod /ko/m25p80.ko"), 0);
    EXPECT_GE(open_node("/dev/mtd6"), 0);
    EXPECT_EQ(stat("/dev/mtd6", &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    close(file_);
    ASSERT_EQ(system("rmmod /ko/m25p80.ko"), 0);
    EXPECT_EQ(open_node("/dev/mtd6"), -1);
}

TEST_F(MtdDeviceTest, BiosFlashHearsTheControllerWhileItOwnsIt)
{
    board.bios_flash().put(0, Bytes(0x4000, 0x5A));
    ASSERT_EQ(system("insmod /ko/m25p80.ko"), 0);
    ASSERT_GE(open_node("/dev/mtd6"), 0);
    EXPECT_EQ(read_at(0, 2), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(write_at(0, {0}), -EIO);
    EXPECT_EQ(erase(0, 0x1000), -EIO);
    EXPECT_EQ(erase(0, 0), 0) << "nothing to do needs no chip";
    EXPECT_EQ(board.bios_flash().contents(), Bytes(0x4000, 0x5A));
    set_reg(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER);
    EXPECT_EQ(read_at(0, 2), (Bytes{0x5A, 0x5A}));
    EXPECT_EQ(write_at(0, {0}), 1);
    EXPECT_EQ(erase(0, 0x1000), 0);
    EXPECT_EQ(board.bios_flash().wear(0), 1U);
}

TEST_F(MtdDeviceTest, BiosFlashIsProtectedByItsSwitch)
{
    ASSERT_EQ(system("insmod /ko/m25p80.ko"), 0);
    ASSERT_GE(open_node("/dev/mtd6"), 0);
    set_reg(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER | CPLD_BIOS_WRITE_PROTECT);
    EXPECT_EQ(write_at(0, {0}), -EIO);
    EXPECT_EQ(erase(0, 0x1000), -EIO);
    EXPECT_EQ(read_at(0, 1), Bytes{0xFF});
    set_reg(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER);
    EXPECT_EQ(write_at(0, {0}), 1);
}

TEST_F(MtdDeviceTest, RelativePathsLeadWhereTheWorkingDirectorySays)
{
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_GE(open_node("dev/mtd1"), 0);
    ASSERT_EQ(chdir("/dev"), 0);
    EXPECT_GE(open_node("mtd1"), 0);
    EXPECT_EQ(open_node("dev/mtd1"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(MtdDeviceTest, FaultsStrikeOneEraseBlock)
{
    board.faults.add({.name = "worn out",
                      .device = "mtd1",
                      .operation = Operation::ioctl,
                      .address = MEMERASE,
                      .place = 0x2000,
                      .value = EIO,
                      .times = 0});
    board.faults.add({.name = "lazy",
                      .device = "mtd1",
                      .operation = Operation::ioctl,
                      .place = 0x3000,
                      .kind = Fault::Kind::lie});
    board.flash().put(0, Bytes(0x6000, 0));
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(erase(0x1000, 0x1000), 0);
    EXPECT_EQ(erase(0x2000, 0x1000), -EIO);
    EXPECT_EQ(erase(0x2000, 0x1000), -EIO);
    EXPECT_EQ(erase(0x3000, 0x1000), 0);
    EXPECT_EQ(board.flash().contents()[0x5000], 0) << "it only said so";
    EXPECT_EQ(erase(0x3000, 0x1000), 0);
    EXPECT_EQ(board.flash().contents()[0x5000], 0xFF);
    const auto erases = board.trace.of(Operation::ioctl, "mtd1");
    ASSERT_EQ(erases.size(), 5U);
    EXPECT_EQ(erases[1].bytes, (Bytes{0x00, 0x20, 0, 0, 0x00, 0x10, 0, 0}));
}

TEST_F(MtdDeviceTest, FaultFlipsAStoredBit)
{
    board.faults.add({.name = "flip",
                      .device = "mtd1",
                      .operation = Operation::write,
                      .address = 0x100,
                      .kind = Fault::Kind::bit_flip,
                      .value = 8 + 3});
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(write_at(0, {0, 0}), 2);
    EXPECT_EQ(write_at(0x100, {0, 0}), 2);
    EXPECT_EQ(read_at(0x100, 2), (Bytes{0x00, 0x08}));
    EXPECT_EQ(read_at(0, 2), (Bytes{0, 0}));
}

TEST_F(MtdDeviceTest, FaultTakesTheDeviceAway)
{
    board.faults.add({.name = "unplugged",
                      .device = "mtd1",
                      .operation = Operation::write,
                      .kind = Fault::Kind::vanish,
                      .skip = 1});
    ASSERT_GE(open_node(), 0);
    EXPECT_EQ(write_at(0, {1}), 1);
    EXPECT_EQ(write_at(1, {2}), -ENODEV);
    EXPECT_EQ(write_at(1, {2}), -ENODEV);
    EXPECT_EQ(lseek(file_, 0, SEEK_SET), -1);
    uint8_t byte = 0;
    EXPECT_EQ(read(file_, &byte, 1), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(erase(0, 0x1000), -ENODEV);
    struct stat status = {};
    EXPECT_EQ(fstat(file_, &status), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(stat("/dev/mtd1", &status), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(open_node(), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_GE(open_node("/dev/mtd0"), 0) << "the others are still there";
}

TEST_F(MtdDeviceTest, FaultsStrikeStatusQueries)
{
    board.faults.add(
        {.name = "stat", .device = "mtd1", .operation = Operation::status, .value = EIO});
    ASSERT_GE(open_node(), 0);
    struct stat status = {};
    EXPECT_EQ(fstat(file_, &status), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(fstat(file_, &status), 0);
}

} // namespace
} // namespace board_test
