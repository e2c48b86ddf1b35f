// GPIO lines as sysfs files.

#include "virtual_board/gpio.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace board_test {
namespace {

using virtual_board::Device;
using virtual_board::Gpio;
using virtual_board::OpenFile;

class GpioModelTest : public ::testing::Test {
protected:
    std::shared_ptr<Device> node(const std::string &name)
    {
        return gpio.find(std::string(Gpio::root) + name);
    }
    long write(const std::string &name, const std::string &text)
    {
        OpenFile file;
        return node(name)->write(file, text.data(), text.size());
    }
    std::string read(const std::string &name)
    {
        OpenFile file;
        char text[16];
        const long count = node(name)->read(file, text, sizeof(text));
        return std::string(text, static_cast<size_t>(count < 0 ? 0 : count));
    }

    Gpio gpio;
};

TEST_F(GpioModelTest, FilesOfALineExistOnceItIsExported)
{
    EXPECT_EQ(node("/gpio95/direction"), nullptr);
    EXPECT_FALSE(gpio.exported(95));
    EXPECT_EQ(write("/export", "95"), 2);
    EXPECT_TRUE(gpio.exported(95));
    EXPECT_NE(node("/gpio95/direction"), nullptr);
    EXPECT_NE(node("/gpio95/value"), nullptr);
    EXPECT_EQ(node("/gpio95/direction")->name(), "gpio95-direction");
    EXPECT_EQ(node("/gpio95/value")->name(), "gpio95-value");
}

TEST_F(GpioModelTest, NothingElseIsThere)
{
    write("/export", "95\n");
    for (const char *name :
         {"", "/", "/gpio", "/gpio95", "/gpio95/", "/gpio95/edge", "/gpio9/value", "/gpio955/value",
          "/unexport", "/export/", "/gpio-95/value"}) {
        EXPECT_EQ(node(name), nullptr) << name;
    }
}

TEST_F(GpioModelTest, ALineIsExportedOnce)
{
    EXPECT_EQ(write("/export", "95"), 2);
    EXPECT_EQ(write("/export", "95"), -EBUSY);
    EXPECT_EQ(write("/export", "96\n"), 3);
    EXPECT_TRUE(gpio.exported(96));
}

TEST_F(GpioModelTest, OnlyNumbersAreExported)
{
    for (const char *text : {"", "x", "-1", "95x", "9 5"}) {
        EXPECT_EQ(write("/export", text), -EINVAL) << text;
    }
    EXPECT_FALSE(gpio.exported(95));
    EXPECT_FALSE(gpio.exported(9));
}

TEST_F(GpioModelTest, DirectionIsInOrOut)
{
    write("/export", "95");
    EXPECT_EQ(read("/gpio95/direction"), "in\n");
    EXPECT_EQ(write("/gpio95/direction", "out\n"), 4);
    EXPECT_TRUE(gpio.line(95).output);
    EXPECT_EQ(read("/gpio95/direction"), "out\n");
    EXPECT_EQ(write("/gpio95/direction", "up"), -EINVAL);
    EXPECT_TRUE(gpio.line(95).output);
    EXPECT_EQ(write("/gpio95/direction", "in"), 2);
    EXPECT_FALSE(gpio.line(95).output);
}

TEST_F(GpioModelTest, OnlyAnOutputCanBeDriven)
{
    write("/export", "95");
    EXPECT_EQ(write("/gpio95/value", "1"), -EPERM);
    EXPECT_EQ(gpio.line(95).level, 0);
    write("/gpio95/direction", "out");
    EXPECT_EQ(write("/gpio95/value", "1"), 1);
    EXPECT_EQ(gpio.line(95).level, 1);
    EXPECT_EQ(write("/gpio95/value", "0\n"), 2);
    EXPECT_EQ(gpio.line(95).level, 0);
    EXPECT_EQ(gpio.line(95).written, (std::vector<std::string>{"1", "0"}));
}

TEST_F(GpioModelTest, AnInputShowsTheBoardsLevel)
{
    gpio.line(12).level = 1;
    write("/export", "12");
    EXPECT_EQ(read("/gpio12/value"), "1\n");
    gpio.line(12).level = 0;
    EXPECT_EQ(read("/gpio12/value"), "0\n");
}

TEST_F(GpioModelTest, AFileIsReadToItsEnd)
{
    write("/export", "95");
    OpenFile file;
    const auto value = node("/gpio95/value");
    char byte = 0;
    EXPECT_EQ(value->read(file, &byte, 1), 1);
    EXPECT_EQ(byte, '0');
    EXPECT_EQ(value->read(file, &byte, 1), 1);
    EXPECT_EQ(byte, '\n');
    EXPECT_EQ(value->read(file, &byte, 1), 0);
    EXPECT_EQ(value->seek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(value->read(file, &byte, 1), 1);
    EXPECT_EQ(value->seek(file, -1, SEEK_SET), -EINVAL);
}

TEST_F(GpioModelTest, LinesAreApart)
{
    write("/export", "1");
    write("/export", "2");
    write("/gpio1/direction", "out");
    write("/gpio1/value", "1");
    EXPECT_FALSE(gpio.line(2).output);
    EXPECT_EQ(gpio.line(2).level, 0);
}

} // namespace
} // namespace board_test
