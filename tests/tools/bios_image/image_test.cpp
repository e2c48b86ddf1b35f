// The bytes of built images.

#include "tools/bios_image/image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace bios_image {
namespace {

Bytes part(const Bytes &image, size_t at, size_t count)
{
    const auto from = image.begin() + static_cast<std::ptrdiff_t>(at);
    return {from, from + static_cast<std::ptrdiff_t>(count)};
}

bool erased(const Bytes &image, size_t at, size_t count)
{
    return part(image, at, count) == Bytes(count, 0xFF);
}

TEST(BuiltImage, HasAVolumeHeader)
{
    const Bytes image = build({.size = 0x4000, .volume_at = 0x2000});
    const Bytes header = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x8D, 0xDD, 0xDD, 0xFF, 0x96, 0x86,
                          0x8B, 0x4C, 0xA9, 0x85, 0x27, 0x67, 0x07, 0x5B, 0x4F, 0x50, 0x00,
                          0x20, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, '_',  'F',  'V',  'H',
                          0x00, 0x00, 0x00, 0x00, 0x40, 0x00, 0x5A, 0x06, 0x00, 0x00, 0x00,
                          0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(part(image, 0x2000, 64), header);
    EXPECT_TRUE(erased(image, 0, 0x2000));
}

TEST(BuiltImage, HasTheDataFileBehindTheHeader)
{
    const Bytes image = build({.flag = 0x12345678, .regions = {{0x8000, 0x1000}, {1, 2}}});
    const Bytes header = {0xB9, 0x77, 0x7F, 0xD9, 0xF2, 0x79, 0xCF, 0x4C, 0xA2, 0x54, 0xF4, 0xE5,
                          0xA2, 0x8A, 0x8F, 0x97, 0xFF, 0xFF, 0x02, 0xFF, 0xC4, 0x01, 0x00, 0xF8};
    EXPECT_EQ(part(image, 0x1040, 24), header);
    const size_t data = 0x1058;
    EXPECT_TRUE(erased(image, data, 92));
    EXPECT_EQ(part(image, data + 92, 4), (Bytes{0x78, 0x56, 0x34, 0x12}));
    EXPECT_EQ(part(image, data + 136, 20),
              (Bytes{2, 0, 0, 0, 0, 0x80, 0, 0, 0, 0x10, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_TRUE(erased(image, data + 156, image.size() - data - 156));
}

TEST(BuiltImage, HasFilesBeforeTheData)
{
    const Layout layout = {.files = {100, 0}};
    EXPECT_EQ(data_file_at(layout), 0x1040U + 124 + 24);
    const Bytes image = build(layout);
    EXPECT_EQ(part(image, 0x1040, 24),
              (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                     0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 0xFF, 100,  0,    0,    0xF8}));
    EXPECT_EQ(load16(image, 0x1040 + 124 + 20), 0U);
    EXPECT_EQ(image.at(data_file_at(layout)), 0xB9);
}

TEST(BuiltImage, HeaderWordsAddUpToZero)
{
    for (const uint16_t length : std::initializer_list<uint16_t>{0, 64, 72, 1000}) {
        for (const uint32_t seed : {1U, 2U}) {
            const Bytes image = build({.volume_at = 0, .header_length = length}, seed);
            uint32_t sum = 0;
            for (size_t at = 0; at < std::max<size_t>(length, 64); at += 2) {
                sum += load16(image, at);
            }
            EXPECT_EQ(sum & 0xFFFF, 0U) << length;
        }
    }
}

TEST(BuiltImage, VolumesReachToTheNextOne)
{
    const Bytes image = build({.volume_at = 0x3000, .other_volumes = {0x8000, 0x1000}});
    EXPECT_EQ(load32(image, 0x1000 + volume_length_at), 0x2000U);
    EXPECT_EQ(load32(image, 0x3000 + volume_length_at), 0x5000U);
    EXPECT_EQ(load32(image, 0x8000 + volume_length_at), 0x8000U);
    const Bytes plain(plain_volume_guid.begin(), plain_volume_guid.end());
    EXPECT_EQ(part(image, 0x1000 + volume_guid_at, 16), plain);
    EXPECT_EQ(part(image, 0x8000 + volume_guid_at, 16), plain);
}

TEST(BuiltImage, IsFilledByItsSeed)
{
    const Bytes one = build({}, 1);
    EXPECT_EQ(build({}, 1), one);
    const Bytes two = build({}, 2);
    EXPECT_NE(part(one, 0, 0x1000), part(two, 0, 0x1000));
    EXPECT_EQ(part(one, 0, 0x1000), part(pattern(0x10000, 1), 0, 0x1000));
    EXPECT_EQ(part(one, 0x1000, 64), part(two, 0x1000, 64)) << "the header is no filling";
    // No 4 KiB look like others: a copy to the wrong place is seen.
    for (size_t at = 0x1000; at < one.size(); at += 0x1000) {
        EXPECT_NE(part(pattern(0x10000, 1), at, 64), part(pattern(0x10000, 1), 0, 64));
    }
}

TEST(BuiltImage, DoesNotGrowBeyondItsSize)
{
    EXPECT_THROW(build({.size = 0x1000}), std::out_of_range);
    EXPECT_THROW(build({.size = 0x2000, .header_length = 4000}), std::out_of_range);
    EXPECT_EQ(build({.size = 0x2000, .header_length = 3644}).size(), 0x2000U);
}

// ---- what is refused ----

TEST(Layouts, AreRefusedWithAReason)
{
    const char *const size = "the size is a multiple of 4096, up to 8M";
    const char *const volume = "a volume begins at a multiple of 4096 within the image";
    const char *const data =
        "the OEM data file has to end before the last byte of its volume's first 4096 bytes";
    const char *const region = "a region lies within the image";
    const char *const table = "the region table has room for 11 regions";
    const std::pair<Layout, const char *> cases[] = {
        {{}, ""},
        {{.size = 0x800000}, ""},
        {{.size = 0}, size},
        {{.size = 0x801000}, size},
        {{.size = 0x10001}, size},
        {{.volume_at = 0xF000}, ""},
        {{.volume_at = 0x10000}, volume},
        {{.volume_at = 0x1800}, volume},
        {{.other_volumes = {0, 0xF000}}, ""},
        {{.other_volumes = {0x10000}}, volume},
        {{.other_volumes = {0x1000}}, "two volumes begin at the same place"},
        {{.header_length = 0}, ""},
        {{.header_length = 63}, "a volume header has 64 bytes or more"},
        {{.header_length = 3643}, ""},
        {{.header_length = 3644}, data},
        {{.files = {3555}}, ""},
        {{.files = {3556}}, data},
        {{.regions = {{0, 0x10000}, {0x10000, 0}}}, ""},
        {{.regions = {{1, 0x10000}}}, region},
        {{.regions = {{0xFFFFFFFF, 0xFFFFFFFF}}}, region},
        {{.regions = std::vector<Region>(11)}, ""},
        {{.regions = std::vector<Region>(12)}, table},
        {{.region_count = 12}, table},
    };
    for (const auto &[layout, reason] : cases) {
        EXPECT_EQ(problem_of(layout), reason) << (&layout - &cases[0].first);
    }
}

} // namespace
} // namespace bios_image
