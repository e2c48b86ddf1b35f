// Whole BIOS images.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/update/heap_watch.h"
#include "tests/update/owner_gate.h"
#include "tests/update/update_test.h"
#include "tools/bios_image/image.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;
using bios_image::Region;

constexpr const char *device = "/dev/mtd6";
const Names to_controller = {"lock cpld_reg_lock", "load ea", "store ea=40",
                             "unlock cpld_reg_lock"};
const Names to_host = {"lock cpld_reg_lock", "load ea", "store ea=00", "unlock cpld_reg_lock"};
const std::string lock = "lock bios_image_lock";
const std::string unlock = "unlock bios_image_lock";
const std::string insmod = "run /sbin/insmod /ko/m25p80.ko";
const std::string rmmod = "run /sbin/rmmod /ko/m25p80.ko";

Names joined(std::initializer_list<Names> parts)
{
    Names all;
    for (const Names &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

class BiosImageTest : public UpdateTest {
protected:
    explicit BiosImageTest(const Personality &personality = update_board())
        : UpdateTest(personality)
    {
    }
    void SetUp() override
    {
        UpdateTest::SetUp();
        before_ = flash();
        watch();
    }
    const Bytes &flash() { return board.bios_flash().contents(); }
    Bytes saved(const std::string &name)
    {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void expect_left(bool owned, bool loaded)
    {
        EXPECT_EQ(controller_owns_bios_flash(), owned);
        EXPECT_EQ(bios_driver_loaded(), loaded);
    }
    // The timeline without the accesses of the copies themselves.
    Names frame()
    {
        Names lines = timeline();
        std::erase_if(lines, [](const std::string &line) {
            return line.starts_with("print") || line.starts_with("sleep 10") ||
                   line.find(" mtd6") != std::string::npos ||
                   line.find(" image") != std::string::npos;
        });
        return lines;
    }
    void put_flash(const Bytes &contents)
    {
        board.bios_flash().put(0, contents);
        before_ = flash();
    }

    Bytes before_;
};

class FullSizeTest : public BiosImageTest {
protected:
    static Personality full_size()
    {
        Personality personality = update_board();
        personality.bios_flash = {.size = 0x800000, .erase_size = 0x10000};
        return personality;
    }
    FullSizeTest() : BiosImageTest(full_size()) {}
};

// ---- get_bios ----

std::string dump_lines(const std::string &name, uint32_t size)
{
    std::string lines = text("size of  %s is %u\r\ndownloading bios...\r\n", name.c_str(), size);
    for (uint32_t offset = 0; offset < size; offset += 1024) {
        lines += text("\r<%u%%>", offset * 100 / size);
    }
    return lines;
}

constexpr const char *dumped = "\r<100%>\r\ndownload bios  successfully\n";

TEST_F(BiosImageTest, DumpRunsItsStepsInOrder)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    board.attach(board_image, std::make_shared<ImageFile>(Bytes{}));
    const std::string name = path("dump");
    EXPECT_EQ(get_bios(name.c_str(), 2048), 0);
    const Names read_first = {"lock bios_flash_lock", "open mtd6",  "seek mtd6 00",
                              "read mtd6 00",         "close mtd6", "unlock bios_flash_lock"};
    const Names read_second = {"lock bios_flash_lock", "open mtd6",  "seek mtd6 400",
                               "read mtd6 400",        "close mtd6", "unlock bios_flash_lock"};
    const std::string start =
        text("print size of  %s is 2048\r\ndownloading bios...\r\n\r<0%%>", name.c_str());
    EXPECT_EQ(timeline(), joined({{lock},
                                  to_controller,
                                  {"sleep 1000000", insmod, start},
                                  read_first,
                                  {"sleep 1", "print \r<50%>"},
                                  read_second,
                                  {"sleep 1", "print \r<100%>"},
                                  to_host,
                                  {rmmod, unlock, "print \r\ndownload bios  successfully\n"}}));
    EXPECT_EQ(saved("dump"), Bytes(before_.begin(), before_.begin() + 2048));
    expect_left(false, false);
}

TEST_F(BiosImageTest, DumpsWhatIsAskedFor)
{
    // Not only multiples of the kilobyte that each read takes.
    for (const uint32_t size : {0U, 1U, 1023U, 1024U, 1025U, 5000U, partition_size}) {
        SCOPED_TRACE(size);
        const std::string name = file("dump", Bytes(10, 1));
        output();
        EXPECT_EQ(get_bios(name.c_str(), size), 0);
        EXPECT_EQ(output(), dump_lines(name, size) + dumped);
        EXPECT_EQ(saved("dump"), Bytes(before_.begin(), before_.begin() + size));
    }
    EXPECT_EQ(status(), Status(0, 0)) << "no update";
}

TEST_F(FullSizeTest, DumpsTheLargestFlash)
{
    board.trace.keep(false);
    watch_heap();
    EXPECT_EQ(get_bios(path("dump").c_str(), 0x800000), 0);
    EXPECT_EQ(output(), dump_lines(path("dump"), 0x800000) + dumped);
    EXPECT_EQ(saved("dump"), before_);
    if (heap_is_watched()) {
        EXPECT_EQ(allocations(), std::vector<size_t>{0x800000});
        EXPECT_EQ(heap_bytes(), 0U);
    }
}

// The next caller, who waits for the lock, allocates as much.
TEST_F(BiosImageTest, DumpGivesItsImageBackBeforeTheFlash)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    watch_heap();
    std::vector<size_t> held;
    when_given_back([&] { held.push_back(heap_bytes()); });
    EXPECT_EQ(get_bios(path("dump").c_str(), 4096), 0);
    when_given_back(nullptr);
    EXPECT_EQ(allocations(), std::vector<size_t>{4096});
    EXPECT_EQ(held, std::vector<size_t>{0});
}

TEST_F(BiosImageTest, DumpRefusesItsArguments)
{
    EXPECT_EQ(get_bios(nullptr, 0x800001), -2);
    EXPECT_EQ(output(), "get_bios:filename is a invalid argument\r\n");
    for (const uint32_t size : {0x800001U, 0xFFFFFFFFU}) {
        EXPECT_EQ(get_bios(path("dump").c_str(), size), -2);
        EXPECT_EQ(output(), "get_bios:filesize is a invalid argument\r\n");
    }
    EXPECT_EQ(steps(), (Names{lock, unlock, lock, unlock, lock, unlock}));
    EXPECT_FALSE(std::filesystem::exists(path("dump")));
}

TEST_F(BiosImageTest, DumpWithoutMemory)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    watch_heap();
    fail_allocation(0);
    EXPECT_EQ(get_bios(path("dump").c_str(), 1024), -6);
    EXPECT_EQ(output(), "get_bios:no memory\r\n");
    EXPECT_EQ(steps(), (Names{lock, unlock}));
    EXPECT_FALSE(std::filesystem::exists(path("dump")));
}

