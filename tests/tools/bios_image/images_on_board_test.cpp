// Well-formed and broken images under the library's operations: each says, does
// and leaves what it should, whatever an image holds.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "tests/update/update_test.h"
#include "tools/bios_image/breakages.h"
#include "tools/bios_image/image.h"
#include "tools/bios_image/reading.h"

namespace board_test {
namespace {

using bios_image::build;
using bios_image::Layout;
using bios_image::Outcome;
using bios_image::Region;

constexpr const char *device = "/dev/mtd6";
constexpr uint32_t flag = 0x05000000;
constexpr uint32_t other_flag = 0x06000000;
constexpr const char *not_in_file = "read upgrade flag fail from file\r\n";
constexpr const char *not_in_flash = "read upgrade flag fail from flash\r\n";

const Layout usual = {.flag = flag, .regions = {{0x3000, 5000}, {0x8000, 0x1000}}};

class ImagesTest : public UpdateTest {
protected:
    const Bytes &flash() { return board.bios_flash().contents(); }
    Bytes saved(const std::string &name)
    {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    // The flash as another image of this flag left it.
    void program_flash(uint32_t of_flag)
    {
        board.bios_flash().put(0, build({.flag = of_flag}, 1));
        before_ = flash();
        set_upgrade_status(0, 0);
        output();
    }
    std::string named(const std::string &message)
    {
        return with_paths(message, device, path("image"));
    }
    void expect_released(const Status &published)
    {
        EXPECT_EQ(status(), published);
        EXPECT_FALSE(controller_owns_bios_flash());
        EXPECT_FALSE(bios_driver_loaded());
    }
    // The flash with a stretch of an image in place, block by block erased.
    static void replace(Bytes &contents, const Bytes &image, const Region &region)
    {
        const auto at = static_cast<std::ptrdiff_t>(region.offset);
        const auto blocks =
            static_cast<std::ptrdiff_t>((region.length + erase_size - 1) / erase_size * erase_size);
        std::fill_n(contents.begin() + at, blocks, uint8_t{0xFF});
        std::copy_n(image.begin() + at, region.length, contents.begin() + at);
    }
    // A decision and a complete load of what a dump brought back.
    void expect_dump_of_load(const Bytes &image)
    {
        const std::string name = file("whole", image);
        const auto length = static_cast<int32_t>(image.size());
        EXPECT_EQ(load_bios_bin(device, name.c_str(), 0, length, 1), 0);
        EXPECT_EQ(get_bios(path("dump").c_str(), static_cast<uint32_t>(image.size())), 0);
        EXPECT_EQ(saved("dump"), image);
        output();
    }

    Bytes before_;
};

// ---- well-formed ----

struct GoodImage {
    const char *name;
    Layout layout;
    bool flash_finds = true;
};

void PrintTo(const GoodImage &image, std::ostream *stream)
{
    *stream << image.name;
}

const GoodImage good_images[] = {
    {"usual", usual},
    {"no_region", {.flag = flag}},
    {"volume_first", {.volume_at = 0, .flag = flag, .regions = {{0x2000, 1}}}},
    {"volume_last", {.volume_at = 0xF000, .flag = flag, .regions = {{0, 0x10000}}}},
    {"files_before", {.files = {0, 100, 3000}, .flag = flag, .regions = {{0x4000, 0x1001}}}},
    {"header_length_0", {.header_length = 0, .flag = flag, .regions = {{0x2000, 1}}}},
    {"header_length_72", {.header_length = 72, .flag = flag, .regions = {{0x2000, 1}}}, false},
    {"last_place", {.files = {3555}, .flag = flag, .regions = {{0x1000, 0x1000}}}},
    {"other_volumes",
     {.volume_at = 0x4000, .flag = flag, .regions = {{0x4000, 1}}, .other_volumes = {0, 0x8000}}},
    {"eleven_regions",
     {.flag = flag,
      .regions = {{0x2000, 9},
                  {0x3000, 9},
                  {0x4000, 9},
                  {0x5000, 9},
                  {0x6000, 9},
                  {0x7000, 9},
                  {0x8000, 9},
                  {0x9000, 9},
                  {0xA000, 9},
                  {0xB000, 9},
                  {0xC000, 9}}}},
};

class GoodImageTest : public ImagesTest, public ::testing::WithParamInterface<GoodImage> {
protected:
    const Layout &layout() { return GetParam().layout; }
    std::string image_file() { return file("image", build(layout(), 2)); }
};

TEST_P(GoodImageTest, IsDecidedOn)
{
    ASSERT_EQ(bios_image::problem_of(layout()), "");
    const std::string name = image_file();
    program_flash(other_flag);
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, layout().size), 0);
    program_flash(flag);
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, layout().size), -2);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(flash(), before_);
    expect_released({0, 0});
}

