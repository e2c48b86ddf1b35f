// BIOS updates that go well, and what is said of those that do not.

#include <errno.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>

#include <fstream>

#include "tests/examples/upgrade_service/service_test.h"
#include "tests/update/owner_gate.h"
#include "upgrade_service/work.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;
using upgrade_service::BiosJob;
using Extent = BiosJob::Extent;
using Kind = Fault::Kind;

constexpr uint32_t region = 0x4000;
// Calls that a save makes before the update's own.
constexpr unsigned save_calls = partition_size / 1024;

class BiosTest : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        job_.extent = Extent::full;
        job_.size = partition_size;
        job_.save = path("old.rom");
        use({.size = partition_size, .regions = {{0, region}}});
    }

    void use(const Layout &oem)
    {
        image_ = build(oem, 2);
        job_.image = file("new.rom", image_);
    }

    End update()
    {
        return run([this](Service &service) { return service.bios(job_); });
    }

    const Bytes &flash() { return board.bios_flash().contents(); }

    // The flash with the first bytes of the image.
    Bytes updated(size_t count = partition_size) const
    {
        Bytes bytes = flash_before();
        std::copy_n(image_.begin(), count, bytes.begin());
        return bytes;
    }

    std::optional<Bytes> saved() const
    {
        std::ifstream stream(job_.save, std::ios::binary);
        if (!stream) {
            return std::nullopt;
        }
        return Bytes(std::istreambuf_iterator<char>(stream), {});
    }

    void add(Fault fault) { board.faults.add(std::move(fault)); }

    BiosJob job_;
    Bytes image_;
};

// ---- updates that go well ----

TEST_F(BiosTest, AFullUpdateSavesThenWritesTheWholeImage)
{
    const End end = update();
    EXPECT_EQ(told(end), "0; 1 stretch (64 KiB) written and verified; ");
    EXPECT_EQ(flash(), image_);
    EXPECT_EQ(saved(), flash_before());
    EXPECT_EQ(status(), Status(100, 1));
    ASSERT_TRUE(end.bios_flash.has_value());
    EXPECT_FALSE(end.bios_flash->controller_owns);
    EXPECT_FALSE(end.bios_flash->driver_loaded);
    EXPECT_EQ(end.next, Names());
    EXPECT_EQ(shown(), "full update, as asked for.\n"
                       "saving the old BIOS to " +
                           job_.save +
                           " ...\n"
                           "updating the BIOS [########################################] 100%\n"
                           "done: the update of the BIOS with " +
                           job_.image +
                           "\n"
                           "  contents:  1 stretch (64 KiB) written and verified\n"
                           "  owner:     the host\n"
                           "  driver:    unloaded\n");
}

// Nothing is erased before the old BIOS is safe.
TEST_F(BiosTest, TheSaveComesFirst)
{
    std::optional<Bytes> at_first_erase;
    board.trace.listen([&](const Event &event) {
        if (event.operation == Operation::ioctl && event.address == MEMERASE && !at_first_erase) {
            at_first_erase = saved().value_or(Bytes());
        }
    });
    ASSERT_TRUE(update().succeeded());
    EXPECT_EQ(at_first_erase, flash_before());
}

struct Decided {
    uint32_t flash_flag;
    uint32_t image_flag;
    const char *words;
    uint32_t first; // byte that is written
    uint32_t behind;
};

TEST_F(BiosTest, FlashAndImageDecideTheExtent)
{
    const Decided rows[] = {
        {0x01000000, 0x02000000, "full update: ", 0, partition_size},
        {0x01000000, 0x01000000, "partial update: ", 0, region},
        {0x01000000, 0x01000001, "partial update: ", partition_size / 2, partition_size},
    };
    job_.extent = Extent::decide;
    for (const Decided &row : rows) {
        SCOPED_TRACE(row.image_flag);
        Layout oem = {.size = partition_size, .flag = row.flash_flag};
        const Bytes before = build(oem, 9);
        board.bios_flash().put(0, before);
        oem.flag = row.image_flag;
        oem.regions = {{0, region}};
        use(oem);
        job_.save = path("old-" + std::to_string(row.image_flag));
        const End end = update();
        EXPECT_TRUE(end.succeeded()) << end.why;
        EXPECT_NE(shown().find(row.words), std::string::npos) << shown();
        EXPECT_EQ(shown().find("counts as 0"), std::string::npos) << shown();
        Bytes after = before;
        std::copy(image_.begin() + row.first, image_.begin() + row.behind,
                  after.begin() + row.first);
        EXPECT_TRUE(flash() == after);
    }
}