TEST_F(BiosImageTest, DumpWithoutAFile)
{
    watch_heap();
    EXPECT_EQ(get_bios("/no/such/directory/dump", 1024), -7);
    EXPECT_EQ(output(), "get_bios:open file /no/such/directory/dump fail\r\n");
    EXPECT_EQ(steps(), (Names{lock, unlock}));
    EXPECT_EQ(heap_bytes(), 0U);
}

TEST_F(BiosImageTest, DumpWithoutTheFlash)
{
    refuse_owner(1);
    watch_heap();
    EXPECT_EQ(get_bios(path("dump").c_str(), 1024), -2);
    EXPECT_EQ(output(),
              text("size of  %s is 1024\r\ndownloading bios...\r\n", path("dump").c_str()));
    EXPECT_EQ(steps(), (Names{lock, unlock}));
    EXPECT_EQ(saved("dump"), Bytes{});
    EXPECT_EQ(heap_bytes(), 0U);
    expect_left(false, false);
}

TEST_F(BiosImageTest, DumpThatIsNotReadKeepsTheFlash)
{
    watch_heap();
    board.faults.add(fault("mtd6", Operation::read, Fault::Kind::error, EIO, 2));
    EXPECT_EQ(get_bios(path("dump").c_str(), 4096), -7);
    const std::string all = dump_lines(path("dump"), 4096);
    EXPECT_EQ(output(), all.substr(0, all.find("\r<75%>")) + "get_bios:read fail\n");
    const Names last = steps();
    EXPECT_EQ(Names(last.end() - 5, last.end()),
              (Names{"read mtd6 800", "close mtd6", "unlock bios_flash_lock", rmmod, unlock}));
    EXPECT_EQ(heap_bytes(), 0U);
    expect_left(true, false);
    EXPECT_EQ(status(), Status(0, 0));
}