TEST_P(GoodImageTest, IsLoadedRegionByRegion)
{
    program_flash(flag);
    const std::string name = image_file();
    EXPECT_EQ(load_bios(device, name.c_str(), 0, layout().size, 1), 0);
    Bytes expected = before_;
    std::string lines;
    for (const Region &region : layout().regions) {
        replace(expected, build(layout(), 2), region);
        lines += copy_lines(region.length);
    }
    EXPECT_EQ(flash(), expected);
    EXPECT_EQ(output(), lines);
    EXPECT_FALSE(controller_owns_bios_flash());
    EXPECT_FALSE(bios_driver_loaded());
}

TEST_P(GoodImageTest, IsLoadedByHalf)
{
    program_flash(other_flag);
    const std::string name = image_file();
    EXPECT_EQ(load_bios(device, name.c_str(), 0, layout().size, 0), 0);
    Bytes expected = before_;
    replace(expected, build(layout(), 2), {0x8000, 0x8000});
    EXPECT_EQ(flash(), expected);
    EXPECT_EQ(output(), copy_lines(0x8000));
    expect_released({100, 1});
}

TEST_P(GoodImageTest, IsReadBack)
{
    expect_dump_of_load(build(layout(), 2));
    const std::string name = file("image", build({.flag = other_flag}));
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, 0x10000), 0);
    EXPECT_EQ(output(), GetParam().flash_finds ? "" : not_in_flash);
}

TEST_P(GoodImageTest, IsShownAsItWasBuilt)
{
    const Bytes image = build(layout(), 2);
    const bios_image::ImageReading reading = bios_image::read_image(image, layout().size);
    EXPECT_EQ(reading.outcome, Outcome::found);
    EXPECT_EQ(reading.volume_at, layout().volume_at);
    EXPECT_EQ(reading.data_file_at, data_file_at(layout()));
    EXPECT_EQ(reading.data.flag, flag);
    EXPECT_EQ(reading.data.region_count, layout().regions.size());
    ASSERT_EQ(reading.data.regions.size(), layout().regions.size());
    for (size_t i = 0; i < layout().regions.size(); ++i) {
        EXPECT_EQ(reading.data.regions[i].offset, layout().regions[i].offset);
        EXPECT_EQ(reading.data.regions[i].length, layout().regions[i].length);
    }
    EXPECT_EQ(bios_image::read_flash(image).has_value(), GetParam().flash_finds);
}

INSTANTIATE_TEST_SUITE_P(Images, GoodImageTest, ::testing::ValuesIn(good_images), ByName());

// ---- broken ----

// What becomes of the regions when they are loaded.
enum class Regions {
    loaded,  // the usual ones
    none,    // there are none: done
    refused, // without a word
    too_small,
    unaligned,
};

struct BrokenImage {
    const char *name;
    Outcome outcome;
    const char *said; // by the reader of images
    bool flash_finds; // on a flash whose rest is erased
    Regions regions = Regions::refused;
};

void PrintTo(const BrokenImage &image, std::ostream *stream)
{
    *stream << image.name;
}

constexpr const char *header_overrun =
    "get_bios_oem_data 1058 pnvDataheader is overrunning array of 4096 bytes!\n";
constexpr const char *data_overrun =
    "get_bios_oem_data 1069 poemData is overrunning array of 4096 bytes!\n";

