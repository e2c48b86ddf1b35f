// The environment partition as programs reach it, and as the backend sees it.

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::EnvironmentPartition;

constexpr char node[] = "/dev/mtdblock2";
constexpr size_t size = EnvironmentPartition::size;

class EnvironmentPartitionTest : public BoardTest {
protected:
    EnvironmentPartition &partition() { return board.environment(); }

    void *map(int descriptor)
    {
        return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    }

    // Flash with a byte for each place.
    static Bytes pattern()
    {
        Bytes bytes(size);
        for (size_t i = 0; i < size; ++i) {
            bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
        }
        return bytes;
    }
};

TEST_F(EnvironmentPartitionTest, IsABlockDevice)
{
    struct stat status = {};
    ASSERT_EQ(stat(node, &status), 0);
    EXPECT_TRUE(S_ISBLK(status.st_mode));
}

TEST_F(EnvironmentPartitionTest, ReadsAndSeeksLikeAFile)
{
    partition().set_bytes(pattern());
    const int descriptor = open(node, O_RDONLY);
    ASSERT_GE(descriptor, 0);
    Bytes all(size);
    EXPECT_EQ(read(descriptor, all.data(), size), static_cast<ssize_t>(size));
    EXPECT_EQ(all, pattern());
    EXPECT_EQ(read(descriptor, all.data(), 1), 0);

    EXPECT_EQ(lseek(descriptor, -4, SEEK_END), static_cast<off_t>(size - 4));
    EXPECT_EQ(read(descriptor, all.data(), 100), 4);
    EXPECT_TRUE(std::equal(all.begin(), all.begin() + 4, pattern().end() - 4));
    EXPECT_EQ(lseek(descriptor, 10, SEEK_SET), 10);
    EXPECT_EQ(lseek(descriptor, 5, SEEK_CUR), 15);
    EXPECT_EQ(lseek(descriptor, -1, SEEK_SET), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(lseek(descriptor, 1, SEEK_END), -1);
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 15);
    EXPECT_EQ(close(descriptor), 0);
}

