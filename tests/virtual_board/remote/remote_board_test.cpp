// Both ends of a served board, in one process.

#include "virtual_board/remote/remote_board.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <thread>

#include "board_hal_cpld.h"
#include "tests/virtual_board/remote/served_board.h"

namespace board_test {
namespace {

using virtual_board::Fault;

class RemoteBoardTest : public ServedBoard {
protected:
    std::shared_ptr<OpenFile> open(Bus &bus, const std::string &path, int flags = O_RDWR)
    {
        std::shared_ptr<OpenFile> file;
        EXPECT_EQ(bus.open(path, flags, file), 0) << path;
        return file;
    }

    std::unique_ptr<RemoteBoard> remote = join();
};

TEST_F(RemoteBoardTest, ReadsAndWritesAFlashPart)
{
    const auto file = open(*remote, "/dev/mtd1");
    EXPECT_EQ(remote->write(*file, "abc", 3), 3);
    EXPECT_EQ(remote->seek(*file, 1, SEEK_SET), 1);
    char text[8] = "-------";
    EXPECT_EQ(remote->read(*file, text, 3), 3);
    EXPECT_EQ(std::string(text), "bc\xFF----");
    EXPECT_EQ(remote->pread(*file, text, 1, 0), 1);
    EXPECT_EQ(text[0], 'a');
    EXPECT_EQ(remote->pwrite(*file, "X", 1, 8), 1);
    EXPECT_EQ(remote->seek(*file, 0, SEEK_CUR), 4) << "the others have places of their own";
    EXPECT_EQ(board()->flash().contents()[0x40000 + 8], 'X');
    EXPECT_EQ(remote->seek(*file, -1, SEEK_SET), -EINVAL);
}

TEST_F(RemoteBoardTest, MovesAWholePartAtOnce)
{
    const auto file = open(*remote, "/dev/mtd0");
    std::vector<uint8_t> bytes(0x40000);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i * 13);
    }
    EXPECT_EQ(remote->write(*file, bytes.data(), bytes.size()), 0x40000);
    std::vector<uint8_t> back(bytes.size() + 10, 0x5A);
    EXPECT_EQ(remote->pread(*file, back.data(), back.size(), 0), 0x40000);
    EXPECT_EQ(std::vector<uint8_t>(back.begin(), back.end() - 10), bytes);
    EXPECT_EQ(back.back(), 0x5A);
    EXPECT_EQ(events(Operation::write).size(), 1U);
}

// The driver takes a record's length from its first byte, not from the count.
TEST_F(RemoteBoardTest, TakesRecordsThatAreLongerThanTheCount)
{
    const auto file = open(*remote, "/dev/ipmc_fpga");
    uint8_t set[7] = {0x61, 0x34, 0x12, 1, 2, 3, 4};
    EXPECT_EQ(remote->write(*file, set, 1), 1);
    EXPECT_EQ(board()->fpga().get_register(0x1234), 0x04030201U);
    uint8_t get[8] = {0x61, 0x34, 0x12, 0, 0, 0, 0, 0xEE};
    EXPECT_EQ(remote->read(*file, get, 1), 4);
    EXPECT_EQ(memcmp(get, "\x01\x02\x03\x04\0\0\0\xEE", 8), 0);
}

TEST_F(RemoteBoardTest, TakesARecordAtTheEndOfMemory)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *memory =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    ASSERT_EQ(munmap(static_cast<uint8_t *>(memory) + page, page), 0);
    auto *record = static_cast<uint8_t *>(memory) + page - 7;
    memcpy(record, "\x61\x34\x12\x01\x02\x03\x04", 7);
    const auto file = open(*remote, "/dev/ipmc_fpga");
    EXPECT_EQ(remote->write(*file, record, 1), 1);
    EXPECT_EQ(board()->fpga().get_register(0x1234), 0x04030201U);
    EXPECT_EQ(remote->read(*file, record, 1), 4);
    munmap(memory, page);
}

