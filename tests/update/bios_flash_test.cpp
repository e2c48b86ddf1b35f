// Raw access to the BIOS flash.

#include <linux/ioctl.h>
#include <mtd/mtd-user.h>
#include <unistd.h>

#include <algorithm>

#include "tests/update/owner_gate.h"
#include "tests/update/update_test.h"

namespace board_test {
namespace {

// Of two blocks, which the bulk erase walks byte by byte.
Personality tiny_flash(bool checks_access = false)
{
    Personality personality = update_board();
    personality.bios_flash = {.size = 0x200, .erase_size = 0x100};
    personality.flash.checks_access = checks_access;
    return personality;
}

const Names take_flash = {"lock bios_flash_lock", "lock cpld_reg_lock", "load ea", "store ea=40",
                          "unlock cpld_reg_lock"};
const Names give_flash_back = {"lock cpld_reg_lock", "load ea", "store ea=00",
                               "unlock cpld_reg_lock"};
const std::string insmod = "run /sbin/insmod /ko/m25p80.ko";
const std::string rmmod = "run /sbin/rmmod /ko/m25p80.ko";
const std::string unlock = "unlock bios_flash_lock";

Names joined(std::initializer_list<Names> parts)
{
    Names all;
    for (const Names &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class BiosFlashTest : public UpdateTest {
protected:
    explicit BiosFlashTest(const Personality &personality = tiny_flash()) : UpdateTest(personality)
    {
    }
    void SetUp() override
    {
        UpdateTest::SetUp();
        before_ = board.bios_flash().contents();
        ASSERT_EQ(chdir("/"), 0); // where "dev/mtd6" leads to the flash
        watch();
    }
    const Bytes &flash() { return board.bios_flash().contents(); }
    // What the flash is left with.
    void expect_left(bool owned, bool loaded)
    {
        EXPECT_EQ(controller_owns_bios_flash(), owned);
        EXPECT_EQ(bios_driver_loaded(), loaded);
    }

    Bytes before_;
};

class StrictBiosFlashTest : public BiosFlashTest {
protected:
    StrictBiosFlashTest() : BiosFlashTest(tiny_flash(true)) {}
};

std::string bulk_erase_lines(uint32_t count)
{
    std::string lines;
    for (uint32_t i = 1; i <= count; ++i) {
        lines += text("\rErasing blocks: %u/512 (%u%%)", i, i * 100 / 512);
    }
    return lines;
}

// ---- erase ----

TEST_F(BiosFlashTest, BulkEraseErasesEachBlockOnce)
{
    EXPECT_EQ(bios_bulk_erase(0), 0);
    EXPECT_EQ(output(),
              "insmod driver\n" + bulk_erase_lines(512) + "\rErasing blocks: 512/512 (100%)\n");
    EXPECT_EQ(flash(), Bytes(0x200, 0xFF));
    EXPECT_EQ(board.bios_flash().wear(0), 1U);
    EXPECT_EQ(board.bios_flash().wear(1), 1U);
    EXPECT_EQ(status(), Status(0, 0));
    expect_left(false, false);
}

TEST_F(BiosFlashTest, BulkEraseCoversTheFlashAndThenAsksForNothing)
{
    EXPECT_EQ(bios_bulk_erase(0), 0);
    const auto requests = board.trace.of(Operation::ioctl, "mtd6");
    ASSERT_EQ(requests.size(), 1U + 512U);
    EXPECT_EQ(requests[0].address, 0x80204D01U);
    EXPECT_EQ(requests[1].bytes, (Bytes{0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(requests[2].bytes, (Bytes{0, 1, 0, 0, 0, 1, 0, 0}));
    for (size_t i = 1; i < requests.size(); ++i) {
        EXPECT_EQ(requests[i].address, 0x40084D02U);
        EXPECT_EQ(requests[i].result, 0);
        if (i > 2) {
            EXPECT_EQ(requests[i].bytes, Bytes(8, 0)) << i;
        }
    }
}

TEST_F(BiosFlashTest, BulkEraseRunsItsStepsInOrder)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    EXPECT_EQ(bios_bulk_erase(-1), 0) << "like 0";
    Names all = steps();
    const std::string request = "ioctl mtd6 40084d02";
    const auto first = std::find(all.begin(), all.end(), request);
    EXPECT_EQ(std::count(all.begin(), all.end(), request), 512);
    all.erase(first, first + 512);
    EXPECT_EQ(all, joined({take_flash,
                           {insmod, "open mtd6", "ioctl mtd6 80204d01"},
                           give_flash_back,
                           {"close mtd6", rmmod, unlock}}));
}

TEST_F(BiosFlashTest, BulkEraseFlushesNothing)
{
    size_t flushed = 0;
    board.trace.listen([&](const Event &) { flushed = std::max(flushed, flushed_output()); });
    board.faults.add(fault("mtd6", Operation::ioctl, Fault::Kind::error, EIO, 3));
    EXPECT_EQ(bios_bulk_erase(0), -2);
    EXPECT_EQ(flushed, 0U);
    EXPECT_NE(output(), "");
}

TEST_F(BiosFlashTest, BulkEraseOfAnotherFlashIsRefused)
{
    EXPECT_EQ(bios_bulk_erase(1), -2);
    EXPECT_EQ(output(), "Invalid bios id = 1\r\n");
    EXPECT_EQ(bios_bulk_erase(INT32_MAX), -2);
    EXPECT_EQ(output(), "Invalid bios id = 2147483647\r\n");
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(bios_bulk_erase(INT32_MIN), 0);
}

TEST_F(BiosFlashTest, BulkEraseWithoutTheFlash)
{
    refuse_owner(1);
    EXPECT_EQ(bios_bulk_erase(0), -2);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", unlock}));
    expect_left(false, false);
}

TEST_F(BiosFlashTest, BulkEraseWithoutTheDriver)
{
    board.modules().remove_file("m25p80");
    EXPECT_EQ(bios_bulk_erase(0), -5);
    EXPECT_EQ(output(), "insmod driver\n");
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 4, all.end()), (Names{insmod, "open /dev/mtd6", rmmod, unlock}));
    expect_left(true, false);
    EXPECT_EQ(flash(), before_);
}

TEST_F(BiosFlashTest, BulkEraseOfSomethingElse)
{
    board.faults.add(fault("mtd6", Operation::ioctl, Fault::Kind::error, EINVAL));
    EXPECT_EQ(bios_bulk_erase(0), -2);
    EXPECT_EQ(output(), "insmod driver\nThis doesn't seem to be a valid MTD flash device!\n");
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 3, all.end()),
              (Names{"ioctl mtd6 80204d01", unlock, "close mtd6"}));
    expect_left(true, true);
    EXPECT_EQ(flash(), before_);
}

TEST_F(BiosFlashTest, BulkEraseThatFails)
{
    board.faults.add({.name = "worn out",
                      .device = "mtd6",
                      .operation = Operation::ioctl,
                      .place = 0x100,
                      .value = EIO});
    EXPECT_EQ(bios_bulk_erase(0), -2);
    // The descriptor, not a path: the number that is free now.
    const int descriptor = dup(1);
    close(descriptor);
    EXPECT_EQ(output(),
              "insmod driver\n" + bulk_erase_lines(2) +
                  text("\nWhile erasing blocks 0x00000100-0x00000200 on %d\n", descriptor));
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 3, all.end()),
              (Names{"ioctl mtd6 40084d02", unlock, "close mtd6"}));
    expect_left(true, true);
    EXPECT_EQ(flash()[0], 0xFF);
    EXPECT_EQ(flash()[0x100], before_[0x100]);
}

