// The OEM data of images and of the flash, as the update decision sees it.

#include <algorithm>

#include "tests/update/update_test.h"
#include "tools/bios_image/image.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;
using bios_image::oem_data_guid;
using bios_image::oem_volume_guid;
using bios_image::put_guid;
using bios_image::store16;

constexpr const char *device = "/dev/mtd6";
constexpr uint32_t flag = 0x05000000;
constexpr const char *not_in_file = "read upgrade flag fail from file\r\n";
constexpr const char *not_in_flash = "read upgrade flag fail from flash\r\n";

Personality small_bios()
{
    Personality personality = update_board();
    personality.bios_flash = {.size = 0x3000, .erase_size = erase_size};
    return personality;
}

// Asks for the decision with a flag on one side and none on the other, and so
// sees whether it was found.
class OemDataTest : public UpdateTest {
protected:
    OemDataTest() : UpdateTest(small_bios()) {}

    void SetUp() override
    {
        UpdateTest::SetUp();
        board.bios_flash().put(0, build({.size = 0x3000, .flag = 0x01000000}));
    }
    // What the reader of images says of the file; "found" if it finds the flag.
    std::string search_file(const std::string &name, uint32_t offset, uint32_t size)
    {
        output();
        const int result = isFullUpgrade(device, name.c_str(), offset, size);
        const std::string said = output();
        if (result == 0 && said.empty()) {
            return "found";
        }
        EXPECT_EQ(result, -2);
        return said;
    }
    std::string search_image(const Bytes &image, uint32_t offset = 0)
    {
        return search_file(file("image", image), offset, static_cast<uint32_t>(image.size()));
    }
    // The same of the flash.
    std::string search_flash(const Bytes &contents)
    {
        board.bios_flash().put(0, Bytes(0x3000, 0xFF));
        board.bios_flash().put(0, contents);
        return search_flash();
    }
    std::string search_flash()
    {
        const std::string name = file("image", build({.flag = flag}));
        output();
        const int result = isFullUpgrade(device, name.c_str(), 0, 0x10000);
        const std::string said = output();
        EXPECT_EQ(result, said.empty() ? -2 : 0) << "no flag is flag 0";
        return said.empty() ? "found" : said;
    }
};

std::vector<uint16_t> lengths(std::vector<uint16_t> values)
{
    return values;
}

std::string header_overrun()
{
    return text("get_bios_oem_data 1058 pnvDataheader is overrunning array of 4096 bytes!\n%s",
                not_in_file);
}

std::string data_overrun()
{
    return text("get_bios_oem_data 1069 poemData is overrunning array of 4096 bytes!\n%s",
                not_in_file);
}

TEST_F(OemDataTest, GuidsAreInUefiByteOrder)
{
    const Bytes volume = {0x8D, 0xDD, 0xDD, 0xFF, 0x96, 0x86, 0x8B, 0x4C,
                          0xA9, 0x85, 0x27, 0x67, 0x07, 0x5B, 0x4F, 0x50};
    const Bytes data = {0xB9, 0x77, 0x7F, 0xD9, 0xF2, 0x79, 0xCF, 0x4C,
                        0xA2, 0x54, 0xF4, 0xE5, 0xA2, 0x8A, 0x8F, 0x97};
    EXPECT_EQ(Bytes(g_OemFvGuid, g_OemFvGuid + 16), volume);
    EXPECT_EQ(Bytes(g_OemDataGuid, g_OemDataGuid + 16), data);
    // The builder of the images below writes them on its own.
    EXPECT_EQ(Bytes(oem_volume_guid.begin(), oem_volume_guid.end()), volume);
    EXPECT_EQ(Bytes(oem_data_guid.begin(), oem_data_guid.end()), data);
}

// ---- images ----

TEST_F(OemDataTest, ImageVolumeMayBeginAtAnyBlock)
{
    for (const uint32_t at : {0x0000U, 0x1000U, 0x8000U, 0xF000U}) {
        EXPECT_EQ(search_image(build({.volume_at = at, .flag = flag})), "found") << at;
    }
    Bytes between = build({.volume_at = 0x1000, .flag = flag});
    between.insert(between.begin(), 16, 0xFF);
    between.resize(0x10000);
    EXPECT_EQ(search_image(between), not_in_file);
}

TEST_F(OemDataTest, ImageFilesBeginBehindTheVolumeHeader)
{
    for (const uint16_t length : lengths({0, 52, 64, 72, 1000, 3643})) {
        const Layout image = {.volume_at = 0, .header_length = length, .flag = flag};
        EXPECT_EQ(search_image(build(image)), "found") << length;
    }
}

TEST_F(OemDataTest, ImageFilesAreWalkedWithTheirHeaderAddedOnTop)
{
    EXPECT_EQ(search_image(build({.files = {0}, .flag = flag})), "found");
    EXPECT_EQ(search_image(build({.files = {24, 100, 0, 3000}, .flag = flag})), "found");
    // A size that counts for itself leads past the next header.
    Bytes image = build({.flag = flag});
    std::copy_n(image.begin() + 0x1040, 500, image.begin() + 0x1040 + 100);
    std::fill_n(image.begin() + 0x1040, 16, uint8_t{0xFF});
    store16(image, 0x1040 + 20, 100);
    EXPECT_EQ(search_image(image), not_in_file);
    store16(image, 0x1040 + 20, 100 - 24);
    EXPECT_EQ(search_image(image), "found");
}