const BrokenImage broken_images[] = {
    {"empty", Outcome::cut_off, "read file {image} size error 0\r\n", false},
    {"one-byte", Outcome::cut_off, "read file {image} size error 1\r\n", false},
    {"cut-before-volume", Outcome::cut_off, "read file {image} size error 0\r\n", false},
    {"cut-in-volume", Outcome::cut_off, "read file {image} size error 4095\r\n", true},
    {"cut-behind-volume", Outcome::found, "", true, Regions::too_small},
    {"no-volume", Outcome::no_volume, "", false},
    {"volume-guid-bit", Outcome::no_volume, "", true},
    {"volume-unaligned", Outcome::no_volume, "", false},
    {"volume-of-noise", Outcome::no_data_file, "", false},
    {"first-volume-empty", Outcome::no_data_file, "", true},
    {"header-length-0", Outcome::found, "", true, Regions::loaded},
    {"header-length-last", Outcome::no_data_file, "", true},
    {"header-length-overrun", Outcome::header_overrun, header_overrun, true},
    {"header-length-4096", Outcome::no_data_file, "", true},
    {"header-length-max", Outcome::no_data_file, "", true},
    {"file-size-0", Outcome::no_data_file, "", false},
    {"file-size-max", Outcome::no_data_file, "", false},
    {"file-size-overrun", Outcome::header_overrun, header_overrun, false},
    {"file-size-third-byte", Outcome::found, "", true, Regions::loaded},
    {"no-data-file", Outcome::no_data_file, "", false},
    {"data-guid-bit", Outcome::no_data_file, "", false},
    {"data-ends-with-block", Outcome::data_overrun, data_overrun, true},
    {"data-overrun", Outcome::data_overrun, data_overrun, false},
    {"data-in-second-block", Outcome::no_data_file, "", true},
    {"region-count-0", Outcome::found, "", true, Regions::none},
    {"region-count-12", Outcome::found, "", true, Regions::refused},
    {"region-count-256", Outcome::found, "", true, Regions::refused},
    {"region-count-max", Outcome::found, "", true, Regions::refused},
    {"region-empty", Outcome::found, "", true, Regions::none},
    {"region-longer-than-image", Outcome::found, "", true, Regions::refused},
    {"region-length-max", Outcome::found, "", true, Regions::refused},
    {"region-outside-image", Outcome::found, "", true, Regions::too_small},
    {"region-over-flash-end", Outcome::found, "", true, Regions::refused},
    {"region-behind-flash", Outcome::found, "", true, Regions::refused},
    {"region-wraps", Outcome::found, "", true, Regions::refused},
    {"region-unaligned", Outcome::found, "", true, Regions::unaligned},
};

Bytes broken_image(const char *name)
{
    Bytes image = build(usual, 2);
    bios_image::find_breakage(name)->apply(image, bios_image::read_image(image, image.size()));
    return image;
}

class BrokenImageTest : public ImagesTest, public ::testing::WithParamInterface<BrokenImage> {
protected:
    Bytes image() { return broken_image(GetParam().name); }
    std::string image_file() { return file("image", image()); }
    bool found() { return GetParam().outcome == Outcome::found; }
    // What loading the regions prints.
    std::string region_lines()
    {
        switch (GetParam().regions) {
        case Regions::loaded:
            return copy_lines(5000) + copy_lines(0x1000);
        case Regions::too_small:
            return "{image} too small!\n";
        case Regions::unaligned:
            return "spi offset 16 won't fit erase 4096 the device {device}\r\n";
        default:
            return "";
        }
    }
};

TEST_P(BrokenImageTest, IsDecidedOn)
{
    const std::string name = image_file();
    program_flash(other_flag);
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, 0x10000), found() ? 0 : -2);
    const std::string said = found() ? GetParam().said : std::string(GetParam().said) + not_in_file;
    EXPECT_EQ(output(), named(said));
    EXPECT_EQ(flash(), before_);
    expect_released(found() ? Status{0, 0} : Status{0, 3});
}

