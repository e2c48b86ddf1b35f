// The shim: which calls lead to the board, and that all others pass by.

#include "virtual_board/shim/shim.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/close_range.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "tests/support/machine.h"
#include "tests/virtual_board/shim_support.h"

// What fortified programs call.
extern "C" {
int __open_2(const char *path, int flags);
int __open64_2(const char *path, int flags);
int __openat_2(int directory, const char *path, int flags);
int __openat64_2(int directory, const char *path, int flags);
ssize_t __read_chk(int descriptor, void *buffer, size_t count, size_t size);
ssize_t __pread_chk(int descriptor, void *buffer, size_t count, off_t offset, size_t size);
ssize_t __pread64_chk(int descriptor, void *buffer, size_t count, off64_t offset, size_t size);
}

namespace board_test {
namespace {

// Bytes of the reserved RAM, read through a descriptor.
std::string ram_through(int descriptor, size_t count)
{
    std::string buffer(count, '\x51');
    const ssize_t got = read(descriptor, buffer.data(), count);
    return buffer.substr(0, static_cast<size_t>(got < 0 ? 0 : got));
}

class ShimTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        const std::string content = "0123456789";
        std::copy(content.begin(), content.end(), board.fpga().ram().begin());
    }
};

// ---- opening ----

struct Opener {
    const char *name;
    std::function<int(const char *)> open;
};

void PrintTo(const Opener &opener, std::ostream *out)
{
    *out << opener.name;
}

// A sanitizer's fclose leaves its mark in errno.
int closing(FILE *stream)
{
    if (stream == nullptr) {
        return -1;
    }
    const int kept = errno;
    const int result = fclose(stream);
    errno = kept;
    return result;
}

int closing(int descriptor)
{
    return descriptor < 0 ? descriptor : close(descriptor);
}

const Opener openers[] = {
    {"open", [](const char *path) { return closing(open(path, O_RDWR)); }},
    {"open_create", [](const char *path) { return closing(open(path, O_RDWR | O_CREAT, 0600)); }},
    {"open64", [](const char *path) { return closing(open64(path, O_RDWR)); }},
    {"open_2", [](const char *path) { return closing(__open_2(path, O_RDWR)); }},
    {"open64_2", [](const char *path) { return closing(__open64_2(path, O_RDWR)); }},
    {"openat", [](const char *path) { return closing(openat(AT_FDCWD, path, O_RDWR)); }},
    {"openat_directory", [](const char *path) { return closing(openat(1000, path, O_RDWR)); }},
    {"openat64", [](const char *path) { return closing(openat64(AT_FDCWD, path, O_RDWR)); }},
    {"openat_2", [](const char *path) { return closing(__openat_2(AT_FDCWD, path, O_RDWR)); }},
    {"openat64_2", [](const char *path) { return closing(__openat64_2(AT_FDCWD, path, O_RDWR)); }},
    {"creat", [](const char *path) { return closing(creat(path, 0600)); }},
    {"creat64", [](const char *path) { return closing(creat64(path, 0600)); }},
    {"fopen", [](const char *path) { return closing(fopen(path, "rb+")); }},
    {"fopen64", [](const char *path) { return closing(fopen64(path, "rb+")); }},
};

class OpenerTest : public ShimTest, public ::testing::WithParamInterface<Opener> {};

INSTANTIATE_TEST_SUITE_P(All, OpenerTest, ::testing::ValuesIn(openers), ByName());

TEST_P(OpenerTest, LeadsToTheBoardAndLeavesErrnoAlone)
{
    errno = quiet_errno;
    EXPECT_EQ(GetParam().open(fpga_node), 0);
    EXPECT_EQ(errno, quiet_errno);
    EXPECT_EQ(steps(), (Names{"open fpga", "close fpga"}));
}