TEST_F(BiosFlashTest, BulkEraseThatCannotGiveTheFlashBack)
{
    refuse_owner(0);
    EXPECT_EQ(bios_bulk_erase(0), -2);
    EXPECT_EQ(flash(), Bytes(0x200, 0xFF));
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 3, all.end()), (Names{"close mtd6", rmmod, unlock}));
    expect_left(true, false);
}

TEST_F(BiosFlashTest, BulkEraseWithTheSwitchStuck)
{
    board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER, 0);
    EXPECT_EQ(bios_bulk_erase(0), -2) << "the flash does not hear the controller";
    EXPECT_EQ(flash(), before_);
    expect_left(false, true);
}

// ---- read ----

TEST_F(BiosFlashTest, ReadsWithTheDriverLoaded)
{
    give_bios_flash_to_controller();
    clear_trace();
    Bytes buffer(1026, 0xEE);
    EXPECT_EQ(bios_read(0x20, buffer.data() + 1, 100), 100);
    EXPECT_TRUE(std::equal(buffer.begin() + 1, buffer.begin() + 101, before_.begin() + 0x20));
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(buffer[101], 0xEE);
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", "open mtd6", "seek mtd6 20", "read mtd6 20",
                              "close mtd6", unlock}));
    EXPECT_EQ(board.trace.events()[1].address, 0x1000U) << "open flags";
    EXPECT_EQ(output(), "");
    EXPECT_EQ(bios_read(0, buffer.data(), 1), 1);
    EXPECT_EQ(bios_read(0x1FF, buffer.data(), 1), 1);
    EXPECT_EQ(buffer[0], before_[0x1FF]);
    expect_left(true, true);
}