TEST_F(BiosTest, AFlashWithoutAFlagIsSaidToCountAsNone)
{
    job_.extent = Extent::decide;
    const End end = update();
    EXPECT_EQ(told(end), "0; 1 stretch (16 KiB) written and verified; ");
    EXPECT_NE(shown().find("partial update: "), std::string::npos);
    EXPECT_NE(shown().find("counts as 0"), std::string::npos) << shown();
    EXPECT_TRUE(flash() == updated(region));
}

TEST_F(BiosTest, APartialUpdateIsDoneWhereAFullOneWouldBeDecided)
{
    // Of another class than the flash: the library writes the upper half.
    use({.size = partition_size, .flag = 0x02000000, .regions = {{0, region}}});
    job_.extent = Extent::partial;
    EXPECT_EQ(told(update()), "0; 1 stretch (32 KiB) written and verified; ");
    EXPECT_TRUE(
        std::equal(flash().begin(), flash().begin() + partition_size / 2, flash_before().begin()));
}

TEST_F(BiosTest, AnEmptyRegionTableIsNoUpdate)
{
    use({.size = partition_size});
    job_.extent = Extent::decide;
    EXPECT_EQ(told(update()), "0; as before: the image lists no region; ");
    EXPECT_TRUE(flash() == flash_before());
}

// The last region's share of the percentages is rounded down.
TEST_F(BiosTest, SeveralRegionsEndAtAHundred)
{
    use({.size = partition_size, .regions = {{0, 0x1000}, {0x2000, 0x1000}, {0x4000, 0x2000}}});
    job_.extent = Extent::decide;
    EXPECT_EQ(told(update()), "0; 3 stretches (16 KiB) written and verified; ");
    EXPECT_EQ(status(), Status(100, 1));
}

TEST_F(BiosTest, APlanChangesNothing)
{
    job_.extent = Extent::decide;
    const End end = run([this](Service &service) { return service.plan(job_); });
    EXPECT_EQ(told(end), "0; as before; ");
    EXPECT_NE(shown().find("partial update: "), std::string::npos);
    EXPECT_TRUE(flash() == flash_before());
    EXPECT_EQ(saved(), std::nullopt);
}

TEST_F(BiosTest, ASaveAloneReadsTheFlash)
{
    const End end = run([this](Service &service) { return service.save(job_); });
    EXPECT_EQ(told(end), "0; as before; ");
    EXPECT_EQ(saved(), flash_before());
    EXPECT_TRUE(flash() == flash_before());
}

// ---- updates that do not ----

// What goes wrong, and what is said of it.
struct Row {
    const char *name;
    std::function<void(BiosTest &test, Board &board)> arrange;
    const char *why;
    const char *told;
    const char *next; // of the first step
    bool saved;       // a copy of the old BIOS is there
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.name;
}

std::function<void(BiosTest &, Board &)> flash_fault(Operation operation, Kind kind,
                                                     long long value = 0, unsigned skip = 0)
{
    return [=](BiosTest &, Board &board) {
        board.faults.add(fault("mtd6", operation, kind, value, skip));
    };
}

std::function<void(BiosTest &, Board &)> erase_fault(Kind kind, long long value = 0)
{
    return [=](BiosTest &, Board &board) {
        Fault strike = fault("mtd6", Operation::ioctl, kind, value);
        strike.address = static_cast<uint32_t>(MEMERASE);
        strike.place = erase_size;
        board.faults.add(strike);
    };
}