TEST_P(BrokenImageTest, IsLoadedRegionByRegionOrRefused)
{
    program_flash(flag);
    const std::string name = image_file();
    const Regions regions = GetParam().regions;
    const bool done = found() && (regions == Regions::loaded || regions == Regions::none);
    EXPECT_EQ(load_bios(device, name.c_str(), 0, 0x10000, 0), done ? 0 : -2);
    EXPECT_EQ(output(), named(found() ? region_lines() : GetParam().said));
    Bytes expected = before_;
    if (regions == Regions::loaded) {
        for (const Region &region : usual.regions) {
            replace(expected, image(), region);
        }
    }
    EXPECT_EQ(flash(), expected);
    expect_released(!done                        ? Status{0, 3}
                    : regions == Regions::loaded ? Status{100, 1}
                                                 : Status{0, 0});
}

TEST_P(BrokenImageTest, IsLoadedByHalfOrRefused)
{
    program_flash(other_flag);
    const std::string name = image_file();
    const bool cut = image().size() < 0x10000;
    const bool done = found() && !cut;
    EXPECT_EQ(load_bios(device, name.c_str(), 0, 0x10000, 0), done ? 0 : -2);
    EXPECT_EQ(output(), named(!found() ? GetParam().said
                              : cut    ? "{image} too small!\n"
                                       : copy_lines(0x8000)));
    Bytes expected = before_;
    if (done) {
        replace(expected, image(), {0x8000, 0x8000});
    }
    EXPECT_EQ(flash(), expected);
    expect_released(done ? Status{100, 1} : Status{0, 3});
}

TEST_P(BrokenImageTest, IsReadBackAndSearchedOnTheFlash)
{
    board.bios_flash().put(0, Bytes(partition_size, 0xFF));
    expect_dump_of_load(image());
    const std::string name = file("image", build({.flag = other_flag}));
    EXPECT_EQ(isFullUpgrade(device, name.c_str(), 0, 0x10000), 0);
    EXPECT_EQ(output(), GetParam().flash_finds ? "" : not_in_flash);
}

TEST_P(BrokenImageTest, IsShownAsTheReadersSeeIt)
{
    EXPECT_EQ(bios_image::read_image(image(), 0x10000).outcome, GetParam().outcome);
    Bytes contents = image();
    contents.resize(partition_size, 0xFF);
    EXPECT_EQ(bios_image::read_flash(contents).has_value(), GetParam().flash_finds);
}

struct ByBreakage {
    std::string operator()(const ::testing::TestParamInfo<BrokenImage> &test) const
    {
        std::string name = test.param.name;
        std::replace(name.begin(), name.end(), '-', '_');
        return name;
    }
};

INSTANTIATE_TEST_SUITE_P(Images, BrokenImageTest, ::testing::ValuesIn(broken_images), ByBreakage());

TEST(Breakages, AreAllTested)
{
    std::set<std::string> tested;
    for (const BrokenImage &image : broken_images) {
        tested.insert(image.name);
    }
    std::set<std::string> named;
    for (const bios_image::Breakage &each : bios_image::breakages()) {
        EXPECT_TRUE(named.insert(each.name).second) << each.name << " is there twice";
    }
    EXPECT_EQ(named, tested);
    EXPECT_EQ(bios_image::find_breakage("unheard-of"), nullptr);
}

TEST(Breakages, ChangeEveryGoodImage)
{
    for (const GoodImage &good : good_images) {
        for (const bios_image::Breakage &each : bios_image::breakages()) {
            const Bytes whole = build(good.layout, 2);
            Bytes broken = whole;
            each.apply(broken, bios_image::read_image(whole, whole.size()));
            const std::string name = each.name;
            const bool same = (name == "file-size-0" &&
                               good.layout.files == std::vector<uint16_t>{0, 100, 3000}) ||
                              (name == "header-length-0" && good.layout.header_length == 0) ||
                              (name == "region-count-0" && good.layout.regions.empty()) ||
                              (name == "cut-behind-volume" && good.layout.volume_at == 0xF000);
            EXPECT_EQ(broken == whole, same) << good.name << ", " << name;
        }
    }
}

} // namespace
} // namespace board_test