TEST_F(OemDataTest, ImageDataMustEndBeforeTheBlocksLastByte)
{
    EXPECT_EQ(search_image(build({.header_length = 3643, .flag = flag})), "found");
    EXPECT_EQ(search_image(build({.header_length = 3644, .flag = flag})), data_overrun());
    EXPECT_EQ(search_image(build({.header_length = 4072, .flag = flag})), data_overrun());
}

TEST_F(OemDataTest, ImageHeadersMustLieInTheBlock)
{
    for (const uint16_t length : lengths({4073, 4095})) {
        EXPECT_EQ(search_image(build({.header_length = length, .flag = flag})), header_overrun());
    }
    // Position 4096 and behind is the end of the walk.
    for (const uint16_t length : lengths({4096, 4097, 65035})) {
        EXPECT_EQ(search_image(build({.size = 0x20000, .header_length = length, .flag = flag})),
                  not_in_file);
    }
    EXPECT_EQ(search_image(build({.files = {4009 - 24}, .flag = flag})), header_overrun());
    EXPECT_EQ(search_image(build({.files = {4032 - 24}, .flag = flag})), not_in_file);
}

TEST_F(OemDataTest, ImageWithSizesThatPointAnywhereIsSurvived)
{
    for (uint32_t seed = 1; seed <= 200; ++seed) {
        Bytes image = pattern(0x1000, seed);
        put_guid(image, 16, oem_volume_guid);
        const std::string said = search_image(image);
        EXPECT_TRUE(said == not_in_file || said == header_overrun()) << seed << said;
    }
    // Files without a size: the walk goes header by header.
    Bytes image(0x1000, 0);
    put_guid(image, 16, oem_volume_guid);
    EXPECT_EQ(search_image(image), not_in_file) << "64 + 168 * 24 is 4096";
    image[48] = 65;
    EXPECT_EQ(search_image(image), header_overrun());
}

TEST_F(OemDataTest, ImageIsSearchedInItsFirstVolumeAlone)
{
    Bytes image = build({.volume_at = 0x4000, .flag = flag});
    put_guid(image, 0x2000 + 16, oem_volume_guid);
    EXPECT_EQ(search_image(image), not_in_file);
    // And in the first block of that.
    image = build({.volume_at = 0x4000, .flag = flag});
    std::copy_n(image.begin() + 0x4040, 500, image.begin() + 0x5040);
    std::fill_n(image.begin() + 0x4040, 16, uint8_t{0xFF});
    EXPECT_EQ(search_image(image), not_in_file);
}

TEST_F(OemDataTest, ImageGuidsCountWhole)
{
    const Bytes good = build({.volume_at = 0, .flag = flag});
    for (const size_t guid : {size_t{16}, size_t{64}}) {
        for (size_t byte = 0; byte < 16; ++byte) {
            Bytes image = good;
            image[guid + byte] ^= 0x10;
            EXPECT_EQ(search_image(image), not_in_file) << guid << " " << byte;
        }
    }
}

TEST_F(OemDataTest, ImageIsSearchedUpToItsSize)
{
    const std::string name = file("image", build({.volume_at = 0x2000, .flag = flag}));
    EXPECT_EQ(search_file(name, 0, 0x2000), not_in_file);
    EXPECT_EQ(search_file(name, 0, 0x2001), "found") << "a started block is read whole";
    EXPECT_EQ(search_file(name, 0, 0xFFFFFFFF), "found");
    EXPECT_EQ(search_file(name, 0, 4095), not_in_file);
    EXPECT_EQ(search_file(name, 0, 0), not_in_file);
    EXPECT_EQ(
        search_file(file("small", build({.size = 4096, .volume_at = 0, .flag = flag})), 0, 4096),
        "found");
}

TEST_F(OemDataTest, ImageBelowOneBlockIsNotOpened)
{
    put_image(pattern(10));
    clear_trace();
    EXPECT_EQ(search_file(board_image, 0, 4095), not_in_file);
    EXPECT_EQ(board.trace.count(Operation::open, "image"), 0U);
    EXPECT_EQ(search_file(board_image, 0, 4096),
              text("read file %s size error 10\r\n%s", board_image, not_in_file));
    EXPECT_EQ(board.trace.count(Operation::open, "image"), 1U);
}

TEST_F(OemDataTest, ImageBeginsAtItsOffset)
{
    Bytes image = build({.volume_at = 0x1000, .flag = flag});
    image.insert(image.begin(), 100, 0xFF);
    const std::string name = file("image", image);
    EXPECT_EQ(search_file(name, 100, 0x10000), "found");
    EXPECT_EQ(search_file(name, 99, 0x8000), not_in_file);
    EXPECT_EQ(search_file(name, 100 + 0x1000, 0x8000), "found");
    EXPECT_EQ(search_file(name, 0x20000, 0x10000),
              text("read file %s size error 0\r\n%s", name.c_str(), not_in_file));
    EXPECT_EQ(search_file(name, 0x80000000, 0x10000), not_in_file) << "cannot be positioned";
}

