// The board as a whole: its nodes, personalities and trace.

#include "virtual_board/board.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board_hal_cpld.h"

namespace board_test {
namespace {

using virtual_board::Board;
using virtual_board::Device;
using virtual_board::Event;
using virtual_board::OpenFile;
using virtual_board::Operation;
using virtual_board::Personality;
using Bytes = std::vector<uint8_t>;

TEST(VirtualBoardTest, PersonalityIsInTheRegisters)
{
    Personality corvo;
    corvo.board_id = 0x21;
    corvo.pcb_version = 2;
    corvo.bom_version = 9;
    corvo.product_id = 7;
    corvo.cpld_version = 0x33;
    corvo.cpld_compile_time = {1, 2, 3, 4, 5};
    Board board(corvo);
    const Bytes expected = {0x21, 2, 9, 7, 0, 0x33, 0, 0, 0, 1, 2, 3, 4, 5};
    for (uint32_t offset = 0; offset < expected.size(); ++offset) {
        EXPECT_EQ(board.cpld().get(offset), expected[offset]) << offset;
    }
    EXPECT_EQ(board.cpld().get(0x83), CPLD_POWER_BUTTON_ENABLE);
    EXPECT_FALSE(board.host().powered());
}

TEST(VirtualBoardTest, APersonalityMayBePoweredAndLocked)
{
    Personality personality;
    personality.host_powered = true;
    personality.power_button_locked = true;
    Board board(personality);
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(board.cpld().get(0x83), 0);
    EXPECT_EQ(board.cpld().get(0x84), CPLD_CHIPSET_STATUS);
}

TEST(VirtualBoardTest, OwnsTheBoardsPathsAlone)
{
    for (const char *path : {"/dev/ipmc_cpld", "/dev/ipmc_fpga", "/dev/ipmc_anything", "/dev/i2c-0",
                             "/dev/rtc", "/dev/spear_adc", "/dev/spi", "/dev/ttyS0", "/dev/mtd6",
                             "/dev/mtdblock2", "/sys/class/gpio/export", "/ko/m25p80.ko"}) {
        EXPECT_TRUE(Board::owns(path)) << path;
    }
    for (const char *path : {"", "/dev", "/dev/null", "/dev/tty", "/dev/i2c", "/sys/class/net",
                             "/tmp/dev/rtc", "dev/rtc", "/kot"}) {
        EXPECT_FALSE(Board::owns(path)) << path;
    }
}

class VirtualBoardNodesTest : public ::testing::Test {
protected:
    long open(const std::string &path) { return board.open(path, O_RDWR, file); }