TEST_F(BiosImageTest, DumpBehindTheFlashFails)
{
    EXPECT_EQ(get_bios(path("dump").c_str(), partition_size + 1), -7);
    expect_left(true, false);
}

TEST_F(BiosImageTest, DumpThatIsNotWrittenKeepsTheFlash)
{
    // More than a stream holds back, and less.
    for (const uint32_t size : {0x8000U, 512U}) {
        watch_heap();
        output();
        EXPECT_EQ(get_bios("/dev/full", size), -7);
        EXPECT_EQ(output(), dump_lines("/dev/full", size) + "get_bios:get fail\n");
        EXPECT_EQ(steps().back(), unlock);
        EXPECT_EQ(*(steps().end() - 2), rmmod);
        EXPECT_EQ(heap_bytes(), 0U);
        expect_left(true, false);
    }
}

TEST_F(BiosImageTest, DumpThatCannotGiveTheFlashBack)
{
    refuse_owner(0);
    EXPECT_EQ(get_bios(path("dump").c_str(), 1024), -2);
    EXPECT_EQ(output(), dump_lines(path("dump"), 1024) + dumped + "set bios owner fails.\r\n");
    EXPECT_EQ(saved("dump"), Bytes(before_.begin(), before_.begin() + 1024));
    EXPECT_EQ(steps().back(), unlock);
    expect_left(true, false);
}

// ---- load_bios_bin ----

TEST_F(BiosImageTest, BinaryRunsItsStepsInOrder)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    put_image(pattern(9000));
    EXPECT_EQ(load_bios_bin(device, board_image, 77, 8000, 0), 0);
    EXPECT_EQ(frame(), joined({{lock},
                               to_controller,
                               {insmod, "lock bios_flash_lock", "status 20/1", "status 40/1",
                                "status 80/1", "status 100/1", "unlock bios_flash_lock"},
                               to_host,
                               {rmmod, unlock}}));
    const Bytes image = pattern(9000);
    EXPECT_TRUE(std::equal(image.begin(), image.begin() + 8000, flash().begin()));
    EXPECT_EQ(flash()[8000], 0xFF);
    expect_left(false, false);
}

TEST_F(BiosImageTest, BinaryPrintsItsCopy)
{
    const std::string name = file("image", pattern(20000));
    EXPECT_EQ(load_bios_bin(device, name.c_str(), 0, 20000, 2), 0);
    EXPECT_EQ(output(), copy_lines(20000));
    EXPECT_EQ(status(), Status(100, 1)) << "second half of two stages";
}