TEST_F(EnvironmentPartitionTest, WritesReachTheFlashWhenTheLastUserCloses)
{
    partition().set_bytes(Bytes(size));
    const int first = open(node, O_RDWR);
    const int second = open(node, O_RDWR);
    EXPECT_EQ(lseek(first, size - 2, SEEK_SET), static_cast<off_t>(size - 2));
    EXPECT_EQ(write(first, "abc", 3), 2);
    EXPECT_EQ(write(first, "c", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    close(first);
    EXPECT_EQ(partition().bytes(), Bytes(size));
    char seen[2] = {};
    EXPECT_EQ(pread(second, seen, 2, size - 2), 2); // one cache for all
    EXPECT_EQ(seen[1], 'b');
    close(second);
    Bytes expected(size);
    expected[size - 2] = 'a';
    expected[size - 1] = 'b';
    EXPECT_EQ(partition().bytes(), expected);
    EXPECT_EQ(partition().opens(), 2U);
    EXPECT_EQ(partition().write_backs(), 1U);
}

TEST_F(EnvironmentPartitionTest, StoresReachTheFlashWhenTheMappingGoes)
{
    partition().set_bytes(pattern());
    const int descriptor = open(node, O_RDWR);
    void *mapped = map(descriptor);
    ASSERT_NE(mapped, MAP_FAILED);
    auto *bytes = static_cast<uint8_t *>(mapped);
    EXPECT_TRUE(std::equal(bytes, bytes + size, pattern().begin()));
    EXPECT_EQ(partition().mapped(), 1U);
    bytes[100] = 0xEE;
    EXPECT_EQ(partition().bytes(), pattern());
    EXPECT_EQ(munmap(mapped, size), 0);
    Bytes expected = pattern();
    expected[100] = 0xEE;
    EXPECT_EQ(partition().bytes(), expected);
    EXPECT_EQ(partition().mapped(), 0U);
    EXPECT_EQ(partition().maps(), 1U);
    close(descriptor);
    EXPECT_EQ(steps(), (Names{"open environment", "map environment", "unmap environment",
                              "close environment"}));
}

TEST_F(EnvironmentPartitionTest, IsTheStartOfItsFlashPart)
{
    const uint32_t place = 0x40000 + 0x40000;
    EXPECT_EQ(partition().bytes(), Bytes(size)) << "no variables";
    const int part = open("/dev/mtd2", O_RDWR);
    erase_info_user all = {0, 0x10000};
    EXPECT_EQ(ioctl(part, MEMERASE, &all), 0);
    EXPECT_EQ(partition().bytes(), Bytes(size, 0xFF));
    EXPECT_EQ(write(part, "ab", 2), 2);
    const int block = open(node, O_RDWR);
    EXPECT_EQ(pwrite(block, "cd", 2, 1), 2);
    close(block);
    char seen[4] = {};
    EXPECT_EQ(pread(part, seen, 4, 0), 4);
    EXPECT_EQ(std::string(seen, 4), "acd\xFF");
    EXPECT_EQ(board.flash().contents()[place + 2], 'd');
    EXPECT_EQ(board.flash().contents()[place + size], 0xFF);
    close(part);

    // On a file of its own it is another one.
    char name[] = "/tmp/environment_XXXXXX";
    close(mkstemp(name));
    partition().back_with(name);
    partition().set_bytes(pattern());
    EXPECT_EQ(board.flash().contents()[place], 'a');
    std::filesystem::remove(name);
}

TEST_F(EnvironmentPartitionTest, DoesNotMapMoreThanItHolds)
{
    const int descriptor = open(node, O_RDWR);
    EXPECT_EQ(mmap(nullptr, size + 1, PROT_READ, MAP_SHARED, descriptor, 0), MAP_FAILED);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(partition().maps(), 0U);
    close(descriptor);
}

TEST_F(EnvironmentPartitionTest, CleanPagesAreNotWrittenAndKeepAnArmedCut)
{
    partition().set_bytes(pattern());
    partition().cut_power_after(0, EnvironmentPartition::Medium::erased_first);
    const int descriptor = open(node, O_RDWR);
    munmap(map(descriptor), size);
    close(descriptor);
    EXPECT_EQ(partition().bytes(), pattern());
    EXPECT_EQ(partition().write_backs(), 0U);
}

TEST_F(EnvironmentPartitionTest, ACutHitsOneWriteBackAndTakesTheCacheWithIt)
{
    partition().set_bytes(pattern());
    const int descriptor = open(node, O_RDWR);
    auto *bytes = static_cast<uint8_t *>(map(descriptor));
    std::fill_n(bytes, size, uint8_t{0xEE});
    partition().cut_power_after(3, EnvironmentPartition::Medium::overwritten);
    munmap(bytes, size);
    close(descriptor);
    Bytes expected = pattern();
    std::fill_n(expected.begin(), 3, uint8_t{0xEE});
    EXPECT_EQ(partition().bytes(), expected);

    const int after = open(node, O_RDWR);
    EXPECT_EQ(write(after, "\x01\x02\x03\x04", 4), 4);
    close(after);
    expected[0] = 1;
    expected[1] = 2;
    expected[2] = 3;
    expected[3] = 4;
    EXPECT_EQ(partition().bytes(), expected);
}

TEST_F(EnvironmentPartitionTest, APlainFileTakesThePlaceOfTheFlash)
{
    std::string file = (std::filesystem::temp_directory_path() / "partition-XXXXXX").string();
    const int made = mkstemp(file.data());
    ASSERT_GE(made, 0);
    EXPECT_EQ(write(made, "short", 5), 5);
    close(made);
    partition().back_with(file);
    Bytes expected(size, 0xFF);
    std::copy_n("short", 5, expected.begin());
    EXPECT_EQ(partition().bytes(), expected);

    const int descriptor = open(node, O_RDWR);
    EXPECT_EQ(write(descriptor, "S", 1), 1);
    close(descriptor);
    expected[0] = 'S';
    std::ifstream stream(file, std::ios::binary);
    const Bytes found{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(found, expected);
    std::filesystem::remove(file);
    EXPECT_THROW(partition().back_with(file), std::runtime_error);
}

} // namespace
} // namespace board_test