TEST_F(BiosFlashTest, ReadNeedsTheDriver)
{
    Bytes buffer(4, 0xEE);
    EXPECT_EQ(bios_read(0, buffer.data(), 4), -5);
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", "open /dev/mtd6", unlock}));
    EXPECT_EQ(buffer, Bytes(4, 0xEE));
    EXPECT_EQ(output(), "");
}

TEST_F(BiosFlashTest, ReadDoesNotTakeTheFlash)
{
    give_bios_flash_to_controller();
    set_reg(CPLD_REG_BIOS_FLASH, 0);
    Bytes buffer(4, 0xEE);
    EXPECT_EQ(bios_read(0, buffer.data(), 4), 4);
    EXPECT_EQ(buffer, Bytes(4, 0xFF)) << "the bus is idle";
    expect_left(false, true);
}

TEST_F(BiosFlashTest, ReadThatFails)
{
    give_bios_flash_to_controller();
    Bytes buffer(512, 0xEE);
    clear_trace();
    EXPECT_EQ(bios_read(-1, buffer.data(), 4), -5) << "position";
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", "open mtd6", "seek mtd6 ffffffff",
                              "close mtd6", unlock}));
    EXPECT_EQ(bios_read(0x201, buffer.data(), 4), -5) << "behind the end";
    EXPECT_EQ(bios_read(0x1FE, buffer.data(), 4), -5) << "over the end";
    board.faults.add(fault("mtd6", Operation::read, Fault::Kind::error, EIO));
    EXPECT_EQ(bios_read(0, buffer.data(), 4), -5);
    board.faults.add(fault("mtd6", Operation::read, Fault::Kind::short_count, 3));
    EXPECT_EQ(bios_read(0, buffer.data(), 4), -5);
    EXPECT_EQ(bios_read(0, buffer.data(), 4), 4);
    EXPECT_EQ(output(), "");
}

// ---- lengths, the same for both ----

class TransferTest : public BiosFlashTest {
protected:
    TransferTest() : BiosFlashTest(update_board()) {}
};