TEST_F(BiosImageTest, BinaryOfNoBytesTouchesNothing)
{
    EXPECT_EQ(load_bios_bin(device, "/no/such/image", 0, 0, 1), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(flash(), before_);
    EXPECT_EQ(status(), Status(0, 0));
    expect_left(false, false);
}

TEST_F(BiosImageTest, BinaryOfNegativeLengthFitsNowhere)
{
    const std::string name = file("image", pattern(100));
    output();
    EXPECT_EQ(load_bios_bin(device, name.c_str(), 0, -1, 1), -2);
    EXPECT_EQ(output(), text("%s won't fit into %s!\n", name.c_str(), device));
    EXPECT_EQ(status(), Status(0, 3));
}

// ---- load_bios ----

Layout image_with(uint32_t flag, std::vector<Region> regions = {})
{
    Layout image;
    image.flag = flag;
    image.regions = std::move(regions);
    return image;
}

TEST_F(BiosImageTest, DifferentFlagsLoadTheUpperHalf)
{
    put_flash(build(image_with(0x01000000), 1));
    // One bit of the lowest byte is enough.
    const Bytes image = build(image_with(0x01000001), 2);
    const std::string name = file("image", image);
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), 0);
    Bytes expected = before_;
    std::copy(image.begin() + 0x8000, image.end(), expected.begin() + 0x8000);
    EXPECT_EQ(flash(), expected);
    EXPECT_EQ(output(), copy_lines(0x8000));
    EXPECT_EQ(status(), Status(100, 1));
    expect_left(false, false);
}

TEST_F(BiosImageTest, FullLoadIgnoresTheOffset)
{
    put_flash(build(image_with(1), 1));
    Bytes image = build(image_with(2), 2);
    image.insert(image.begin(), 0x1000, 0x5A);
    const std::string name = file("image", image);
    EXPECT_EQ(load_bios(device, name.c_str(), 0x1000, partition_size, 0), 0);
    EXPECT_TRUE(
        std::equal(image.begin() + 0x8000, image.begin() + 0x10000, flash().begin() + 0x8000));
}

TEST_F(BiosImageTest, FlashWithoutFlagCountsAsZero)
{
    const std::string name = file("image", build(image_with(0), 2));
    output();
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), 0);
    EXPECT_EQ(output(), "") << "equal flags, no regions";
    EXPECT_EQ(flash(), before_);
    board.modules().remove_file("m25p80");
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), 0);
    EXPECT_EQ(output(), "open error\n");
}

TEST_F(BiosImageTest, EqualFlagsLoadTheRegions)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    put_flash(build(image_with(5), 1));
    const Bytes image =
        build(image_with(5, {{0x3000, 5000}, {0x8000, 0x1000}, {0xF000, 0x1000}}), 2);
    Bytes moved = image;
    moved.insert(moved.begin(), 300, 0x5A);
    put_image(moved);
    EXPECT_EQ(load_bios(device, board_image, 300, partition_size, 0), 0);
    // Divisor 3: bases 0, 33 and 66.
    const Names copy_lock = {"lock bios_flash_lock"};
    const Names copy_unlock = {"unlock bios_flash_lock"};
    EXPECT_EQ(frame(), joined({{lock},
                               to_controller,
                               {insmod},
                               copy_lock,
                               {"status 6/1", "status 13/1", "status 26/1", "status 33/1"},
                               copy_unlock,
                               copy_lock,
                               {"status 46/1", "status 59/1", "status 66/1"},
                               copy_unlock,
                               copy_lock,
                               {"status 79/1", "status 92/1", "status 99/1"},
                               copy_unlock,
                               to_host,
                               {rmmod, unlock}}));
    Bytes expected = before_;
    std::fill_n(expected.begin() + 0x3000, 0x2000, uint8_t{0xFF});
    std::copy_n(image.begin() + 0x3000, 5000, expected.begin() + 0x3000);
    std::copy_n(image.begin() + 0x8000, 0x1000, expected.begin() + 0x8000);
    std::copy_n(image.begin() + 0xF000, 0x1000, expected.begin() + 0xF000);
    EXPECT_EQ(flash(), expected);
}

