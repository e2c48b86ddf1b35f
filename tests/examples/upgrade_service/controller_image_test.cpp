// Copies of controller images.

#include <errno.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>

#include "tests/examples/upgrade_service/service_test.h"

namespace board_test {
namespace {

using upgrade_service::ControllerJob;
using Kind = Fault::Kind;

class ControllerImageTest : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        image_ = pattern(0x4000, 3);
        job_.image = file("image", image_);
        job_.device = "/dev/mtd0";
        before_ = flash();
    }

    End copy()
    {
        return run([this](Service &service) { return service.controller(job_); });
    }

    Bytes flash()
    {
        const Bytes &all = board.flash().contents();
        return {all.begin(), all.begin() + partition_size};
    }

    // The first bytes of the flash are these.
    bool holds(const Bytes &bytes)
    {
        const Bytes now = flash();
        return std::equal(bytes.begin(), bytes.end(), now.begin());
    }

    ControllerJob job_;
    Bytes image_;
    Bytes before_;
};

TEST_F(ControllerImageTest, AWholeImageIsCopied)
{
    const End end = copy();
    EXPECT_EQ(told(end), "0; 1 stretch (16 KiB) written and verified; ");
    EXPECT_FALSE(end.bios_flash.has_value());
    EXPECT_TRUE(holds(image_));
    EXPECT_EQ(status(), Status(100, 1));
    EXPECT_EQ(shown(), "copying the image [########################################] 100%\n"
                       "done: the copy of " +
                           job_.image +
                           " to /dev/mtd0\n"
                           "  contents:  1 stretch (16 KiB) written and verified\n");
}

struct Stretch {
    uint32_t offset;
    uint32_t length;
    uint32_t copied;
};

// The offset is in the file: the copy begins at the start of the flash.
TEST_F(ControllerImageTest, AStretchIsCopiedToTheStart)
{
    for (const Stretch &row :
         {Stretch{0x40, 0, 0x3FC0}, {0x40, 0x1000, 0x1000}, {0, 0x800, 0x800}}) {
        SCOPED_TRACE(row.offset);
        job_.offset = row.offset;
        job_.length = row.length;
        EXPECT_TRUE(copy().succeeded());
        EXPECT_TRUE(
            holds(Bytes(image_.begin() + row.offset, image_.begin() + row.offset + row.copied)));
    }
}

struct Row {
    const char *name;
    Operation operation;
    Kind kind;
    long long value;
    unsigned skip;
    const char *why;
    const char *contents;
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.name;
}

class FailedControllerImageTest : public ControllerImageTest,
                                  public ::testing::WithParamInterface<Row> {};

TEST_P(FailedControllerImageTest, IsExplained)
{
    const Row &row = GetParam();
    board.faults.add(fault("mtd0", row.operation, row.kind, row.value, row.skip));
    const End end = copy();
    EXPECT_NE(end.why.find(row.why), std::string::npos) << end.why;
    EXPECT_EQ(end.contents, row.contents);
    EXPECT_FALSE(end.bios_flash.has_value());
    ASSERT_FALSE(end.next.empty());
    const bool changed = flash() != before_;
    EXPECT_EQ(end.code, changed ? ExitCode::not_right : ExitCode::nothing_changed);
    EXPECT_EQ(end.next[0].find("Do not restart the controller") == 0, changed) << end.next[0];
    EXPECT_EQ(status().second, 3U) << "a failed copy is published as one";
}

constexpr auto geometry = 1; // the requests before the first erase