TEST_P(OpenerTest, SaysWhichPathNoDeviceOwns)
{
    const CapturedError error;
    errno = 0;
    EXPECT_EQ(GetParam().open(missing_node), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(error.text(), "virtual board: no device at /dev/mtd9\n");
}

TEST_P(OpenerTest, PassesOrdinaryFilesBy)
{
    const OrdinaryFile file;
    const CapturedError error;
    EXPECT_EQ(GetParam().open(file.path), 0);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(error.text(), "");
}

TEST_P(OpenerTest, PassesEverythingByWithoutABoard)
{
    virtual_board::shim::install(nullptr);
    const CapturedError error;
    const OrdinaryFile file;
    EXPECT_EQ(GetParam().open(file.path), 0);
    errno = 0;
    EXPECT_EQ(GetParam().open("/dev/ipmc_no_such_node/below"), -1);
    EXPECT_TRUE(errno == ENOENT || errno == ENOTDIR);
    EXPECT_EQ(error.text(), "") << "the machine answers, not the board";
    EXPECT_EQ(steps(), Names{});
}

TEST_P(OpenerTest, FailsWithTheDevicesError)
{
    const CapturedError error;
    board.faults.add(
        {.name = "busy", .device = "fpga", .operation = Operation::open, .value = EBUSY});
    EXPECT_EQ(GetParam().open(fpga_node), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(error.text(), "");
    EXPECT_EQ(board.open_files(), 0U);
}

TEST_F(ShimTest, CreationModeReachesTheMachine)
{
    const std::string path = std::string("/tmp/shim_test_mode.") + std::to_string(getpid());
    umask(0);
    closing(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, 0640));
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640U);
    unlink(path.c_str());
}

// ---- transfers ----

TEST_F(ShimTest, CallsThatSucceedLeaveErrnoAlone)
{
    const OrdinaryFile file;
    errno = quiet_errno;
    char buffer[8] = {'\x51'};
    struct stat status = {};
    uint32_t word = 0;
    const int fpga = open(fpga_node, O_RDWR);
    EXPECT_EQ(lseek(fpga, 3, SEEK_SET), 3);
    EXPECT_EQ(read(fpga, buffer, 2), 2);
    EXPECT_EQ(write(fpga, "\x51z", 2), 1);
    EXPECT_EQ(ioctl(fpga, 0x80046B01, &word), 0);
    EXPECT_EQ(fstat(fpga, &status), 0);
    EXPECT_EQ(stat(fpga_node, &status), 0);
    EXPECT_EQ(access(fpga_node, R_OK), 0);
    const int copy = dup(fpga);
    EXPECT_EQ(close(copy), 0);
    EXPECT_EQ(usleep(10), 0);
    EXPECT_EQ(close(fpga), 0);
    EXPECT_EQ(write(file.descriptor, "x", 1), 1);
    EXPECT_EQ(errno, quiet_errno);
}