std::function<void(BiosTest &, Board &)> no_module(unsigned skip)
{
    return [=](BiosTest &, Board &board) {
        Fault refused =
            fault("/sbin/insmod /ko/m25p80.ko", Operation::run, Kind::result, 1 << 8, skip);
        refused.times = 0;
        board.faults.add(refused);
    };
}

// The hand-overs of the flash: the test of the switch, the save, the update.
std::function<void(BiosTest &, Board &)> owner_refused(uint8_t owner, unsigned skip)
{
    return [=](BiosTest &, Board &) { refuse_owner(owner, skip); };
}

constexpr const char *again = "Put right";
constexpr const char *keep_off = "Do not power on or restart the server";
constexpr const char *give_back = "Give the flash back: upgrade_service release";
constexpr const char *repair = "The board needs repair";

const char *const first_block =
    "partly erased: 1 block is empty, the next one is in doubt, and the rest of 16 blocks is as "
    "it was";

const Row rows[] = {
    // Before the save.
    {"OwnerRefused", owner_refused(1, 0), "does not give the BIOS flash to the controller",
     "3; as before; ", repair, false},
    {"NotGivenBackAtFirst", owner_refused(0, 0), "does not give the BIOS flash back",
     "5; as before; ", give_back, false},
    {"SwitchStuckAtTheHost",
     [](BiosTest &, Board &board) { board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER, 0); },
     "does not give the BIOS flash to the controller", "3; as before; ", repair, false},
    {"WriteProtected",
     [](BiosTest &, Board &board) {
         board.cpld().set_bits(CPLD_REG_BIOS_FLASH, CPLD_BIOS_WRITE_PROTECT);
     },
     "write-protected", "3; as before; ", "Lift the protection", false},
    // In the save.
    {"OwnerRefusedToTheSave", owner_refused(1, 1),
     "could not be saved: the board does not give the flash", "3; as before; downloading bios...",
     again, false},
    {"ModuleMissing", no_module(0), "could not be saved: the flash cannot be read, or its driver",
     "3; as before; get_bios:read fail", again, false},
    {"SaveNotRead", flash_fault(Operation::read, Kind::error, EIO, 5), "could not be saved",
     "3; as before; get_bios:read fail", again, false},
    {"SaveReadShort", flash_fault(Operation::read, Kind::short_count, 1000, 5),
     "could not be saved", "3; as before; get_bios:read fail", again, false},
    {"SaveVanishes", flash_fault(Operation::read, Kind::vanish), "could not be saved",
     "3; as before; get_bios:read fail", again, false},
    {"SaveNotGivenBack", owner_refused(0, 1), "does not give the flash back to the host",
     "5; as before; set bios owner fails.", give_back, true},
    // In the update.
    {"OwnerRefusedToTheUpdate", owner_refused(1, 2),
     "does not give the BIOS flash to the controller", "3; as before; ", again, true},
    {"ModuleMissingAtTheUpdate", no_module(1), "the flash device cannot be opened",
     "3; as before; While trying to open /dev/mtd6 for read/write access", again, true},
    {"DeviceDoesNotOpen", flash_fault(Operation::open, Kind::error, EIO, save_calls),
     "the flash device cannot be opened",
     "3; as before; While trying to open /dev/mtd6 for read/write access", again, true},
    {"NoFlash", flash_fault(Operation::ioctl, Kind::error, ENOTTY), "the device is no flash",
     "3; as before; This doesn't seem to be a valid MTD flash device!", again, true},
    {"EraseFails", erase_fault(Kind::error, EIO), "did not take an erase", first_block, keep_off,
     true},
    {"EraseVanishes", erase_fault(Kind::vanish), "did not take an erase", first_block, keep_off,
     true},
    {"EraseLies", erase_fault(Kind::lie), "holds something else",
     "all written, but not as the image is: the check ended at 10 of 64 KiB", keep_off, true},
    {"WriteFails", flash_fault(Operation::write, Kind::error, EIO, 1), "did not take the data",
     "erased and partly written: at most 20 of 64 KiB", keep_off, true},
    {"WriteShort", flash_fault(Operation::write, Kind::short_count, 1000), "a part of the data",
     "erased and partly written: at most 10 of 64 KiB", keep_off, true},
    {"WriteLies", flash_fault(Operation::write, Kind::lie, 0, 2), "holds something else",
     "all written, but not as the image is: the check ended at 30 of 64 KiB", keep_off, true},
    {"BitFlips", flash_fault(Operation::write, Kind::bit_flip, 4242), "holds something else",
     "all written, but not as the image is: the check ended at 10 of 64 KiB", keep_off, true},
    {"WriteVanishes", flash_fault(Operation::write, Kind::vanish), "did not take the data",
     "erased and partly written: at most 10 of 64 KiB", keep_off, true},
    {"SeekFails", flash_fault(Operation::seek, Kind::error, EIO, save_calls),
     "cannot be positioned", "erased and empty", keep_off, true},
    {"SeekFailsAtTheCheck", flash_fault(Operation::seek, Kind::error, EIO, save_calls + 1),
     "cannot be positioned", "all written, but not checked", keep_off, true},
    {"ReadFails", flash_fault(Operation::read, Kind::error, EIO, save_calls),
     "the flash or the image cannot be read",
     "all written, but not checked to its end: the check ended at 10 of 64 KiB", keep_off, true},
    {"ReadVanishes", flash_fault(Operation::read, Kind::vanish, 0, save_calls + 1),
     "the flash or the image cannot be read",
     "all written, but not checked to its end: the check ended at 20 of 64 KiB", keep_off, true},
    {"NotGivenBack", owner_refused(0, 2), "does not give the BIOS flash back to the host",
     "5; 1 stretch (64 KiB) written and verified; ", give_back, true},
};