TEST_F(OemDataTest, ImageThatEndsEarlySaysSo)
{
    const std::string name = file("image", Bytes(5000, 0xFF));
    EXPECT_EQ(search_file(name, 0, 0x10000),
              text("read file %s size error 904\r\n%s", name.c_str(), not_in_file));
    EXPECT_EQ(search_file("/no/such/image", 0, 0x10000), not_in_file);
}

TEST_F(OemDataTest, ImageThatShrinksSaysSo)
{
    put_image(build({.volume_at = 0x4000, .flag = flag}));
    board.faults.add(fault("image", Operation::read, Fault::Kind::result, 0, 1));
    const std::string said = search_file(board_image, 0, 0x10000);
    EXPECT_TRUE(said.starts_with("read file /ko/image.bin size error ")) << said;
    EXPECT_TRUE(said.ends_with(not_in_file)) << said;
}

// ---- flash ----

TEST_F(OemDataTest, FlashNeedsNoVolume)
{
    Bytes contents = build({.size = 0x3000, .flag = flag});
    EXPECT_EQ(search_flash(contents), "found");
    std::fill_n(contents.begin() + 0x1000, 64, uint8_t{0xFF});
    EXPECT_EQ(search_flash(contents), "found");
}

TEST_F(OemDataTest, FlashIsWalkedFromByte64OfEachBlock)
{
    for (const uint32_t block : {0U, 1U, 2U}) {
        Layout image = {.size = 0x3000, .volume_at = block * 0x1000, .flag = flag};
        EXPECT_EQ(search_flash(build(image)), "found") << block;
        image.header_length = 72;
        EXPECT_EQ(search_flash(build(image)), not_in_flash) << block;
    }
}

TEST_F(OemDataTest, FlashDataMayEndWithItsBlock)
{
    // 64 + 24 + 3556 is 3644, one further than in an image.
    EXPECT_EQ(search_flash(build({.size = 0x3000, .files = {3555}, .flag = flag})), "found");
    EXPECT_EQ(search_flash(build({.size = 0x3000, .files = {3556}, .flag = flag})), "found");
    EXPECT_EQ(search_flash(build({.size = 0x3000, .files = {3557}, .flag = flag})), not_in_flash);
    EXPECT_EQ(search_flash(build({.size = 0x3000, .files = {0, 10, 24, 500}, .flag = flag})),
              "found");
}

TEST_F(OemDataTest, FlashFileLargerThanItsBlockEndsTheBlock)
{
    Bytes contents(0x3000, 0);
    const Bytes later = build({.size = 0x1000, .volume_at = 0, .flag = flag});
    std::copy(later.begin(), later.end(), contents.begin() + 0x2000);
    for (const uint32_t size : {4095U, 4096U, 65535U}) {
        store16(contents, 64 + 20, size);
        store16(contents, 0x1000 + 64 + 20, size);
        EXPECT_EQ(search_flash(contents), "found") << size;
    }
}

TEST_F(OemDataTest, FlashWithSizesThatPointAnywhereIsSurvived)
{
    for (uint32_t seed = 1; seed <= 200; ++seed) {
        EXPECT_EQ(search_flash(pattern(0x3000, seed)), not_in_flash);
    }
    EXPECT_EQ(search_flash(Bytes(0x3000, 0)), not_in_flash);
}

TEST_F(OemDataTest, FlashThatIsNotReadHasNoFlag)
{
    board.bios_flash().put(0, build({.size = 0x3000, .flag = flag}));
    EXPECT_EQ(search_flash(), "found");
    const Fault faults[] = {fault("mtd6", Operation::seek, Fault::Kind::error, EIO),
                            fault("mtd6", Operation::read, Fault::Kind::error, EIO, 1),
                            fault("mtd6", Operation::read, Fault::Kind::short_count, 4095)};
    for (const Fault &each : faults) {
        board.faults.add(each);
        EXPECT_EQ(search_flash(), not_in_flash);
    }
    board.faults.add(fault("mtd6", Operation::open, Fault::Kind::error, EIO));
    EXPECT_EQ(search_flash(), text("open error\n%s", not_in_flash));
    board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_OWNER, 0);
    EXPECT_EQ(search_flash(), not_in_flash);
}

TEST_F(OemDataTest, FlashIsOpenedAsTheRawAccessDoes)
{
    EXPECT_EQ(search_flash(build({.size = 0x3000, .flag = flag})), "found");
    EXPECT_EQ(board.trace.of(Operation::open, "mtd6").at(0).address, 0x1000U);
    EXPECT_EQ(board.trace.of(Operation::seek, "mtd6").at(0).address, 0U);
    for (const Event &read : board.trace.of(Operation::read, "mtd6")) {
        EXPECT_EQ(read.count, 4096U);
    }
}

} // namespace
} // namespace board_test
