// What programs ask about the board's nodes without using them.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <functional>

#include "tests/support/machine.h"
#include "tests/virtual_board/shim_support.h"

extern "C" char *__realpath_chk(const char *path, char *resolved, size_t size);

namespace board_test {
namespace {

template <typename Status> using Calls = std::initializer_list<std::function<int(Status *)>>;

class ShimStatusTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        part = open(node, O_RDWR);
        ASSERT_GE(part, 0);
    }
    void TearDown() override
    {
        close(part);
        BoardTest::TearDown();
    }

    static constexpr char node[] = "/dev/mtd1";
    int part = -1;
};

template <typename Status> void expect_flash_part(const Calls<Status> &calls)
{
    for (const auto &call : calls) {
        Status status;
        memset(&status, 0xA5, sizeof(status));
        errno = quiet_errno;
        EXPECT_EQ(call(&status), 0);
        EXPECT_TRUE(S_ISCHR(status.st_mode));
        EXPECT_EQ(status.st_rdev, makedev(90, 2));
        EXPECT_EQ(status.st_size, 0);
        EXPECT_EQ(status.st_nlink, 1U);
        EXPECT_EQ(errno, quiet_errno);
    }
}

TEST_F(ShimStatusTest, EveryVariantDescribesTheDevice)
{
    using Narrow = struct stat;
    using Wide = struct stat64;
    expect_flash_part<Narrow>({
        [](Narrow *to) { return stat(node, to); },
        [](Narrow *to) { return lstat(node, to); },
        [this](Narrow *to) { return fstat(part, to); },
        [](Narrow *to) { return fstatat(-1, node, to, 0); },
        [this](Narrow *to) { return fstatat(part, "", to, AT_EMPTY_PATH); },
    });
    expect_flash_part<Wide>({
        [](Wide *to) { return stat64(node, to); },
        [](Wide *to) { return lstat64(node, to); },
        [this](Wide *to) { return fstat64(part, to); },
        [](Wide *to) { return fstatat64(-1, node, to, 0); },
        [this](Wide *to) { return fstatat64(part, "", to, AT_EMPTY_PATH); },
    });
}

TEST_F(ShimStatusTest, ExtendedStatusDescribesTheDevice)
{
    for (const auto &call : Calls<struct statx>{
             [](struct statx *to) { return statx(AT_FDCWD, node, 0, STATX_ALL, to); },
             [this](struct statx *to) { return statx(part, "", AT_EMPTY_PATH, STATX_ALL, to); }}) {
        struct statx status;
        memset(&status, 0xA5, sizeof(status));
        errno = quiet_errno;
        EXPECT_EQ(call(&status), 0);
        EXPECT_EQ(status.stx_mask & (STATX_TYPE | STATX_SIZE), uint32_t{STATX_TYPE | STATX_SIZE});
        EXPECT_TRUE(S_ISCHR(status.stx_mode));
        EXPECT_EQ(status.stx_rdev_major, 90U);
        EXPECT_EQ(status.stx_rdev_minor, 2U);
        EXPECT_EQ(status.stx_nlink, 1U);
        EXPECT_EQ(status.stx_size, 0U);
        EXPECT_EQ(errno, quiet_errno);
    }
}

TEST_F(ShimStatusTest, MissingNodesFailAndTouchNothing)
{
    const CapturedError error;
    struct stat narrow = {};
    struct stat64 wide = {};
    struct statx extended = {};
    for (const auto &call : std::initializer_list<std::function<int()>>{
             [&] { return stat(missing_node, &narrow); },
             [&] { return lstat(missing_node, &narrow); },
             [&] { return stat64(missing_node, &wide); },
             [&] { return lstat64(missing_node, &wide); },
             [&] { return fstatat(AT_FDCWD, missing_node, &narrow, 0); },
             [&] { return fstatat64(AT_FDCWD, missing_node, &wide, 0); },
             [&] { return statx(AT_FDCWD, missing_node, 0, STATX_ALL, &extended); }}) {
        errno = 0;
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(errno, ENOENT);
    }
    EXPECT_EQ(narrow.st_nlink + wide.st_nlink + extended.stx_nlink, 0U);
    EXPECT_EQ(error.text(), "") << "asking is no mistake";
}