class FailedBiosTest : public BiosTest, public ::testing::WithParamInterface<Row> {};

TEST_P(FailedBiosTest, IsExplained)
{
    const Row &row = GetParam();
    row.arrange(*this, board);
    const End end = update();
    EXPECT_NE(end.why.find(row.why), std::string::npos) << end.why;
    EXPECT_NE(told(end).find(row.told), std::string::npos) << told(end);
    ASSERT_FALSE(end.next.empty());
    EXPECT_EQ(end.next[0].compare(0, strlen(row.next), row.next), 0) << end.next[0];
    EXPECT_EQ(saved(), row.saved ? std::optional(flash_before()) : std::nullopt);
    // The code is no claim: it agrees with the flash and its owner.
    const bool changed = flash() != flash_before();
    const bool with_host = !controller_owns_bios_flash() && !bios_driver_loaded();
    const ExitCode expected = !with_host ? ExitCode::not_given_back
                              : changed  ? ExitCode::not_right
                                         : ExitCode::nothing_changed;
    EXPECT_EQ(end.code, expected);
    if (end.contents == "as before") {
        EXPECT_FALSE(changed);
    }
    const bool begun = shown().find("updating the BIOS") != std::string::npos;
    EXPECT_EQ(status().second, begun ? 3U : 0U) << "a failed update is published as one";
}

INSTANTIATE_TEST_SUITE_P(Rows, FailedBiosTest, ::testing::ValuesIn(rows), ByName());

// ---- images and files that are refused ----

TEST_F(BiosTest, AnImageOfAnotherSizeIsRefused)
{
    job_.size = partition_size * 2;
    const End end = update();
    EXPECT_EQ(told(end), "3; as before; ");
    EXPECT_EQ(end.why, "the image has 65536 bytes, the flash 131072");
    EXPECT_EQ(steps().size(), 0U) << "the board was touched";
}

TEST_F(BiosTest, AnAbsentImageIsRefused)
{
    job_.image = path("nothing");
    const End end = update();
    EXPECT_EQ(told(end), "3; as before; ");
    EXPECT_EQ(end.why, "the image is not there, or cannot be read");
}