TEST_F(BiosImageTest, StagesSharePushesTheProgressPastTheEnd)
{
    put_flash(build(image_with(5), 1));
    const std::string name =
        file("image", build(image_with(5, {{0, 0x1000}, {0x8000, 0x1000}}), 2));
    watch();
    // Only the low four bits of the stages count; one stage has a share of 100.
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0x11), 0);
    EXPECT_EQ(statuses(),
              (std::vector<Status>{{120, 1}, {140, 1}, {150, 1}, {170, 1}, {190, 1}, {200, 1}}));
}

TEST_F(BiosImageTest, ElevenRegionsAreTheMost)
{
    std::vector<Region> regions;
    for (uint32_t i = 0; i < 11; ++i) {
        regions.push_back({0x2000 + i * 0x1000, 0x100});
    }
    const Bytes image = build(image_with(0, regions), 2);
    put_flash(Bytes(partition_size, 0));
    EXPECT_EQ(load_bios(device, file("image", image).c_str(), 0, partition_size, 0), 0);
    for (const auto &[offset, length] : regions) {
        EXPECT_TRUE(std::equal(image.begin() + offset, image.begin() + offset + length,
                               flash().begin() + offset));
    }
}

// The twelfth ends the load; the regions before it were loaded.
TEST_F(BiosImageTest, TwelfthRegionFails)
{
    Layout oem = image_with(0);
    for (uint32_t i = 0; i < 12; ++i) {
        oem.regions.push_back({0x2000 + i * 0x1000, 0x100});
    }
    const Bytes image = build(oem, 2);
    put_flash(Bytes(partition_size, 0));
    EXPECT_EQ(load_bios(device, file("image", image).c_str(), 0, partition_size, 0), -2);
    EXPECT_EQ(flash()[0xC000], image[0xC000]);
    EXPECT_EQ(board.bios_flash().wear(0xC), 1U);
    EXPECT_EQ(board.bios_flash().wear(0xD), 0U);
    EXPECT_EQ(status(), Status(0, 3));
    expect_left(false, false);
}

// One byte counts the copies: there is no share of 0 copies.
TEST_F(BiosImageTest, RegionCountOfALowByteOfZeroIsRefused)
{
    Layout oem = image_with(0, {{0x2000, 0x100}});
    put_flash(Bytes(partition_size, 0));
    for (const uint32_t count : {0x100U, 0xFFFFFF00U}) {
        oem.region_count = count;
        const std::string name = file("image", build(oem, 2));
        output();
        EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 1), -2) << count;
        EXPECT_EQ(output(), "");
        EXPECT_EQ(status(), Status(0, 3));
    }
    EXPECT_EQ(flash(), Bytes(partition_size, 0));
    expect_left(false, false);
}

struct RegionCase {
    uint32_t offset;
    uint32_t length;
    bool reaches_the_copy;
};

void PrintTo(const RegionCase &region, std::ostream *stream)
{
    *stream << region.length << "_at_" << region.offset;
}

class RegionTest : public FullSizeTest, public ::testing::WithParamInterface<RegionCase> {};

// Of an image of 64 KiB; the flash ends at 8 MiB.
TEST_P(RegionTest, IsHeldAgainstImageAndFlash)
{
    const RegionCase &region = GetParam();
    put_flash(Bytes(0x10000, 0));
    const std::string name =
        file("image", build(image_with(0, {{region.offset, region.length}}), 2));
    watch();
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), -2);
    EXPECT_EQ(output(), region.reaches_the_copy ? name + " too small!\n" : "");
    EXPECT_EQ(status(), Status(0, 3));
    EXPECT_EQ(flash(), before_);
}

INSTANTIATE_TEST_SUITE_P(
    Regions, RegionTest,
    ::testing::Values(RegionCase{0, 0x10001, false}, RegionCase{0, 0xFFFFFFFF, false},
                      RegionCase{0x800001, 0, false}, RegionCase{0x800000, 1, false},
                      RegionCase{0x7FFFFF, 2, false}, RegionCase{0xFFFFFFFF, 2, false},
                      RegionCase{0x7F0000, 0x10000, true}, RegionCase{0x7FFFFF, 1, true}));