TEST_F(ShimTest, DriverNumbersPassAndErrorsSetErrno)
{
    const int fpga = open(fpga_node, O_RDWR);
    uint8_t record[] = {0x31, 0, 0, 0};
    board.host().kcs.fail_reads(10005);
    errno = quiet_errno;
    EXPECT_EQ(read(fpga, record, 4), 10005);
    EXPECT_EQ(errno, quiet_errno);
    board.host().kcs.fail_reads(-ENODEV);
    EXPECT_EQ(read(fpga, record, 4), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(ioctl(fpga, 0x1234, nullptr), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(lseek(fpga, -1, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    close(fpga);
}

// Request numbers with the top bit set arrive sign-extended from some callers.
TEST_F(ShimTest, RequestNumbersAre32Bits)
{
    const int fpga = open(fpga_node, O_RDWR);
    int32_t word = 0;
    EXPECT_EQ(ioctl(fpga, 0x80046B01UL, &word), 0);
    EXPECT_EQ(ioctl(fpga, static_cast<unsigned long>(static_cast<int>(0x80046B01)), &word), 0);
    for (const Event &event : board.trace.of(Operation::ioctl)) {
        EXPECT_EQ(event.address, 0x80046B01U);
    }
    EXPECT_EQ(board.trace.count(Operation::ioctl, "fpga"), 2U);
    close(fpga);
}

TEST_F(ShimTest, EveryReadVariantLeadsToTheBoard)
{
    const int fpga = open(fpga_node, O_RDWR);
    const std::function<ssize_t(char *)> variants[] = {
        [fpga](char *to) { return lseek(fpga, 4, SEEK_SET), read(fpga, to, 3); },
        [fpga](char *to) { return lseek64(fpga, 4, SEEK_SET), __read_chk(fpga, to, 3, 3); },
        [fpga](char *to) { return pread(fpga, to, 3, 4); },
        [fpga](char *to) { return pread64(fpga, to, 3, 4); },
        [fpga](char *to) { return __pread_chk(fpga, to, 3, 4, 3); },
        [fpga](char *to) { return __pread64_chk(fpga, to, 3, 4, 3); },
    };
    for (const auto &variant : variants) {
        char buffer[4] = {'\x51', 0, 0, 0};
        EXPECT_EQ(variant(buffer), 3);
        EXPECT_STREQ(buffer, "456");
    }
    close(fpga);
}

TEST_F(ShimTest, PositionedTransfersLeaveTheOffsetAlone)
{
    const int fpga = open(fpga_node, O_RDWR);
    lseek(fpga, 2, SEEK_SET);
    char buffer[4] = {'\x51'};
    EXPECT_EQ(pread(fpga, buffer, 1, 7), 1);
    EXPECT_EQ(buffer[0], '7');
    EXPECT_EQ(pwrite(fpga, "\x51X", 2, 8), 1);
    EXPECT_EQ(pwrite64(fpga, "\x51Y", 2, 9), 1);
    EXPECT_EQ(board.fpga().ram()[8], 'X');
    EXPECT_EQ(board.fpga().ram()[9], 'Y');
    EXPECT_EQ(ram_through(fpga, 1), "2");
    close(fpga);
}

TEST_F(ShimTest, OrdinaryFilesPassBy)
{
    OrdinaryFile file;
    char buffer[8] = {};
    EXPECT_EQ(write(file.descriptor, "abcdef", 6), 6);
    EXPECT_EQ(lseek(file.descriptor, 1, SEEK_SET), 1);
    EXPECT_EQ(read(file.descriptor, buffer, 2), 2);
    EXPECT_STREQ(buffer, "bc");
    EXPECT_EQ(pread(file.descriptor, buffer, 2, 4), 2);
    EXPECT_STREQ(buffer, "ef");
    EXPECT_EQ(pwrite(file.descriptor, "F", 1, 5), 1);
    EXPECT_EQ(lseek64(file.descriptor, 0, SEEK_END), 6);

    struct stat status = {};
    EXPECT_EQ(fstat(file.descriptor, &status), 0);
    EXPECT_EQ(status.st_size, 6);
    EXPECT_EQ(stat(file.path, &status), 0);
    EXPECT_EQ(lstat(file.path, &status), 0);
    EXPECT_EQ(access(file.path, R_OK), 0);
    int pending = -1;
    EXPECT_EQ(ioctl(file.descriptor, FIONREAD, &pending), 0);

    void *mapped = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file.descriptor, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    EXPECT_EQ(memcmp(mapped, "abcdeF", 6), 0);
    EXPECT_EQ(munmap(mapped, 4096), 0);

    const int copy = dup(file.descriptor);
    EXPECT_EQ(fcntl(copy, F_GETFD), 0);
    EXPECT_EQ(close(copy), 0);
    EXPECT_EQ(close(copy), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(steps(), Names{});
}

TEST_F(ShimTest, AClosedDescriptorIsNotTheBoardsAnyMore)
{
    const int fpga = open(fpga_node, O_RDWR);
    close(fpga);
    OrdinaryFile file;
    EXPECT_EQ(file.descriptor, fpga) << "the kernel hands out the number again";
    EXPECT_EQ(write(file.descriptor, "abc", 3), 3);
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 0U);
}

// As where one thread closes a number that another one has just been handed out.
TEST_F(ShimTest, ANumberThatWentUnseenLeavesNothingOpen)
{
    const int fpga = open(fpga_node, O_RDWR);
    const int duplicate = dup(fpga);
    syscall(SYS_close, fpga);
    const int eeprom_bus = open("/dev/i2c-0", O_RDWR);
    ASSERT_EQ(eeprom_bus, fpga) << "the kernel hands out the number again";
    EXPECT_EQ(board.open_paths(),
              (std::map<std::string, size_t>{{fpga_node, 1}, {"/dev/i2c-0", 1}}))
        << "the duplicate is left";
    syscall(SYS_close, duplicate);
    const int again = open("/dev/i2c-0", O_RDWR);
    ASSERT_EQ(again, duplicate);
    EXPECT_EQ(board.open_paths(), (std::map<std::string, size_t>{{"/dev/i2c-0", 2}}));
    EXPECT_EQ(close(eeprom_bus), 0);
    EXPECT_EQ(close(again), 0);
}

// ---- streams ----

TEST_F(ShimTest, StreamsReadAndWriteTheBoardsFiles)
{
    FILE *stream = fopen("/sys/class/gpio/export", "ab");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fwrite("95", 1, 2, stream), 2U);
    EXPECT_EQ(fclose(stream), 0);
    EXPECT_TRUE(board.gpio().exported(95));

    stream = fopen("/sys/class/gpio/gpio95/direction", "rb+");
    ASSERT_NE(stream, nullptr);
    char text[16] = {};
    EXPECT_EQ(fread(text, 1, sizeof(text), stream), 3U);
    EXPECT_STREQ(text, "in\n");
    rewind(stream);
    EXPECT_EQ(fputs("out", stream), 1);
    EXPECT_EQ(fclose(stream), 0);
    EXPECT_TRUE(board.gpio().line(95).output);
    EXPECT_EQ(board.open_files(), 0U);
}

TEST_F(ShimTest, AStreamTellsThatTheDeviceRefused)
{
    FILE *stream = fopen("/sys/class/gpio/export", "ab");
    ASSERT_NE(stream, nullptr);
    fputs("no number", stream);
    EXPECT_EQ(fflush(stream), EOF);
    EXPECT_EQ(errno, EINVAL);
    fclose(stream);
}

TEST_F(ShimTest, AnInvalidStreamModeLeavesNothingOpen)
{
    EXPECT_EQ(fopen(fpga_node, "q"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(board.open_files(), 0U);
}

// ---- duplicates ----

struct Duplicator {
    const char *name;
    std::function<int(int)> duplicate;
};

void PrintTo(const Duplicator &duplicator, std::ostream *out)
{
    *out << duplicator.name;
}

const Duplicator duplicators[] = {
    {"dup", [](int from) { return dup(from); }},
    {"dup2", [](int from) { return dup2(from, 700); }},
    {"dup3", [](int from) { return dup3(from, 701, O_CLOEXEC); }},
    {"fcntl_dupfd", [](int from) { return fcntl(from, F_DUPFD, 702); }},
    {"fcntl_dupfd_cloexec", [](int from) { return fcntl(from, F_DUPFD_CLOEXEC, 703); }},
    {"fcntl64", [](int from) { return fcntl64(from, F_DUPFD, 704); }},
};

class DuplicatorTest : public ShimTest, public ::testing::WithParamInterface<Duplicator> {};

INSTANTIATE_TEST_SUITE_P(All, DuplicatorTest, ::testing::ValuesIn(duplicators), ByName());

TEST_P(DuplicatorTest, SharesOneOpenFileUntilTheLastIsClosed)
{
    const int first = open(fpga_node, O_RDWR);
    const int second = GetParam().duplicate(first);
    ASSERT_GE(second, 0);
    ASSERT_NE(second, first);
    lseek(first, 5, SEEK_SET);
    EXPECT_EQ(ram_through(second, 2), "56");
    EXPECT_EQ(close(first), 0);
    EXPECT_EQ(ram_through(second, 2), "56");
    EXPECT_EQ(board.trace.count(Operation::close, "fpga"), 0U);
    EXPECT_EQ(board.open_files(), 1U);
    EXPECT_EQ(close(second), 0);
    EXPECT_EQ(board.trace.count(Operation::close, "fpga"), 1U);
}

TEST_F(ShimTest, ClosesWholeRangesOfDescriptors)
{
    const int fpga = open(fpga_node, O_RDWR);
    const int cpld = open(cpld_node, O_RDWR);
    ASSERT_EQ(dup2(fpga, 900), 900);
    ASSERT_EQ(dup2(cpld, 910), 910);
    close(fpga);
    close(cpld);
    closefrom(911);
    EXPECT_EQ(close_range(900, 910, CLOSE_RANGE_CLOEXEC), 0);
    EXPECT_EQ(board.open_files(), 2U);
    EXPECT_EQ(close_range(800, 909, 0), 0);
    EXPECT_EQ(board.trace.count(Operation::close, "fpga"), 1U);
    EXPECT_EQ(board.open_files(), 1U);
    const OrdinaryFile file;
    ASSERT_EQ(dup2(file.descriptor, 900), 900);
    struct stat status = {};
    EXPECT_EQ(fstat(900, &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    closefrom(900);
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_EQ(fcntl(910, F_GETFD), -1);
}

TEST_F(ShimTest, Dup2ReplacesWhatWasThere)
{
    const int fpga = open(fpga_node, O_RDWR);
    const int cpld = open(cpld_node, O_RDWR);
    const OrdinaryFile file;
    EXPECT_EQ(dup2(fpga, cpld), cpld);
    EXPECT_EQ(board.trace.count(Operation::close, "cpld"), 1U);
    EXPECT_EQ(ram_through(cpld, 1), "0");
    EXPECT_EQ(dup2(file.descriptor, cpld), cpld);
    EXPECT_EQ(write(cpld, "abc", 3), 3);
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 0U);
    EXPECT_EQ(dup2(fpga, fpga), fpga);
    EXPECT_EQ(ram_through(fpga, 1), "0");
    close(cpld);
    close(fpga);
}

TEST_F(ShimTest, ADup2ThatFailsLeavesItsTargetAlone)
{
    const int fpga = open(fpga_node, O_RDWR);
    EXPECT_EQ(dup2(-1, fpga), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(dup3(fpga, fpga, 0), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ram_through(fpga, 1), "0");
    EXPECT_EQ(board.open_files(), 1U);
    close(fpga);
}

// ---- fork and threads ----

TEST_F(ShimTest, AForkedChildHasTheDescriptorsAndItsOwnBoard)
{
    const int fpga = open(fpga_node, O_RDWR);
    const pid_t child = fork();
    if (child == 0) {
        const bool read_it = ram_through(fpga, 3) == "012";
        const bool wrote_it = write(fpga, "\x80\x07", 2) == 0;
        _exit(read_it && wrote_it && board.fpga().communication_state() == 7 ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(board.fpga().communication_state(), std::nullopt);
    EXPECT_EQ(ram_through(fpga, 3), "012");
    close(fpga);
}

// The locks of board and shim are free in the child, whatever other threads did
// at the moment of the fork.
TEST_F(ShimTest, AForkAmidTrafficLeavesNoLockBehind)
{
    if (!sees_its_root()) {
        GTEST_SKIP()
            << "this machine's emulator looks paths up under a lock that a fork leaves held";
    }
    board.trace.keep(false);
    std::atomic<bool> stop{false};
    std::thread traffic([&stop] {
        while (!stop) {
            const int fpga = open(fpga_node, O_RDWR);
            ram_through(fpga, 4);
            close(fpga);
        }
    });
    for (int i = 0; i < 30; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            const int fpga = open(fpga_node, O_RDWR);
            _exit(ram_through(fpga, 2) == "01" && close(fpga) == 0 ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    stop = true;
    traffic.join();
}

TEST_F(ShimTest, ThreadsUseTheBoardAtOnce)
{
    constexpr unsigned rounds = 200;
    std::atomic<unsigned> wrong{0};
    const auto work = [&wrong](uint8_t number) {
        const int fpga = open(fpga_node, O_RDWR);
        for (unsigned i = 0; i < rounds; ++i) {
            uint8_t record[] = {0x61, number, 0, static_cast<uint8_t>(i), number, 0, 0};
            write(fpga, record, 1);
            uint8_t back[] = {0x61, number, 0, 0, 0, 0, 0};
            read(fpga, back, 1);
            wrong += back[0] != static_cast<uint8_t>(i) || back[1] != number;
        }
        close(fpga);
    };
    std::vector<std::thread> threads;
    for (uint8_t number = 1; number <= 4; ++number) {
        threads.emplace_back(work, number);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 4 * rounds);
}

// The flag orders nothing: the thread sanitizer reports what the first thread of a
// program makes for all of them.
TEST_F(ShimTest, AThreadNeedsNothingOfTheOneBeforeIt)
{
    std::atomic<bool> opened = false;
    int descriptors[2];
    std::thread first([&] {
        descriptors[0] = open(fpga_node, O_RDWR);
        opened.store(true, std::memory_order_relaxed);
    });
    while (!opened.load(std::memory_order_relaxed)) {
    }
    std::thread second([&] { descriptors[1] = open(fpga_node, O_RDWR); });
    first.join();
    second.join();
    EXPECT_EQ(close(descriptors[0]), 0);
    EXPECT_EQ(close(descriptors[1]), 0);
    EXPECT_EQ(board.open_files(), 0U);
}

// ---- memory ----

TEST_F(ShimTest, TheWindowIsMappedAndDropped)
{
    const int cpld = open(cpld_node, O_RDWR);
    for (const bool large : {false, true}) {
        errno = quiet_errno;
        auto *window = static_cast<volatile uint8_t *>(
            large ? mmap64(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, cpld, 0)
                  : mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, cpld, 0));
        ASSERT_NE(const_cast<uint8_t *>(window), MAP_FAILED);
        set_reg(0x20, 0x5A);
        EXPECT_EQ(window[0x20], 0x5A);
        window[0x21] = 0xA5;
        EXPECT_EQ(munmap(const_cast<uint8_t *>(window), 4096), 0);
        EXPECT_EQ(reg(0x21), 0xA5);
        EXPECT_EQ(errno, quiet_errno);
    }
    close(cpld);
    EXPECT_EQ(board.trace.count(Operation::map, "cpld"), 2U);
    EXPECT_EQ(board.trace.count(Operation::unmap, "cpld"), 2U);
}

TEST_F(ShimTest, WhatCannotBeMappedFails)
{
    const int fpga = open(fpga_node, O_RDWR);
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fpga, 0), MAP_FAILED);
    EXPECT_EQ(errno, ENODEV);
    close(fpga);
    const int cpld = open(cpld_node, O_RDWR);
    EXPECT_EQ(mmap(nullptr, 8192, PROT_READ, MAP_SHARED, cpld, 0), MAP_FAILED);
    EXPECT_EQ(errno, EINVAL);
    board.faults.add({.name = "null",
                      .device = "cpld",
                      .operation = Operation::map,
                      .kind = Fault::Kind::result,
                      .value = 0});
    EXPECT_EQ(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, cpld, 0), nullptr);
    close(cpld);
}

// A second unmap of the window must not take what has come to its place.
TEST_F(ShimTest, ASecondUnmapTakesNothingElseWithIt)
{
    const int cpld = open(cpld_node, O_RDWR);
    void *window = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, cpld, 0);
    EXPECT_EQ(munmap(window, 4096), 0);
    std::vector<uint8_t *> others;
    for (int i = 0; i < 16; ++i) {
        others.push_back(static_cast<uint8_t *>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)));
        others.back()[0] = 1;
    }
    EXPECT_EQ(munmap(window, 4096), 0);
    EXPECT_EQ(munmap(nullptr, 4096), 0);
    for (uint8_t *other : others) {
        EXPECT_EQ(other[0], 1);
        EXPECT_EQ(munmap(other, 4096), 0);
    }
    EXPECT_EQ(board.trace.count(Operation::unmap, "cpld"), 3U)
        << "ordinary memory is not the board's";
    close(cpld);
}

// ---- time ----

TEST_F(ShimTest, SleepsPassOnTheBoardsClock)
{
    const timespec two_ms = {0, 2000000};
    EXPECT_EQ(usleep(1000), 0);
    EXPECT_EQ(sleep(3600), 0U);
    EXPECT_EQ(nanosleep(&two_ms, nullptr), 0);
    EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, 0, &two_ms, nullptr), 0);
    EXPECT_EQ(steps(), (Names{"sleep 1000", "sleep 3600000000", "sleep 2000", "sleep 2000"}));
    EXPECT_EQ(board.clock.now_us(), 3600005000U);
}

TEST_F(ShimTest, AWakeUpTimeIsADateOfTheMachine)
{
    const timespec past = {1, 0};
    EXPECT_EQ(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &past, nullptr), 0);
    EXPECT_EQ(board.clock.now_us(), 0U);
}

// ---- on and off ----

TEST_F(ShimTest, TakingTheBoardAwayClosesWhatIsOpen)
{
    const int first = open(fpga_node, O_RDWR);
    const int second = dup(first);
    EXPECT_EQ(board.open_files(), 1U);
    virtual_board::shim::install(nullptr);
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_EQ(fcntl(first, F_GETFD), -1);
    EXPECT_EQ(fcntl(second, F_GETFD), -1);
}

TEST_F(ShimTest, WithoutABoardNothingReachesIt)
{
    virtual_board::shim::install(nullptr);
    clear_trace();
    const OrdinaryFile file;
    char byte = 0;
    EXPECT_EQ(write(file.descriptor, "abc", 3), 3);
    EXPECT_EQ(pread(file.descriptor, &byte, 1, 2), 1);
    EXPECT_EQ(byte, 'c');
    EXPECT_EQ(usleep(1), 0);
    EXPECT_NE(access("/dev/ipmc_fpga", F_OK), 0);
    void *memory = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_EQ(munmap(memory, 4096), 0);
    EXPECT_EQ(board.clock.now_us(), 0U);
    EXPECT_EQ(steps(), Names{});
}

TEST_F(ShimTest, AnotherBoardTakesOver)
{
    Board other;
    other.fpga().ram()[0] = 'Z';
    virtual_board::shim::install(nullptr);
    virtual_board::shim::install(&other);
    const int fpga = open(fpga_node, O_RDWR);
    EXPECT_EQ(ram_through(fpga, 1), "Z");
    close(fpga);
    virtual_board::shim::install(nullptr);
    EXPECT_EQ(board.trace.count(Operation::open, "fpga"), 0U);
}

// ---- mutexes ----

std::vector<virtual_board::shim::MutexEvent> mutex_events;

TEST_F(ShimTest, MutexesAreObservedWhileHeld)
{
    using virtual_board::shim::MutexEvent;
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static bool held_at_each = true;
    virtual_board::shim::observe_mutexes([](MutexEvent event, pthread_mutex_t *observed) {
        if (observed == &mutex) {
            mutex_events.push_back(event);
            held_at_each = held_at_each && pthread_mutex_trylock(&mutex) == EBUSY;
        }
    });
    EXPECT_EQ(pthread_mutex_lock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_trylock(&mutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    virtual_board::shim::observe_mutexes(nullptr);
    EXPECT_EQ(mutex_events,
              (std::vector{MutexEvent::locked, MutexEvent::refused, MutexEvent::unlocked,
                           MutexEvent::locked, MutexEvent::unlocked}));
    EXPECT_TRUE(held_at_each);
}

} // namespace
} // namespace board_test