TEST_F(RemoteBoardTest, TakesNoRecordFromWhereThereIsNoMemory)
{
    char to = 0;
    char from = 0;
    const iovec parts[] = {{&to, 1}, {&from, 1}};
    if (process_vm_readv(getpid(), &parts[0], 1, &parts[1], 1, 0) != 1) {
        GTEST_SKIP() << "this machine does not say where a program has memory";
    }
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void *memory = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    const auto file = open(*remote, "/dev/ipmc_fpga");
    EXPECT_EQ(remote->write(*file, memory, 1), -EFAULT);
    EXPECT_EQ(remote->read(*file, memory, 1), -EFAULT);
    munmap(memory, page);
}

TEST_F(RemoteBoardTest, MakesRequests)
{
    const auto flash = open(*remote, "/dev/mtd1");
    mtd_info_user info = {};
    EXPECT_EQ(remote->ioctl(*flash, MEMGETINFO, &info), 0);
    EXPECT_EQ(info.size, 0x40000U);
    EXPECT_EQ(remote->write(*flash, "a", 1), 1);
    erase_info_user range = {0, 0x10000};
    EXPECT_EQ(remote->ioctl(*flash, MEMERASE, &range), 0);
    EXPECT_EQ(board()->flash().contents()[0x40000], 0xFF);
    EXPECT_EQ(remote->ioctl(*flash, MEMGETINFO, nullptr), -EFAULT);

    const auto i2c = open(*remote, "/dev/i2c-0");
    EXPECT_EQ(remote->ioctl(*i2c, I2C_SLAVE, reinterpret_cast<void *>(0x50)), 0);
    std::array<uint8_t, 2> offset = {0, 3};
    std::array<uint8_t, 1> answer = {0};
    i2c_msg messages[] = {{0x50, 0, 2, offset.data()}, {0x50, I2C_M_RD, 1, answer.data()}};
    i2c_rdwr_ioctl_data data = {messages, 2};
    EXPECT_EQ(remote->ioctl(*i2c, I2C_RDWR, &data), 2);
    EXPECT_EQ(answer[0], 0xFF);
    EXPECT_EQ(data.msgs, messages);
}