TEST_F(FullSizeTest, EmptyRegionAtTheEndIsDone)
{
    const std::string name = file("image", build(image_with(0, {{0x800000, 0}}), 2));
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), 0);
    EXPECT_EQ(flash(), before_);
}

TEST_F(BiosImageTest, ImageWithoutOemDataIsRefused)
{
    const std::string name = file("image", pattern(partition_size, 3));
    watch();
    EXPECT_EQ(load_bios(device, name.c_str(), 0, partition_size, 0), -2);
    EXPECT_EQ(flash(), before_);
    EXPECT_EQ(status(), Status(0, 3));
    expect_left(false, false);
}

// ---- what the loaders share ----

struct Loader {
    const char *name;
    int (*load)(const char *device, const char *image);
};

void PrintTo(const Loader &loader, std::ostream *stream)
{
    *stream << loader.name;
}

int load(const char *to, const char *image)
{
    return load_bios(to, image, 0, partition_size, 0);
}

int load_binary(const char *to, const char *image)
{
    return load_bios_bin(to, image, 0, partition_size, 0);
}

int decide(const char *to, const char *image)
{
    return isFullUpgrade(to, image, 0, partition_size);
}

class LoaderTest : public BiosImageTest, public ::testing::WithParamInterface<Loader> {
protected:
    void SetUp() override
    {
        BiosImageTest::SetUp();
        put_flash(build(image_with(0x01000000), 1));
        put_image(build(image_with(0x02000000), 2));
    }
    int load(const char *to = device, const char *image = board_image)
    {
        return GetParam().load(to, image);
    }
};

class WriterTest : public LoaderTest {};

TEST_P(LoaderTest, Succeeds)
{
    EXPECT_EQ(load(), 0);
    expect_left(false, false);
}

TEST_P(LoaderTest, NeedsItsPaths)
{
    EXPECT_EQ(load(nullptr), -2);
    EXPECT_EQ(load(device, nullptr), -2);
    EXPECT_EQ(timeline(), Names{});
}

TEST_P(LoaderTest, RefusedFlashChangesNothing)
{
    refuse_owner(1);
    EXPECT_EQ(load(), -2);
    EXPECT_EQ(timeline(), (Names{lock, unlock, "status 0/3"}));
    EXPECT_EQ(flash(), before_);
    expect_left(false, false);
}

TEST_P(WriterTest, FlashThatIsNotGivenBack)
{
    refuse_owner(0);
    EXPECT_EQ(load(), -2);
    Names all = timeline();
    EXPECT_EQ(Names(all.end() - 4, all.end()),
              (Names{"unlock bios_flash_lock", unlock, "status 0/3", rmmod}));
    expect_left(true, false);
}

TEST_P(WriterTest, FailedCopyGivesTheFlashBack)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    board.faults.add(fault("mtd6", Operation::write, Fault::Kind::bit_flip, 100));
    EXPECT_EQ(load(), -2);
    const Names all = timeline();
    EXPECT_EQ(Names(all.end() - 9, all.end()),
              joined({{"close mtd6", "close image"}, to_host, {unlock, "status 0/3", rmmod}}));
    expect_left(false, false);
}

TEST_P(WriterTest, DriverThatDoesNotLoad)
{
    board.faults.add({.name = "no driver",
                      .device = "/sbin/insmod /ko/m25p80.ko",
                      .operation = Operation::run,
                      .kind = Fault::Kind::result,
                      .value = 1 << 8});
    EXPECT_EQ(load(), -2);
    EXPECT_TRUE(output().ends_with("While trying to open /dev/mtd6 for read/write access\n"));
    EXPECT_EQ(status(), Status(0, 3));
    expect_left(false, false);
}

const Loader loaders[] = {
    {"load_bios", load}, {"load_bios_bin", load_binary}, {"isFullUpgrade", decide}};

