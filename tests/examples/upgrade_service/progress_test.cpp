// What is shown of the percentages that the library publishes.

#include "upgrade_service/progress.h"

#include <gtest/gtest.h>

#include "tests/update/update_test.h"

namespace board_test {
namespace {

using upgrade_service::bar;
using upgrade_service::Meter;
using Percents = std::vector<unsigned>;

// What a meter shows for each of the statuses.
Percents shown(const std::vector<std::pair<uint32_t, uint32_t>> &published)
{
    Meter meter;
    Percents all;
    for (const auto &[progress, state] : published) {
        meter.take({progress, state});
        all.push_back(meter.percent());
    }
    return all;
}

TEST(MeterTest, StartsAtNothing)
{
    EXPECT_EQ(Meter().percent(), 0U);
}

TEST(MeterTest, FollowsAndNeverGoesBack)
{
    EXPECT_EQ(shown({{0, 1}, {20, 1}, {70, 1}, {12, 1}, {80, 1}}), (Percents{0, 20, 70, 70, 80}));
}

TEST(MeterTest, ReachesAHundredAtTheEndOnly)
{
    EXPECT_EQ(shown({{100, 1}, {120, 1}, {0xFFFFFFFF, 1}}), (Percents{99, 99, 99}));
    Meter meter;
    meter.take({99, 1});
    meter.finish(true);
    EXPECT_EQ(meter.percent(), 100U);
}

TEST(MeterTest, AFailureKeepsWhatWasReached)
{
    Meter meter;
    meter.take({55, 1});
    EXPECT_TRUE(meter.take({0, 3}));
    meter.finish(false);
    EXPECT_EQ(meter.percent(), 55U);
    EXPECT_EQ(meter.published().state, 3U);
}

TEST(MeterTest, SaysWhetherTheStatusChanged)
{
    Meter meter;
    EXPECT_FALSE(meter.take({0, 0}));
    EXPECT_TRUE(meter.take({0, 1}));
    EXPECT_FALSE(meter.take({0, 1}));
    EXPECT_TRUE(meter.take({1, 1}));
    EXPECT_TRUE(meter.take({1, 3}));
}

TEST(BarTest, FillsFromLeftToRight)
{
    EXPECT_EQ(bar(0), "[                                        ]   0%");
    EXPECT_EQ(bar(50), "[####################                    ]  50%");
    EXPECT_EQ(bar(99), "[####################################### ]  99%");
    EXPECT_EQ(bar(100), "[########################################] 100%");
    EXPECT_EQ(bar(250).size(), bar(100).size()) << "never longer than its frame";
}

class PublishedProgressTest : public UpdateTest {};

// A real copy whose bases wrap in their byte: what it publishes passes 100 and
// falls back.
TEST_F(PublishedProgressTest, WrappingBytesAreShownInOrder)
{
    const std::string image = file("image", pattern(0x4000));
    give_bios_flash_to_controller();
    watch();
    ASSERT_EQ(spi_flash_copy("/dev/mtd6", 0, image.c_str(), 0, 0x4000, 0x12, 1), 0);
    ASSERT_EQ(spi_flash_copy("/dev/mtd6", 0, image.c_str(), 0, 0x4000, 0x13, 1), 0);
    const std::vector<Status> published = statuses();
    uint32_t most = 0;
    bool fell = false;
    for (const Status &status : published) {
        fell = fell || status.first < most;
        most = std::max(most, status.first);
    }
    ASSERT_GT(most, 100U);
    ASSERT_TRUE(fell);

    unsigned last = 0;
    for (const unsigned percent : shown(published)) {
        EXPECT_GE(percent, last);
        EXPECT_LE(percent, 99U);
        last = percent;
    }
}

} // namespace
} // namespace board_test