TEST_F(TransferTest, LengthsUpToOneKilobyte)
{
    give_bios_flash_to_controller();
    Bytes buffer(1025);
    EXPECT_EQ(bios_read(0, buffer.data(), 1024), 1024);
    EXPECT_EQ(output(), "");
    clear_trace();
    for (const int32_t length : {0, 1025, INT32_MAX}) {
        EXPECT_EQ(bios_read(0, buffer.data(), length), -2);
        EXPECT_EQ(output(), text("len error len = %d\r\n", length));
        EXPECT_EQ(bios_write(0, buffer.data(), length), -2);
        EXPECT_EQ(output(), text("len error len = %d\r\n", length));
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(TransferTest, BuffersMustBeThere)
{
    EXPECT_EQ(bios_read(0, nullptr, 0), -1) << "checked first";
    EXPECT_EQ(output(), "bios_read obuffer pointer is null\n");
    EXPECT_EQ(bios_write(0, nullptr, 0), -1);
    EXPECT_EQ(output(), "bios_write ibuffer pointer is null\n");
    EXPECT_EQ(steps(), Names{});
}

// Passes the check, and moves nothing.
TEST_F(TransferTest, NegativeLengths)
{
    give_bios_flash_to_controller();
    uint8_t byte = 0xEE;
    for (const int32_t length : {-1, INT32_MIN}) {
        clear_trace();
        EXPECT_EQ(bios_read(0, &byte, length), -5);
        EXPECT_EQ(board.trace.of(Operation::read, "mtd6").at(0).count, 0U);
        EXPECT_EQ(bios_write(0, &byte, length), -2);
        EXPECT_EQ(board.trace.of(Operation::write, "mtd6").at(0).count, 0U);
        give_bios_flash_to_controller();
    }
    EXPECT_EQ(byte, 0xEE);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(flash(), before_);
}

// ---- write ----

TEST_F(BiosFlashTest, WriteTakesTheFlashAndGivesItBack)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    const Bytes zeros(3);
    EXPECT_EQ(bios_write(0x10, zeros.data(), 3), 3);
    EXPECT_EQ(steps(), joined({take_flash,
                               {insmod, "open mtd6", "seek mtd6 10", "write mtd6 10"},
                               give_flash_back,
                               {"close mtd6", rmmod, unlock}}));
    EXPECT_EQ(board.trace.of(Operation::open, "mtd6").at(0).address, 0x1000U);
    EXPECT_EQ(output(), "") << "no line about the driver here";
    Bytes expected = before_;
    std::fill_n(expected.begin() + 0x10, 3, uint8_t{0});
    EXPECT_EQ(flash(), expected);
    expect_left(false, false);
}

TEST_F(TransferTest, WritesOneKilobyteAtMost)
{
    const Bytes zeros(1024);
    EXPECT_EQ(bios_write(0xFC00, zeros.data(), 1024), 1024);
    EXPECT_EQ(Bytes(flash().end() - 1024, flash().end()), zeros);
}

TEST_F(BiosFlashTest, WriteNeedsTheRightWorkingDirectory)
{
    ASSERT_EQ(chdir("/tmp"), 0);
    const uint8_t zero = 0;
    EXPECT_EQ(bios_write(0, &zero, 1), -2);
    EXPECT_EQ(flash(), before_);
    EXPECT_EQ(board.trace.count(Operation::open, "mtd6"), 0U);
    expect_left(true, false);
    EXPECT_EQ(steps().back(), unlock);
}

TEST_F(BiosFlashTest, WriteWithoutTheFlash)
{
    refuse_owner(1);
    const uint8_t zero = 0;
    EXPECT_EQ(bios_write(0, &zero, 1), -2);
    EXPECT_EQ(steps(), (Names{"lock bios_flash_lock", unlock}));
    expect_left(false, false);
}

TEST_F(BiosFlashTest, WriteThatFailsKeepsTheFlash)
{
    const Bytes zeros(4);
    const struct {
        Fault fault;
        uint32_t offset;
        Names last;
    } cases[] = {
        {fault("mtd6", Operation::open, Fault::Kind::error, EBUSY),
         0,
         {insmod, "open mtd6", rmmod, unlock}},
        {fault("mtd6", Operation::seek, Fault::Kind::error, EIO),
         0,
         {"seek mtd6 00", "close mtd6", rmmod, unlock}},
        {fault("mtd6", Operation::write, Fault::Kind::error, EIO),
         0,
         {"write mtd6 00", "close mtd6", rmmod, unlock}},
        {fault("mtd6", Operation::write, Fault::Kind::short_count, 3),
         4,
         {"write mtd6 04", "close mtd6", rmmod, unlock}},
        {fault("none", Operation::write, Fault::Kind::error),
         0x1FE,
         {"write mtd6 1fe", "close mtd6", rmmod, unlock}},
        {fault("none", Operation::write, Fault::Kind::error),
         0x80000000,
         {"seek mtd6 80000000", "close mtd6", rmmod, unlock}},
    };
    for (const auto &each : cases) {
        set_reg(CPLD_REG_BIOS_FLASH, 0);
        clear_trace();
        board.faults.add(each.fault);
        EXPECT_EQ(bios_write(each.offset, zeros.data(), 4), -2);
        const Names all = steps();
        EXPECT_EQ(Names(all.end() - 4, all.end()), each.last);
        expect_left(true, false);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(BiosFlashTest, WriteThatCannotGiveTheFlashBack)
{
    refuse_owner(0);
    const uint8_t zero = 0;
    EXPECT_EQ(bios_write(0, &zero, 1), -2);
    EXPECT_EQ(flash()[0], 0) << "written all the same";
    expect_left(true, false);
}

// A driver that wants descriptors opened for writing lets neither operation
// change the flash, and both say so.
TEST_F(StrictBiosFlashTest, ReadOnlyDescriptorsAreNotEnough)
{
    const uint8_t zero = 0;
    EXPECT_EQ(bios_write(0, &zero, 1), -2);
    expect_left(true, false);
    EXPECT_EQ(bios_bulk_erase(0), -2);
    expect_left(true, true);
    EXPECT_EQ(flash(), before_);
}

} // namespace
} // namespace board_test