TEST_F(RemoteBoardTest, SaysWhatTheDevicesAre)
{
    struct stat status = {};
    EXPECT_EQ(remote->status("/dev/i2c-0", status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(major(status.st_rdev), 89U);
    EXPECT_EQ(remote->status("/dev/mtd9", status), -ENOENT);
    const auto file = open(*remote, "/dev/mtdblock2");
    EXPECT_EQ(remote->status(*file, status), 0);
    EXPECT_TRUE(S_ISBLK(status.st_mode));
    std::shared_ptr<OpenFile> none;
    EXPECT_EQ(remote->open("/dev/mtd9", O_RDONLY, none), -ENOENT);
    EXPECT_EQ(none, nullptr);
}

// ---- open files ----

TEST_F(RemoteBoardTest, GivesADescriptorThatCountsTheHolders)
{
    const auto file = open(*remote, "/dev/mtd1", O_RDWR);
    ASSERT_GE(file->descriptor, 0);
    EXPECT_EQ(fcntl(file->descriptor, F_GETFD), 0);
    const int second = dup(file->descriptor);
    remote->close(*file);
    EXPECT_EQ(file->descriptor, -1);
    remote->synchronise();
    EXPECT_EQ(server->open_files(), 1U);
    EXPECT_EQ(board()->open_files(), 1U);
    ::close(second);
    remote->synchronise();
    EXPECT_EQ(server->open_files(), 0U) << "at once: the program has asked since";
    EXPECT_EQ(board()->open_files(), 0U);
    EXPECT_EQ(events(Operation::close).size(), 1U);
}

TEST_F(RemoteBoardTest, HasClosedAFileWhenTheProgramAsksAgain)
{
    for (int i = 0; i < 300; ++i) {
        const auto file = open(*remote, "/dev/mtd1");
        remote->close(*file);
        remote->synchronise();
        ASSERT_EQ(board()->open_files(), 0U) << i;
    }
}

TEST_F(RemoteBoardTest, ClosesWhatTheProgramLetsGoWithoutAsking)
{
    const auto file = open(*remote, "/dev/mtd1");
    remote->close(*file);
    // The server forgets the file before the board closes it.
    wait_until([this] { return server->open_files() == 0; });
    wait_until([this] { return board()->open_files() == 0; });
}

TEST_F(RemoteBoardTest, KeepsADescriptorOverExecOnlyIfAsked)
{
    const auto file = open(*remote, "/dev/mtd1", O_RDWR | O_CLOEXEC);
    EXPECT_EQ(fcntl(file->descriptor, F_GETFD), FD_CLOEXEC);
    remote->close(*file);
}

TEST_F(RemoteBoardTest, RecognisesItsDescriptors)
{
    const auto file = open(*remote, "/dev/mtd1", O_RDONLY);
    EXPECT_EQ(remote->adopt(file->descriptor), file);
    const int copy = dup(file->descriptor);
    EXPECT_EQ(remote->adopt(copy), file);

    const auto other_program = join();
    errno = ENOLCK;
    const auto adopted = other_program->adopt(copy);
    EXPECT_EQ(errno, ENOLCK);
    ASSERT_NE(adopted, nullptr);
    EXPECT_EQ(adopted->path, "/dev/mtd1");
    EXPECT_EQ(adopted->flags, O_RDONLY);
    char byte = 0;
    EXPECT_EQ(other_program->read(*adopted, &byte, 1), 1);
    EXPECT_EQ(remote->seek(*file, 0, SEEK_CUR), 1) << "one open file";
    ::close(copy);
    remote->close(*file);
}

TEST_F(RemoteBoardTest, SeesThatADescriptorLeadsElsewhere)
{
    const auto file = open(*remote, "/dev/mtd1");
    const auto other = open(*remote, "/dev/mtd1");
    EXPECT_TRUE(remote->leads_to(file->descriptor, *file));
    EXPECT_FALSE(remote->leads_to(file->descriptor, *other));
    EXPECT_FALSE(remote->leads_to(STDERR_FILENO, *file));
    EXPECT_FALSE(remote->leads_to(12345, *file));
    remote->close(*file);
    remote->close(*other);
}

TEST_F(RemoteBoardTest, RecognisesNothingElse)
{
    int both[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, both), 0);
    const int null = ::open("/dev/null", O_RDONLY);
    errno = ENOLCK;
    for (const int descriptor : {-1, 12345, null, both[0], STDERR_FILENO}) {
        EXPECT_EQ(remote->adopt(descriptor), nullptr) << descriptor;
    }
    EXPECT_EQ(errno, ENOLCK);
    ::close(both[0]);
    ::close(both[1]);
    ::close(null);
}

TEST_F(RemoteBoardTest, LeadsToTheRealNodeBehindADevice)
{
    const auto file = open(*remote, "/dev/ttyS0");
    EXPECT_EQ(file->real_node, board()->uart().real_path());
    EXPECT_GE(file->descriptor, 512) << "out of the program's way";
    size_t calls = 0;
    const auto transfer = [&calls] {
        ++calls;
        return 5L;
    };
    EXPECT_EQ(remote->pass(*file, Operation::write, 0, 5, transfer), 5);
    board()->act([this] {
        board()->faults.add(
            {.name = "x", .device = "ttyS0", .operation = Operation::write, .value = EIO});
    });
    EXPECT_EQ(remote->pass(*file, Operation::write, 0, 5, transfer), -EIO);
    EXPECT_EQ(calls, 1U);
    ASSERT_EQ(events(Operation::write).size(), 2U);
    EXPECT_EQ(events(Operation::write)[0].result, 5);
    remote->close(*file);
}

// ---- registers ----

TEST_F(RemoteBoardTest, AccessesRegistersOneByOne)
{
    const auto file = open(*remote, "/dev/ipmc_cpld");
    remote->stores_are_watched(true);
    Mapping mapping;
    ASSERT_EQ(remote->map(*file, CPLD_WINDOW_SIZE, mapping), 0);
    EXPECT_TRUE(mapping.watched);
    EXPECT_TRUE(mapping.private_copy);
    EXPECT_LT(mapping.descriptor, 0);

    std::vector<uint8_t> window(CPLD_WINDOW_SIZE);
    board()->cpld().set(0x20, 0x11);
    remote->access_begins(window.data(), window.size(), 0x20, false);
    EXPECT_EQ(window[0x20], 0x11);
    remote->access_ends();
    remote->loaded(0x20);
    remote->find_stores();
    EXPECT_EQ(events(Operation::load).size(), 1U);
    EXPECT_TRUE(events(Operation::store).empty());

    remote->access_begins(window.data(), window.size(), 0x20, true);
    window[0x20] = 0x22;
    window[0x22] = 0x33; // the same instruction, or another thread
    remote->access_ends();
    remote->stored(0x20, 0x11);
    remote->find_stores();
    EXPECT_EQ(board()->cpld().get(0x20), 0x22);
    EXPECT_EQ(board()->cpld().get(0x22), 0x33);
    const auto stores = events(Operation::store);
    ASSERT_EQ(stores.size(), 2U);
    EXPECT_EQ(stores[0].bytes, Bytes({0x11, 0x22}));
    EXPECT_EQ(events(Operation::load).size(), 1U);
    remote->close(*file);
}

// Another program stores between this one's load and its store of the same byte.
TEST_F(RemoteBoardTest, DoesNotTakeAnotherProgramsStoreForItsOwn)
{
    std::vector<uint8_t> window(CPLD_WINDOW_SIZE);
    remote->access_begins(window.data(), window.size(), 0x20, true);
    window[0x20] = 0x22;
    join()->synchronise();
    board()->store(0x30, 0x44);
    remote->access_ends();
    remote->stored(0x20, 0);
    remote->find_stores();
    EXPECT_EQ(board()->cpld().get(0x30), 0x44);
    EXPECT_EQ(events(Operation::store).size(), 2U);
}

TEST_F(RemoteBoardTest, SharesTheWindowWhereAccessesAreNotWatched)
{
    const auto file = open(*remote, "/dev/ipmc_cpld");
    remote->stores_are_watched(false);
    Mapping mapping;
    ASSERT_EQ(remote->map(*file, CPLD_WINDOW_SIZE, mapping), 0);
    EXPECT_FALSE(mapping.private_copy);
    ASSERT_TRUE(mapping.close_when_mapped);
    auto *window = static_cast<uint8_t *>(
        mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, mapping.descriptor, 0));
    ASSERT_NE(window, MAP_FAILED);
    ::close(mapping.descriptor);
    window[0x21] = 0x55;
    remote->synchronise();
    ASSERT_EQ(events(Operation::store).size(), 1U);

    // The same, but it is gone before it tells.
    window[0x21] = 0x66;
    remote->close(*file);
    remote.reset();
    wait_until([this] { return events(Operation::store).size() == 2; });
    EXPECT_EQ(events(Operation::store)[1].bytes, Bytes({0x55, 0x66}));
    munmap(window, CPLD_WINDOW_SIZE);
}