INSTANTIATE_TEST_SUITE_P(Loaders, LoaderTest, ::testing::ValuesIn(loaders),
                         [](const auto &test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Loaders, WriterTest, ::testing::Values(loaders[0], loaders[1]),
                         [](const auto &test) { return test.param.name; });

// ---- isFullUpgrade ----

struct Flags {
    uint32_t flash;
    uint32_t image;
    int result;
};

void PrintTo(const Flags &flags, std::ostream *stream)
{
    *stream << flags.flash << "_and_" << flags.image;
}

class DecisionTest : public BiosImageTest, public ::testing::WithParamInterface<Flags> {};

TEST_P(DecisionTest, ComparesTheTopBytes)
{
    const Flags &flags = GetParam();
    put_flash(build(image_with(flags.flash)));
    const std::string name = file("image", build(image_with(flags.image)));
    watch();
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, partition_size), flags.result);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(status(), Status(0, 0));
    EXPECT_EQ(flash(), before_);
    expect_left(false, false);
}

INSTANTIATE_TEST_SUITE_P(
    Flags, DecisionTest,
    ::testing::Values(Flags{0x01000000, 0x02000000, 0}, Flags{0x01000000, 0x01000001, -2},
                      Flags{0x01FFFFFF, 0x01000000, -2}, Flags{0x00FFFFFF, 0x01000000, 0},
                      Flags{0x80000000, 0x00000000, 0}, Flags{0xFFFFFFFF, 0xFF000000, -2}));

TEST_F(BiosImageTest, DecisionRunsItsStepsInOrder)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    put_flash(build(image_with(0x01000000)));
    const std::string name = file("image", build(image_with(0x02000000)));
    watch();
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, partition_size), 0);
    EXPECT_EQ(timeline(), joined({{lock},
                                  to_controller,
                                  {insmod, "open mtd6", "seek mtd6 00", "read mtd6 00",
                                   "read mtd6 1000", "close mtd6"},
                                  to_host,
                                  {rmmod, unlock}}));
}

TEST_F(BiosImageTest, DecisionWithoutAnImageReleasesTwice)
{
    if (!sees_each_access()) {
        GTEST_SKIP() << "single stores are not seen on this machine";
    }
    put_flash(build(image_with(0x01000000)));
    watch();
    EXPECT_EQ(isFullUpgrade(device, "/no/such/image", 0, partition_size), -2);
    const Names all = timeline();
    const auto first = std::find(all.begin(), all.end(), "close mtd6");
    EXPECT_EQ(Names(first, all.end()), joined({{"close mtd6"},
                                               to_host,
                                               {rmmod, unlock},
                                               to_host,
                                               {unlock, "status 0/3", rmmod,
                                                "print read upgrade flag fail from file\r\n"}}));
    expect_left(false, false);
}

TEST_F(BiosImageTest, DecisionWithoutAFlagOnTheFlash)
{
    const std::string name = file("image", build(image_with(0x02000000)));
    watch();
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, partition_size), 0);
    EXPECT_EQ(output(), "read upgrade flag fail from flash\r\n");
    board.modules().remove_file("m25p80");
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, partition_size), 0);
    EXPECT_EQ(output(), "open error\nread upgrade flag fail from flash\r\n");
    EXPECT_EQ(status(), Status(0, 0));
}

TEST_F(BiosImageTest, DecisionThatCannotGiveTheFlashBack)
{
    put_flash(build(image_with(0x01000000)));
    refuse_owner(0);
    watch();
    EXPECT_EQ(isFullUpgrade(device, "/no/such/image", 0, partition_size), -2);
    const Names all = steps();
    EXPECT_EQ(Names(all.end() - 3, all.end()), (Names{"close mtd6", unlock, rmmod}));
    EXPECT_EQ(output(), "") << "the image is not looked at";
    EXPECT_EQ(status(), Status(0, 0));
    expect_left(true, false);
}

} // namespace
} // namespace board_test
