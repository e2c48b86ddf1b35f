// The file routines behind every GPIO access, on real files.

#include "bringup/gpio_files.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

struct Routine {
    const char *name;
    int (*write)(const char *path, const char *text);
    const char *null_text;
    const char *unopened_text;
};

constexpr Routine routines[] = {
    {"export", board_hal::gpio_export_write, "export file is null or str is null.\n",
     "can not open export file.\n"},
    {"line", board_hal::gpio_line_write, "gpionum file is null or str is null.\n",
     "can not open gpionum file.\n"},
};

class GpioFilesTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        path_ = ::testing::TempDir() + "gpio_file_XXXXXX";
        const int file = mkstemp(path_.data());
        ASSERT_GE(file, 0);
        close(file);
    }
    void TearDown() override
    {
        unlink(path_.c_str());
        BoardTest::TearDown();
    }

    const char *path() const { return path_.c_str(); }

    void fill(const std::string &text)
    {
        FILE *file = fopen(path(), "wb");
        ASSERT_NE(file, nullptr);
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
    }

    std::string content()
    {
        char bytes[200];
        FILE *file = fopen(path(), "rb");
        const size_t count = fread(bytes, 1, sizeof(bytes), file);
        fclose(file);
        return {bytes, count};
    }

private:
    std::string path_;
};

TEST_F(GpioFilesTest, NullPathOrTextIsRefused)
{
    fill("kept");
    for (const Routine &routine : routines) {
        SCOPED_TRACE(routine.name);
        EXPECT_EQ(routine.write(nullptr, "1"), -1);
        EXPECT_EQ(output(), routine.null_text);
        EXPECT_EQ(routine.write(path(), nullptr), -1);
        EXPECT_EQ(output(), routine.null_text);
        EXPECT_EQ(routine.write(nullptr, nullptr), -1);
        EXPECT_EQ(output(), routine.null_text);
    }
    EXPECT_EQ(content(), "kept");
}

TEST_F(GpioFilesTest, FileThatDoesNotOpenIsRefused)
{
    for (const Routine &routine : routines) {
        SCOPED_TRACE(routine.name);
        EXPECT_EQ(routine.write("/nonexistent/file", "1"), -1);
        EXPECT_EQ(output(), routine.unopened_text);
        EXPECT_EQ(routine.write("", "1"), -1);
        EXPECT_EQ(output(), routine.unopened_text);
    }
}

TEST_F(GpioFilesTest, ExportAppends)
{
    fill("48");
    EXPECT_EQ(board_hal::gpio_export_write(path(), "95"), 0);
    EXPECT_EQ(content(), "4895");
    EXPECT_EQ(output(), "");
}

TEST_F(GpioFilesTest, ExportCreatesAMissingFile)
{
    unlink(path());
    EXPECT_EQ(board_hal::gpio_export_write(path(), "95"), 0);
    EXPECT_EQ(content(), "95");
    EXPECT_EQ(output(), "");
}

TEST_F(GpioFilesTest, LineOverwritesFromTheStartAndKeepsTheRest)
{
    fill("in, and more");
    EXPECT_EQ(board_hal::gpio_line_write(path(), "out"), 0);
    EXPECT_EQ(content(), "out and more");
    EXPECT_EQ(output(), "");
}

TEST_F(GpioFilesTest, LineDoesNotCreateAMissingFile)
{
    unlink(path());
    EXPECT_EQ(board_hal::gpio_line_write(path(), "out"), -1);
    EXPECT_EQ(output(), "can not open gpionum file.\n");
    EXPECT_NE(access(path(), F_OK), 0);
}

TEST_F(GpioFilesTest, PathsAreCutTo127Bytes)
{
    for (const Routine &routine : routines) {
        SCOPED_TRACE(routine.name);
        // Slashes in front make the path as long as it takes to lose its end.
        const std::string real = path();
        const std::string longest = std::string(127 - real.size(), '/') + real;
        EXPECT_EQ(routine.write(longest.c_str(), "1"), 0);
        EXPECT_EQ(output(), "");
        EXPECT_EQ(routine.write((longest + "/cut").c_str(), "1"), 0);
        EXPECT_EQ(output(), "");
    }
    EXPECT_EQ(content(), "11");
}

} // namespace
} // namespace board_test