TEST_F(RemoteBoardTest, MapsOtherDevicesAsTheyAre)
{
    const auto file = open(*remote, "/dev/mtdblock2");
    Mapping mapping;
    ASSERT_EQ(remote->map(*file, 8192, mapping), 0);
    auto *bytes = static_cast<uint8_t *>(
        mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_SHARED, mapping.descriptor, 0));
    ASSERT_NE(bytes, MAP_FAILED);
    ::close(mapping.descriptor);
    remote->mapped_at(bytes, *file);
    bytes[0] = 0x42;
    remote->unmapped_at(bytes + 1, 8192); // none of the board's
    EXPECT_EQ(board()->environment().mapped(), 1U);
    remote->unmapped_at(bytes, 8192);
    munmap(bytes, 8192);
    EXPECT_EQ(board()->environment().mapped(), 0U);
    EXPECT_EQ(board()->environment().bytes()[0], 0x42);
    EXPECT_EQ(remote->map(*file, 8193, mapping), -EINVAL);
    remote->close(*file);
}

TEST_F(RemoteBoardTest, UnmapsWhatAProgramLeavesBehind)
{
    const auto file = open(*remote, "/dev/mtdblock2");
    Mapping mapping;
    ASSERT_EQ(remote->map(*file, 8192, mapping), 0);
    ::close(mapping.descriptor);
    remote->close(*file);
    remote.reset();
    wait_until(
        [this] { return board()->act([this] { return board()->environment().mapped(); }) == 0; });
}