TEST_F(BiosTest, AnImageWithoutOemDataGoesOnlyWhole)
{
    image_ = pattern(partition_size, 3);
    job_.image = file("bare.rom", image_);
    for (const Extent extent : {Extent::decide, Extent::partial}) {
        job_.extent = extent;
        const End end = update();
        EXPECT_EQ(told(end), "3; as before; read upgrade flag fail from file");
        EXPECT_NE(end.why.find("no upgrade flag"), std::string::npos);
        EXPECT_EQ(saved(), std::nullopt);
    }
    job_.extent = Extent::full;
    EXPECT_TRUE(update().succeeded());
    EXPECT_EQ(flash(), image_);
}

TEST_F(BiosTest, AFlashThatStaysAwayFromTheDecisionIsToldFromAnAnswer)
{
    job_.extent = Extent::decide;
    refuse_owner(1, 1);
    const End refused = update();
    EXPECT_EQ(told(refused), "3; as before; ");
    EXPECT_EQ(refused.why, "the board does not give the BIOS flash to the controller");
    refuse_owner(0, 1);
    const End kept = update();
    EXPECT_EQ(kept.code, ExitCode::not_given_back);
    EXPECT_EQ(kept.why, "the board does not give the BIOS flash back to the host");
    EXPECT_TRUE(flash() == flash_before());
}

// It may be the last good BIOS, saved by an update that then failed.
TEST_F(BiosTest, AnOlderCopyIsNotOverwritten)
{
    job_.save = file("old.rom", {1, 2, 3});
    const End end = update();
    EXPECT_EQ(told(end), "3; as before; ");
    EXPECT_NE(end.why.find("exists"), std::string::npos);
    EXPECT_EQ(saved(), (Bytes{1, 2, 3}));
    EXPECT_TRUE(flash() == flash_before());
}

TEST_F(BiosTest, ACopyThatCannotBeCreatedStopsTheUpdate)
{
    job_.save = path("no folder") + "/old.rom";
    const End end = update();
    EXPECT_EQ(end.code, ExitCode::nothing_changed);
    EXPECT_NE(end.why.find("file for the old BIOS cannot be created"), std::string::npos);
    EXPECT_TRUE(flash() == flash_before());
}

TEST_F(BiosTest, ADiskThatIsFullStopsTheUpdate)
{
    job_.save = path("link");
    ASSERT_EQ(symlink("/dev/full", job_.save.c_str()), 0);
    EXPECT_EQ(update().code, ExitCode::nothing_changed) << "a link is a file that is there";
    EXPECT_TRUE(flash() == flash_before());
}

TEST_F(BiosTest, TheRegionsBeforeABrokenOneAreToldApart)
{
    use({.size = partition_size, .regions = {{0, 0x1000}, {0x2000, 0x1000}}});
    job_.extent = Extent::decide;
    add(fault("mtd6", Operation::write, Kind::lie, 0, 1));
    const End end = update();
    EXPECT_EQ(end.code, ExitCode::not_right);
    EXPECT_EQ(end.contents, "1 stretch (4 KiB) written and verified, the next one all written, but "
                            "not as the image is: the check ended at 4 of 4 KiB");
    EXPECT_EQ(end.next.at(1), "Run the update again, with another file to save to: upgrade_service "
                              "bios " +
                                  job_.image + " --save FILE");
}

TEST_F(BiosTest, ARegionThatCannotBeEndsTheUpdateBehindTheOthers)
{
    use({.size = partition_size, .regions = {{0, 0x1000}, {0x800000, 0x1000}}});
    job_.extent = Extent::decide;
    const End end = update();
    EXPECT_EQ(told(end), "4; 1 stretch (4 KiB) written and verified; ");
    EXPECT_EQ(end.why, "the image lists a region that cannot be");
    EXPECT_TRUE(flash() == updated(0x1000));
}