TEST_F(ShimStatusTest, TheMachinesFilesPassBy)
{
    const OrdinaryFile file;
    struct stat narrow = {};
    struct statx extended = {};
    EXPECT_EQ(fstatat(AT_FDCWD, file.path, &narrow, 0), 0);
    EXPECT_TRUE(S_ISREG(narrow.st_mode));
    EXPECT_EQ(fstatat(file.descriptor, "", &narrow, AT_EMPTY_PATH), 0);
    EXPECT_EQ(statx(AT_FDCWD, file.path, 0, STATX_TYPE, &extended), 0);
    EXPECT_TRUE(S_ISREG(extended.stx_mode));
}

TEST_F(ShimStatusTest, AccessIsForReadingAndWriting)
{
    for (const auto &call : std::initializer_list<std::function<int(const char *, int)>>{
             [](const char *path, int mode) { return access(path, mode); },
             [](const char *path, int mode) { return euidaccess(path, mode); },
             [](const char *path, int mode) { return eaccess(path, mode); },
             [](const char *path, int mode) { return faccessat(AT_FDCWD, path, mode, 0); }}) {
        EXPECT_EQ(call(node, F_OK), 0);
        EXPECT_EQ(call(node, R_OK | W_OK), 0);
        EXPECT_EQ(call(node, X_OK), -1);
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(call(missing_node, F_OK), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(call("/tmp", X_OK), 0);
    }
}

TEST_F(ShimStatusTest, PathsBelowADirectorysDescriptorLeadToTheBoard)
{
    const int devices = open("/dev", O_RDONLY | O_DIRECTORY);
    struct stat status = {};
    EXPECT_EQ(fstatat(devices, "mtd1", &status, 0), 0);
    EXPECT_EQ(status.st_rdev, makedev(90, 2));
    EXPECT_EQ(faccessat(devices, "mtd1", R_OK, 0), 0);
    const int opened = openat(devices, "mtd1", O_RDWR);
    EXPECT_EQ(lseek(opened, 0, SEEK_END), 0x40000);
    close(opened);
    close(devices);
}

TEST_F(ShimStatusTest, PathsBelowTheRootsDescriptorLeadToTheBoard)
{
    if (!sees_its_root()) {
        GTEST_SKIP() << "this machine's emulator shows another root";
    }
    struct stat status = {};
    const int root = open("/", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(fstatat(root, "dev/mtd1", &status, 0), 0);
    EXPECT_EQ(faccessat(root, "tmp", R_OK, 0), 0) << "the machine's";
    close(root);
}

TEST_F(ShimStatusTest, ABoardsPathIsResolved)
{
    char resolved[PATH_MAX] = {};
    EXPECT_EQ(realpath(fpga_node, resolved), resolved);
    EXPECT_STREQ(resolved, fpga_node);
    EXPECT_EQ(__realpath_chk(cpld_node, resolved, sizeof(resolved)), resolved);
    EXPECT_STREQ(resolved, cpld_node);
    for (char *made : {realpath(fpga_node, nullptr), canonicalize_file_name(fpga_node)}) {
        EXPECT_STREQ(made, fpga_node);
        free(made);
    }
    EXPECT_EQ(realpath(missing_node, resolved), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(realpath("/dev/../tmp", resolved), resolved);
    EXPECT_STREQ(resolved, "/tmp");
}

TEST_F(ShimStatusTest, TheMachinesOwnListsDoNotShowThrough)
{
    const CapturedError error;
    EXPECT_EQ(opendir("/sys/class/mtd"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(open("/sys/class/i2c-dev/i2c-0/name", O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(open("/dev/i2c/0", O_RDWR), -1);
    EXPECT_EQ(opendir(node), nullptr);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(error.text(), "") << "programs look there in vain on many a system";
    DIR *directory = opendir("/tmp");
    EXPECT_NE(directory, nullptr);
    closedir(directory);
}

} // namespace
} // namespace board_test
