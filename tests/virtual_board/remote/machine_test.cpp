#include "virtual_board/remote/machine.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace {

using namespace virtual_board;
using namespace virtual_board::remote;
using Part = Machine::Part;
using Bytes = std::vector<uint8_t>;

class MachineTest : public testing::Test {
protected:
    long write(Board &board, const std::string &path, const Bytes &bytes, bool close = true)
    {
        std::shared_ptr<OpenFile> file;
        EXPECT_EQ(board.open(path, O_RDWR, file), 0);
        const long result = board.write(*file, bytes.data(), bytes.size());
        if (close) {
            board.close(*file);
        }
        return result;
    }

    static Bytes start_of(const Bytes &contents, size_t count)
    {
        return {contents.begin(), contents.begin() + static_cast<long>(count)};
    }

    Machine machine{Personality{}, {}, Clock::Mode::virtual_time};
};

TEST_F(MachineTest, HasPowerAndThenNone)
{
    const std::shared_ptr<Board> board = machine.board();
    ASSERT_NE(board, nullptr);
    EXPECT_EQ(machine.cut(), board);
    EXPECT_EQ(machine.board(), nullptr);
    EXPECT_EQ(machine.cut(), nullptr);
    machine.restore();
    ASSERT_NE(machine.board(), nullptr);
    EXPECT_NE(machine.board(), board);
    const std::shared_ptr<Board> second = machine.board();
    machine.restore();
    EXPECT_EQ(machine.board(), second) << "there was power";
}

TEST_F(MachineTest, KeepsItsFlashPartsAndNothingElse)
{
    const std::shared_ptr<Board> board = machine.board();
    const uint8_t product = board->cpld().get(0x04);
    board->cpld().set(0x04, static_cast<uint8_t>(product + 1));
    EXPECT_EQ(write(*board, "/dev/mtd1", {1, 2, 3}), 3);
    board->bios_flash().put(10, {4, 5});
    EXPECT_EQ(write(*board, "/dev/mtdblock2", {6, 7}), 2);
    machine.cut();
    machine.restore();
    const std::shared_ptr<Board> fresh = machine.board();
    EXPECT_EQ(fresh->cpld().get(0x04), product);
    EXPECT_EQ(fresh->flash().contents()[0x40000 + 2], 3);
    EXPECT_EQ(fresh->bios_flash().contents()[11], 5);
    EXPECT_EQ(start_of(fresh->environment().bytes(), 2), Bytes({6, 7}));
}

TEST_F(MachineTest, LosesWhatIsOnlyInTheCache)
{
    const std::shared_ptr<Board> board = machine.board();
    EXPECT_EQ(write(*board, "/dev/mtdblock2", {6, 7}, false), 2);
    machine.cut();
    machine.restore();
    EXPECT_NE(start_of(machine.board()->environment().bytes(), 2), Bytes({6, 7}));
}

TEST_F(MachineTest, NothingReachesAPartWithoutPower)
{
    const std::shared_ptr<Board> board = machine.board();
    machine.cut();
    EXPECT_EQ(write(*board, "/dev/mtd0", {1}), -EIO);
    machine.restore();
    EXPECT_EQ(machine.board()->flash().contents()[0], 0xFF);
}

TEST_F(MachineTest, TearsTheWriteThatThePowerFailsIn)
{
    const std::shared_ptr<Board> board = machine.board();
    machine.cut_after(Part::flash, 5);
    EXPECT_EQ(write(*board, "/dev/mtd0", {1, 2, 3}), 3);
    EXPECT_FALSE(machine.power_failed());
    EXPECT_EQ(write(*board, "/dev/mtd0", {1, 2, 3, 4, 5, 6}), -EIO);
    EXPECT_TRUE(machine.power_failed());
    EXPECT_FALSE(board->bios_flash().powered()) << "all parts are on one supply";
    EXPECT_EQ(machine.cut_failed(), board);
    EXPECT_FALSE(machine.power_failed());
    machine.restore();
    EXPECT_EQ(start_of(machine.board()->flash().contents(), 4), Bytes({1, 2, 3, 0xFF}));
    EXPECT_EQ(write(*machine.board(), "/dev/mtd1", {9}), 1);
}

TEST_F(MachineTest, TearsTheWriteBackThatThePowerFailsIn)
{
    const std::shared_ptr<Board> board = machine.board();
    const Bytes before = board->environment().bytes();
    machine.cut_after(Part::environment, 2);
    EXPECT_EQ(write(*board, "/dev/mtdblock2", {1, 2, 3}), 3);
    EXPECT_TRUE(machine.power_failed());
    EXPECT_EQ(write(*board, "/dev/mtdblock2", {7, 7, 7}), 3) << "into the cache";
    machine.cut_failed();
    machine.restore();
    EXPECT_EQ(start_of(machine.board()->environment().bytes(), 3), Bytes({1, 2, before[2]}));
}

TEST_F(MachineTest, DoesNotFollowAFailureThatIsOver)
{
    machine.cut_after(Part::flash, 0);
    EXPECT_EQ(write(*machine.board(), "/dev/mtd0", {1}), -EIO);
    machine.cut();
    machine.restore();
    EXPECT_EQ(machine.cut_failed(), nullptr);
    EXPECT_NE(machine.board(), nullptr);
}

TEST(Machine, HasItsFaultsUntilThePowerGoes)
{
    const Fault fault = {
        .name = "late", .device = "mtd0", .operation = Operation::open, .value = EBUSY};
    Machine machine(Personality{}, {fault}, Clock::Mode::virtual_time);
    std::shared_ptr<OpenFile> file;
    EXPECT_EQ(machine.board()->open("/dev/mtd0", O_RDONLY, file), -EBUSY);
    machine.cut();
    machine.restore();
    EXPECT_EQ(machine.board()->open("/dev/mtd0", O_RDONLY, file), 0);
    machine.board()->close(*file);
}

TEST(Machine, GivesEveryBoardACompanion)
{
    std::vector<Board *> seen;
    Machine machine(Personality{}, {}, Clock::Mode::virtual_time, [&seen](Board &board) {
        seen.push_back(&board);
        return std::make_shared<size_t>(seen.size());
    });
    EXPECT_EQ(*static_cast<size_t *>(machine.companion().get()), 1U);
    EXPECT_EQ(seen.back(), machine.board().get());
    machine.cut();
    EXPECT_EQ(machine.companion(), nullptr);
    machine.restore();
    EXPECT_EQ(*static_cast<size_t *>(machine.companion().get()), 2U);
    EXPECT_EQ(seen.back(), machine.board().get());
}

} // namespace