// A flash that is still with the controller from an earlier run, and a driver
// that is still loaded, do not keep an update from working.
TEST_F(BiosTest, TakesOverFromARunThatWasBrokenOff)
{
    give_bios_flash_to_controller();
    EXPECT_TRUE(update().succeeded());
    EXPECT_EQ(flash(), image_);
    EXPECT_EQ(saved(), flash_before());
}

// The library believes what it was told of the switch: a success, too, is looked at.
TEST_F(BiosTest, ASwitchThatSticksInTheUpdateIsSeen)
{
    board.trace.listen([this](const Event &event) {
        if (event.operation == Operation::write && event.device == "mtd6") {
            board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER, CPLD_BIOS_OWNER);
        }
    });
    const End end = update();
    EXPECT_EQ(told(end), "5; 1 stretch (64 KiB) written and verified; ");
    EXPECT_EQ(end.why, "the board does not give the BIOS flash back to the host");
    EXPECT_EQ(end.next.at(0).compare(0, strlen(give_back), give_back), 0);
    EXPECT_EQ(flash(), image_);
}

TEST_F(BiosTest, ADriverThatStaysLoadedIsSeen)
{
    Fault busy = fault("/sbin/rmmod /ko/m25p80.ko", Operation::run, Kind::result, 1 << 8);
    busy.times = 0;
    add(busy);
    const End end = update();
    EXPECT_EQ(told(end), "5; as before; ");
    EXPECT_EQ(end.why, "the driver of the BIOS flash cannot be unloaded");
    EXPECT_TRUE(flash() == flash_before()) << "the update began all the same";
}

// ---- interrupts ----

class InterruptedBiosTest : public BiosTest {
protected:
    // So many signals come in the call.
    void interrupt_at(Operation operation, unsigned count)
    {
        board.trace.listen([=](const Event &event) {
            if (event.operation == operation && event.device == "mtd6" &&
                upgrade_service::interrupts == 0) {
                upgrade_service::interrupts = count;
            }
        });
    }
};

TEST_F(InterruptedBiosTest, OnceInTheSaveKeepsTheUpdateFromBeginning)
{
    interrupt_at(Operation::read, 1);
    const End end = update();
    EXPECT_EQ(told(end), "130; as before; ");
    EXPECT_NE(shown().find("interrupted: saving the old BIOS"), std::string::npos) << shown();
    EXPECT_TRUE(flash() == flash_before());
    EXPECT_EQ(saved(), flash_before());
    EXPECT_EQ(left(), std::nullopt);
}

TEST_F(InterruptedBiosTest, OnceInTheUpdateLetsItFinish)
{
    interrupt_at(Operation::write, 1);
    const End end = update();
    EXPECT_EQ(told(end), "0; 1 stretch (64 KiB) written and verified; ");
    EXPECT_NE(shown().find("interrupted: updating the BIOS is not left half done"),
              std::string::npos)
        << shown();
    EXPECT_EQ(flash(), image_);
    EXPECT_EQ(left(), std::nullopt);
}

TEST_F(InterruptedBiosTest, InsistingLeavesWithTheStateOfTheBoard)
{
    interrupt_at(Operation::write, 2);
    update();
    EXPECT_EQ(left(), ExitCode::interrupted);
    EXPECT_NE(shown().find("why:       it was left in the middle, at somebody's wish"),
              std::string::npos)
        << shown();
    EXPECT_NE(shown().find("exit code: 130"), std::string::npos) << shown();
}

TEST_F(InterruptedBiosTest, InsistingInTheSaveLeavesToo)
{
    interrupt_at(Operation::read, 2);
    update();
    EXPECT_EQ(left(), ExitCode::interrupted);
    EXPECT_NE(shown().find("NOT DONE: the update of the BIOS"), std::string::npos);
    EXPECT_NE(shown().find("  contents:  as before\n"), std::string::npos) << shown();
    EXPECT_TRUE(flash() == flash_before()) << "the update began all the same";
}

} // namespace
} // namespace board_test