    Board board;
    std::shared_ptr<OpenFile> file;
};

TEST_F(VirtualBoardNodesTest, NodesOfTheBoardOpenAndClose)
{
    for (const char *path :
         {"/dev/ipmc_cpld", "/dev/ipmc_fpga", "/dev/i2c-0", "/dev/rtc", "/sys/class/gpio/export"}) {
        EXPECT_EQ(open(path), 0) << path;
        EXPECT_EQ(board.open_files(), 1U);
        board.close(*file);
        EXPECT_EQ(board.open_files(), 0U);
    }
}

TEST_F(VirtualBoardNodesTest, MissingNodesFail)
{
    EXPECT_EQ(open("/dev/mtd9"), -ENOENT);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(board.open_files(), 0U);
    struct stat status = {};
    EXPECT_EQ(board.status("/dev/mtd9", status), -ENOENT);
}

TEST_F(VirtualBoardNodesTest, DevicesComeAndGo)
{
    class Rtc : public Device {
    public:
        Rtc() : Device("clock") {}
        long open(OpenFile &) override { return refuses ? -EBUSY : 0; }
        void release(OpenFile &) override { ++releases; }
        bool refuses = false;
        unsigned releases = 0;
    };
    const auto rtc = std::make_shared<Rtc>();
    board.attach("/dev/rtc", rtc);
    EXPECT_EQ(open("/dev/rtc"), 0);
    EXPECT_EQ(file->device, rtc);
    board.close(*file);
    EXPECT_EQ(rtc->releases, 1U);
    rtc->refuses = true;
    EXPECT_EQ(open("/dev/rtc"), -EBUSY);
    EXPECT_EQ(board.open_files(), 0U);
    board.detach("/dev/rtc");
    EXPECT_EQ(open("/dev/rtc"), -ENOENT);
}

TEST_F(VirtualBoardNodesTest, StatusTellsDevicesFromFiles)
{
    struct stat status = {};
    EXPECT_EQ(board.status("/dev/ipmc_fpga", status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(board.status("/sys/class/gpio/export", status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
}

TEST_F(VirtualBoardNodesTest, TheTraceHoldsRecordsInOrder)
{
    open("/dev/ipmc_fpga");
    board.clock.advance_us(1500);
    const uint8_t write[] = {0x61, 1, 0, 5, 0, 0, 0};
    board.write(*file, write, 1);
    uint8_t read[] = {0x61, 1, 0, 0, 0, 0, 0};
    board.read(*file, read, 1);
    int32_t word = 0;
    board.ioctl(*file, 0x80046B01, &word);
    word = 0x01020304;
    board.ioctl(*file, 0x40046B07, &word);
    board.seek(*file, 9, SEEK_SET);
    board.slept(30);
    board.note(Operation::lock, "some_lock");
    board.close(*file);

    const auto &events = board.trace.events();
    ASSERT_EQ(events.size(), 9U);
    EXPECT_EQ(events[0].operation, Operation::open);
    EXPECT_EQ(events[0].device, "fpga");
    EXPECT_EQ(events[1].operation, Operation::write);
    EXPECT_EQ(events[1].time_us, 1500U);
    EXPECT_EQ(events[1].address, 0x61U);
    EXPECT_EQ(events[1].count, 1U);
    EXPECT_EQ(events[1].bytes, (Bytes{0x61, 1, 0, 5, 0, 0, 0}));
    EXPECT_EQ(events[2].operation, Operation::read);
    EXPECT_EQ(events[2].bytes, (Bytes{0x61, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(events[2].answer, (Bytes{5, 0, 0, 0}));
    EXPECT_EQ(events[2].result, 4);
    EXPECT_EQ(events[3].operation, Operation::ioctl);
    EXPECT_EQ(events[3].address, 0x80046B01U);
    EXPECT_EQ(events[3].bytes, Bytes{});
    EXPECT_EQ(events[3].answer, (Bytes{0x21, 0, 0, 0}));
    EXPECT_EQ(events[4].bytes, (Bytes{4, 3, 2, 1}));
    EXPECT_EQ(events[4].answer, Bytes{});
    EXPECT_EQ(events[5].operation, Operation::seek);
    EXPECT_EQ(events[5].result, 9);
    EXPECT_EQ(events[6].operation, Operation::sleep);
    EXPECT_EQ(events[6].count, 30U);
    EXPECT_EQ(events[7].device, "some_lock");
    EXPECT_EQ(events[8].operation, Operation::close);
    EXPECT_EQ(board.trace.count(Operation::ioctl, "fpga"), 2U);
    EXPECT_EQ(board.trace.of(Operation::open).size(), 1U);
}

TEST_F(VirtualBoardNodesTest, ListenersHearWhatIsNotKept)
{
    std::vector<Operation> heard;
    board.trace.listen([&](const Event &event) { heard.push_back(event.operation); });
    board.trace.keep(false);
    open("/dev/rtc");
    board.close(*file);
    EXPECT_EQ(heard, (std::vector{Operation::open, Operation::close}));
    EXPECT_TRUE(board.trace.events().empty());
}

TEST_F(VirtualBoardNodesTest, WhatIsDueHappensBeforeTheNextAccess)
{
    open("/dev/ipmc_fpga");
    bool happened = false;
    board.clock.schedule_us(0, [&] { happened = true; });
    EXPECT_FALSE(happened);
    int32_t word = 0;
    board.ioctl(*file, 0x80046B06, &word);
    EXPECT_TRUE(happened);
    board.close(*file);
}

TEST_F(VirtualBoardNodesTest, ASleepLetsTheHostMove)
{
    board.cpld().set(0x83, CPLD_POWER_BUTTON_ENABLE | CPLD_POWER_BUTTON_PRESSED);
    board.stored(0x83, CPLD_POWER_BUTTON_ENABLE);
    board.slept(30000);
    board.cpld().set(0x83, CPLD_POWER_BUTTON_ENABLE);
    board.stored(0x83, CPLD_POWER_BUTTON_ENABLE | CPLD_POWER_BUTTON_PRESSED);
    board.slept(board.host().power_delay_us);
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(board.host().last_press_us(), 30000U);
}

} // namespace
} // namespace board_test