// ---- the rest of the bus ----

TEST_F(RemoteBoardTest, AsksTheNetworkPort)
{
    EXPECT_EQ(remote->network_port(), "eth0");
    EXPECT_EQ(remote->control_socket(), 0);
    board()->network().set_link(1);
    ethtool_value value = {ETHTOOL_GLINK, 77};
    EXPECT_EQ(remote->ethtool(&value), 0);
    EXPECT_EQ(value.data, 1U);
    EXPECT_EQ(remote->ethtool(nullptr), -EFAULT);
}

TEST_F(RemoteBoardTest, SharesTheBoardsTime)
{
    EXPECT_TRUE(remote->time_is_virtual());
    remote->slept(1500);
    EXPECT_EQ(board()->clock.now_us(), 1500U);
    const timeval date = {1000000000, 7};
    EXPECT_EQ(remote->set_time(&date, nullptr), 0);
    timeval now = {};
    EXPECT_EQ(remote->get_time(&now, nullptr), 0);
    EXPECT_EQ(now.tv_sec, 1000000000);
}

TEST_F(RemoteBoardTest, RunsProgramsHereAndThere)
{
    size_t calls = 0;
    const auto really = [&calls] {
        ++calls;
        return 3 << 8;
    };
    EXPECT_EQ(remote->run({"/sbin/insmod", "/ko/m25p80.ko"}, really), 0);
    EXPECT_EQ(calls, 0U);
    struct stat status = {};
    EXPECT_EQ(remote->status("/dev/mtd6", status), 0);
    EXPECT_EQ(remote->run({"/bin/date", "-u"}, really), 3 << 8);
    EXPECT_EQ(calls, 1U);
    ASSERT_EQ(events(Operation::run).size(), 2U);
    EXPECT_EQ(events(Operation::run)[1].device, "/bin/date -u");
}

// ---- many at once ----

TEST_F(RemoteBoardTest, AnswersWhileAnotherCallWaits)
{
    const auto file = open(*remote, "/dev/ttyS0");
    const long result = remote->pass(*file, Operation::read, 0, 1, [this] {
        char byte = 0;
        const auto flash = open(*remote, "/dev/mtd1");
        EXPECT_EQ(remote->read(*flash, &byte, 1), 1);
        remote->close(*flash);
        return 1L;
    });
    EXPECT_EQ(result, 1);
    remote->close(*file);
}