const Row rows[] = {
    {"DeviceDoesNotOpen", Operation::open, Kind::error, EIO, 0, "the flash device cannot be opened",
     "as before"},
    {"NoFlash", Operation::ioctl, Kind::error, ENOTTY, 0, "the device is no flash", "as before"},
    {"EraseFails", Operation::ioctl, Kind::error, EIO, geometry + 1, "did not take an erase",
     "partly erased: 1 block is empty, the next one is in doubt, and the rest of 4 blocks is as "
     "it was"},
    {"EraseLies", Operation::ioctl, Kind::lie, 0, geometry + 1, "holds something else",
     "all written, but not as the image is: the check ended at 10 of 16 KiB"},
    {"EraseVanishes", Operation::ioctl, Kind::vanish, 0, geometry + 1, "did not take an erase",
     "partly erased: 1 block is empty, the next one is in doubt, and the rest of 4 blocks is as "
     "it was"},
    {"WriteFails", Operation::write, Kind::error, EIO, 1, "did not take the data",
     "erased and partly written: at most 16 of 16 KiB"},
    {"WriteShort", Operation::write, Kind::short_count, 1000, 0, "a part of the data",
     "erased and partly written: at most 10 of 16 KiB"},
    {"WriteLies", Operation::write, Kind::lie, 0, 1, "holds something else",
     "all written, but not as the image is: the check ended at 16 of 16 KiB"},
    {"BitFlips", Operation::write, Kind::bit_flip, 4242, 0, "holds something else",
     "all written, but not as the image is: the check ended at 10 of 16 KiB"},
    {"SeekFails", Operation::seek, Kind::error, EIO, 0, "cannot be positioned",
     "all written, but not checked"},
    {"ReadFails", Operation::read, Kind::error, EIO, 0, "cannot be read",
     "all written, but not checked to its end: the check ended at 10 of 16 KiB"},
    {"ReadShort", Operation::read, Kind::short_count, 10, 1, "less than was asked for",
     "all written, but not checked to its end: the check ended at 16 of 16 KiB"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FailedControllerImageTest, ::testing::ValuesIn(rows), ByName());

TEST_F(ControllerImageTest, AnImageThatIsNotReadLeavesAnErasedFlash)
{
    put_image(image_);
    job_.image = board_image;
    board.faults.add(fault("image", Operation::read, Kind::error, EIO));
    const End end = copy();
    EXPECT_EQ(told(end), "4; erased and partly written: at most 10 of 16 KiB; While reading data "
                         "from /ko/image.bin");
    EXPECT_TRUE(holds(Bytes(0x4000, 0xFF)));
    EXPECT_EQ(end.next.at(1),
              "Run the copy again: upgrade_service controller /ko/image.bin --device /dev/mtd0");
}

struct Refusal {
    const char *name;
    std::function<void(ControllerJob &job)> arrange;
    const char *why;
};

void PrintTo(const Refusal &refusal, std::ostream *stream)
{
    *stream << refusal.name;
}

class RefusedControllerImageTest : public ControllerImageTest,
                                   public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusedControllerImageTest, ChangesNothing)
{
    file("empty", {});
    file("large", Bytes(partition_size + 1));
    GetParam().arrange(job_);
    if (job_.image[0] != '/') {
        job_.image = path(job_.image);
    }
    const End end = copy();
    EXPECT_EQ(end.code, ExitCode::nothing_changed);
    EXPECT_NE(end.why.find(GetParam().why), std::string::npos) << end.why;
    EXPECT_EQ(end.contents, "as before");
    EXPECT_TRUE(flash() == before_);
}

const Refusal refusals[] = {
    {"Absent", [](ControllerJob &job) { job.image = "absent"; }, "not there"},
    {"Empty", [](ControllerJob &job) { job.image = "empty"; }, "empty"},
    {"TooLarge", [](ControllerJob &job) { job.image = "large"; }, "larger than the flash"},
    {"OffsetBehind", [](ControllerJob &job) { job.offset = 0x4000; }, "behind the end"},
    {"StretchBehind",
     [](ControllerJob &job) {
         job.offset = 0x3000;
         job.length = 0x1001;
     },
     "behind the end"},
    {"NoFlash", [](ControllerJob &job) { job.device = "/dev/null"; }, "no flash"},
    {"NoDevice", [](ControllerJob &job) { job.device = "/dev/mtd9"; }, "cannot be opened"},
};

INSTANTIATE_TEST_SUITE_P(Rows, RefusedControllerImageTest, ::testing::ValuesIn(refusals), ByName());

} // namespace
} // namespace board_test
