// Programs that are killed at any moment, on a board that others use.
//
// BOARD_HAL_STRESS_SECONDS says for how long, BOARD_HAL_STRESS_SEED with what seed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "virtual_board/remote/board_socket.h"
#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/remote_board.h"
#include "virtual_board/remote/server.h"

namespace {

using namespace virtual_board;
using namespace virtual_board::remote;
using Bytes = std::vector<uint8_t>;

constexpr size_t clients_at_once = 4;
constexpr uint32_t block_size = 0x10000;
constexpr size_t record_size = 64;
constexpr uint32_t scratch_register = 0xF0;

unsigned long setting(const char *name, unsigned long usual)
{
    const char *text = getenv(name);
    return text == nullptr ? usual : strtoul(text, nullptr, 10);
}

class KilledClientsTest : public testing::Test {
protected:
    KilledClientsTest()
    {
        server.listen(socket.take());
        survivor = std::make_unique<RemoteBoard>(connector_to(socket.path()), "test");
    }

    static std::string temporary_folder()
    {
        char name[] = "/tmp/killed-clients-XXXXXX";
        return mkdtemp(name);
    }
    void TearDown() override { rmdir(folder.c_str()); }

    pid_t start(unsigned number)
    {
        std::vector<std::string> words = {BOARD_CLIENT, "stress", std::to_string(random()),
                                          std::to_string(number)};
        std::vector<std::string> entries = {"LD_PRELOAD=" PRELOAD_LIBRARY,
                                            "VIRTUAL_BOARD=" + socket.path(),
                                            "ASAN_OPTIONS=verify_asan_link_order=0"};
        pid_t process = -1;
        EXPECT_EQ(posix_spawn(&process, BOARD_CLIENT, nullptr, nullptr, pointers(words).data(),
                              pointers(entries).data()),
                  0);
        return process;
    }

    static std::vector<char *> pointers(std::vector<std::string> &texts)
    {
        std::vector<char *> all;
        std::transform(texts.begin(), texts.end(), std::back_inserter(all),
                       [](std::string &text) { return text.data(); });
        all.push_back(nullptr);
        return all;
    }

    // None of them ends otherwise: a client that sees something wrong aborts.
    void kill_and_check(pid_t process)
    {
        ASSERT_EQ(kill(process, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(process, &status, 0), process);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    }

    // Another program, which lives on, finds what it has left.
    void check_survivor()
    {
        survivor_value = static_cast<uint8_t>(survivor_value + 1);
        uint8_t set[7] = {0x61, 0xFF, 0x40, survivor_value, 0, 0, 0};
        uint8_t get[7] = {0x61, 0xFF, 0x40};
        std::shared_ptr<OpenFile> fpga;
        ASSERT_EQ(survivor->open("/dev/ipmc_fpga", O_RDWR, fpga), 0);
        EXPECT_EQ(survivor->write(*fpga, set, 1), 1);
        EXPECT_EQ(survivor->read(*fpga, get, 1), 4);
        EXPECT_EQ(get[0], survivor_value);
        survivor->close(*fpga);
    }

    void check_nothing_left()
    {
        while (server.programs() > 1 || server.open_files() > 0 ||
               board().act([this] { return board().environment().mapped(); }) > 0) {
            sched_yield();
        }
        EXPECT_EQ(board().open_files(), 0U);
    }

    // A record in the flash is whole, or not there.
    void check_flash()
    {
        const Bytes &all = board().flash().contents();
        const size_t start = all.size() - 0x800000;
        size_t written = 0;
        for (size_t at = start; at < start + clients_at_once * block_size; at += record_size) {
            const auto record = all.begin() + static_cast<long>(at);
            ASSERT_TRUE(std::all_of(record, record + record_size,
                                    [&](uint8_t byte) { return byte == *record; }))
                << "torn at " << at - start;
            written += *record != NorFlash::erased ? 1 : 0;
        }
        EXPECT_GT(written, 0U);
    }

    void check_registers()
    {
        for (const uint32_t offset : {scratch_register, scratch_register + 1}) {
            const uint8_t value = board().cpld().get(offset);
            EXPECT_EQ(value >> 4, value & 0x0F) << offset;
        }
    }

    Board &board() { return *machine.board(); }

    std::mt19937 random{static_cast<unsigned>(setting("BOARD_HAL_STRESS_SEED", 1))};
    std::string folder = temporary_folder();
    Machine machine{Personality{}};
    ListeningSocket socket{folder + "/board"};
    BoardServer server{machine};
    std::unique_ptr<RemoteBoard> survivor;
    uint8_t survivor_value = 0;
};

TEST_F(KilledClientsTest, LeaveTheBoardAndTheOthersWorking)
{
    const time_t end = time(nullptr) + static_cast<time_t>(setting("BOARD_HAL_STRESS_SECONDS", 4));
    std::vector<pid_t> clients(clients_at_once);
    for (unsigned number = 0; number < clients_at_once; ++number) {
        clients[number] = start(number);
    }
    unsigned killed = 0;
    do {
        // The moment is the point: anything from its start to long after.
        usleep(static_cast<useconds_t>(random() % 40000));
        const auto victim = static_cast<unsigned>(random() % clients_at_once);
        kill_and_check(clients[victim]);
        ++killed;
        check_survivor();
        clients[victim] = start(victim);
    } while (time(nullptr) < end && !HasFailure());
    for (const pid_t client : clients) {
        kill_and_check(client);
    }
    check_nothing_left();
    check_flash();
    check_registers();
    EXPECT_GT(board().environment().maps(), 10U);
    EXPECT_GT(killed, 10U);
    printf("%u clients killed\n", killed);
}

} // namespace