TEST_F(RemoteBoardTest, ServesThreadsSideBySide)
{
    const auto file = open(*remote, "/dev/mtd1");
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (int i = 0; i < 50; ++i) {
                const auto byte = static_cast<uint8_t>(number * 50 + i);
                EXPECT_EQ(remote->pwrite(*file, &byte, 1, byte), 1);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    for (size_t i = 0; i < 200; ++i) {
        EXPECT_EQ(board()->flash().contents()[0x40000 + i], i);
    }
    remote->close(*file);
}

TEST_F(RemoteBoardTest, MakesANewConnectionWhenTheProgramHasTakenItsDescriptor)
{
    for (int descriptor = 512; descriptor < 600; ++descriptor) {
        dup2(STDERR_FILENO, descriptor);
    }
    char byte = 0;
    const auto file = open(*remote, "/dev/mtd1");
    EXPECT_EQ(remote->read(*file, &byte, 1), 1);
    for (int descriptor = 512; descriptor < 600; ++descriptor) {
        EXPECT_EQ(fcntl(descriptor, F_GETFD), 0) << "the program's own";
        ::close(descriptor);
    }
}

TEST_F(RemoteBoardTest, AChildHasConnectionsOfItsOwn)
{
    const auto file = open(*remote, "/dev/mtd1");
    remote->before_fork();
    const pid_t child = fork();
    if (child == 0) {
        // No thread of the server is in here: what it says is not heard, and it must
        // not touch what the parent has.
        _exit(0);
    }
    remote->after_fork_in_parent();
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(remote->seek(*file, 2, SEEK_SET), 2);
    remote->close(*file);
}

// ---- no board ----

TEST_F(RemoteBoardTest, FailsWhenTheBoardHasGone)
{
    const auto file = open(*remote, "/dev/mtd1");
    server.reset();
    testing::internal::CaptureStderr();
    char byte = 0;
    EXPECT_EQ(remote->read(*file, &byte, 1), -EIO);
    EXPECT_EQ(remote->write(*file, &byte, 1), -EIO);
    EXPECT_EQ(remote->seek(*file, 0, SEEK_SET), -EIO);
    mtd_info_user info = {};
    EXPECT_EQ(remote->ioctl(*file, MEMGETINFO, &info), -EIO);
    struct stat status = {};
    EXPECT_EQ(remote->status(*file, status), -EIO);
    std::shared_ptr<OpenFile> none;
    EXPECT_EQ(remote->open("/dev/mtd1", O_RDONLY, none), -EIO);
    Mapping mapping;
    EXPECT_EQ(remote->map(*file, 4096, mapping), -EIO);
    EXPECT_EQ(remote->pass(*file, Operation::read, 0, 1, [] { return 1L; }), -EIO);
    EXPECT_EQ(remote->run({"/bin/true"}, [] { return 0; }), -EIO);
    std::vector<uint8_t> window(16);
    remote->access_begins(window.data(), window.size(), 0, false);
    EXPECT_EQ(window[3], 0xFF) << "nothing drives the bus";
    timeval now = {};
    EXPECT_EQ(remote->get_time(&now, nullptr), 0) << "the machine's";
    EXPECT_NE(now.tv_sec, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "virtual board: the board at test has gone\n");
    remote->close(*file);
}

TEST_F(RemoteBoardTest, NeedsABoardToBeginWith)
{
    server.reset();
    EXPECT_THROW(join(), std::runtime_error);
}

TEST_F(RemoteBoardTest, IsToldWhenTheBoardHasNoPower)
{
    machine.cut();
    try {
        join();
        FAIL() << "joined";
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "the board has no power");
    }
}

TEST_F(RemoteBoardTest, LosesABoardWithoutPowerForGood)
{
    const auto file = open(*remote, "/dev/mtd1");
    machine.cut_after(Machine::Part::flash, 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(remote->write(*file, "\x01\x02", 2), -EIO) << "it never learns what came of it";
    testing::internal::GetCapturedStderr();
    wait_until([this] { return machine.board() == nullptr; });
    machine.restore();
    EXPECT_EQ(board()->flash().contents()[0x40000], 1);
    EXPECT_EQ(board()->flash().contents()[0x40001], 0xFF);
    const auto fresh = join();
    char byte = 0;
    EXPECT_EQ(fresh->read(*file, &byte, 1), -EBADF) << "a file of the board that was";
    remote->close(*file);
}

} // namespace
} // namespace board_test
