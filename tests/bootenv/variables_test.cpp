// The boot loader's variables by name, one line per accessor.

#include <errno.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>

#include "tests/bootenv/environment_fixture.h"

namespace board_test {
namespace {

using namespace std::string_literals;
using namespace environment_model;

using Getter = int (*)(char *, uint32_t);
using Setter = int (*)(const char *);
using ImageGetter = int (*)(int32_t, char *, uint32_t);
using ImageSetter = int (*)(int32_t, const char *);

// Each variable with a value of its own, and one that a wrong name would hit.
const std::string all_variables =
    "baudrate=v-baudrate\0bootdelay=v-bootdelay\0bootorder=v-bootorder\0"
    "bootvalidflag0=v-bootvalidflag0\0bootvalidflag1=v-bootvalidflag1\0"
    "bootretrynum=v-bootretrynum\0ethaddr=v-ethaddr\0ipaddr=v-ipaddr\0serverip=v-serverip\0"
    "gatewayip=v-gatewayip\0netmask=v-netmask\0ver=v-ver\0image0ver=v-image0ver\0"
    "image1ver=v-image1ver\0neverboot=v-neverboot\0fac_resume=v-fac_resume\0version=v-version\0"s;

// One accessor as a call; those of the images with an index bound to it.
struct Accessor {
    const char *title;
    std::string variable;
    std::function<int(char *, uint32_t)> get;
    std::function<int(const char *)> set; // none: read only
};

void PrintTo(const Accessor &accessor, std::ostream *out)
{
    *out << accessor.title;
}

Accessor plain(const char *variable, Getter get, Setter set)
{
    return {variable, variable, get, set};
}

Accessor of_image(const char *title, const char *variable, int32_t index, ImageGetter get,
                  ImageSetter set)
{
    return {title, variable, [=](char *buffer, uint32_t size) { return get(index, buffer, size); },
            [=](const char *value) { return set(index, value); }};
}

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();

// clang-format off
const Accessor accessors[] = {
    plain("baudrate", get_uboot_baudrate, set_uboot_baudrate),
    plain("bootdelay", get_uboot_bootdelay, set_uboot_bootdelay),
    plain("bootorder", get_uboot_bootorder, set_uboot_bootorder),
    plain("bootretrynum", get_uboot_bootretrynum, set_uboot_bootretrynum),
    plain("ethaddr", get_uboot_ethaddr, set_uboot_ethaddr),
    plain("ipaddr", get_uboot_ipaddr, set_uboot_ipaddr),
    plain("serverip", get_uboot_serverip, set_uboot_serverip),
    plain("gatewayip", get_uboot_gatewayip, set_uboot_gatewayip),
    plain("netmask", get_uboot_netmask, set_uboot_netmask),
    plain("neverboot", get_uboot_neverboot, set_uboot_neverboot),
    plain("fac_resume", get_uboot_fac_resume, set_uboot_fac_resume),
    plain("ver", get_uboot_version, nullptr),
    of_image("flag_0", "bootvalidflag0", 0, get_uboot_bootvalidflag, set_uboot_bootvalidflag),
    of_image("flag_1", "bootvalidflag1", 1, get_uboot_bootvalidflag, set_uboot_bootvalidflag),
    of_image("flag_2", "bootvalidflag1", 2, get_uboot_bootvalidflag, set_uboot_bootvalidflag),
    of_image("flag_below_0", "bootvalidflag1", -1, get_uboot_bootvalidflag, set_uboot_bootvalidflag),
    of_image("flag_lowest", "bootvalidflag1", lowest, get_uboot_bootvalidflag, set_uboot_bootvalidflag),
    of_image("image_0", "image0ver", 0, get_uboot_imageversion, set_uboot_imageversion),
    of_image("image_1", "image1ver", 1, get_uboot_imageversion, set_uboot_imageversion),
    of_image("image_2", "image1ver", 2, get_uboot_imageversion, set_uboot_imageversion),
    of_image("image_below_0", "image1ver", -1, get_uboot_imageversion, set_uboot_imageversion),
    of_image("image_lowest", "image1ver", lowest, get_uboot_imageversion, set_uboot_imageversion),
};
// clang-format on

class VariablesTest : public EnvironmentTest, public ::testing::WithParamInterface<Accessor> {
protected:
    const Accessor &accessor() const { return GetParam(); }
};

class SettableVariablesTest : public VariablesTest {
protected:
    void expect_set(const std::string &before, const Text &value)
    {
        set_block(before);
        EXPECT_EQ(accessor().set(value ? value->c_str() : nullptr), 0);
        EXPECT_TRUE(
            same_block(block(), environment_model::set(before, accessor().variable, value).block));
        EXPECT_EQ(output(), "");
    }
};

TEST_P(VariablesTest, GetsItsVariable)
{
    const std::string before = block_of(all_variables);
    set_block(before);
    MarkedBuffer buffer;
    EXPECT_EQ(accessor().get(buffer.data(), buffer.size()), 0);
    EXPECT_TRUE(buffer.holds("v-" + accessor().variable)) << buffer.bytes();
    EXPECT_EQ(steps(), whole_call);
    EXPECT_TRUE(same_block(block(), before));
    EXPECT_EQ(output(), "");
}

TEST_P(VariablesTest, GetCutsToTheBufferAndTakesANullOne)
{
    set_block(block_of(all_variables));
    MarkedBuffer buffer;
    EXPECT_EQ(accessor().get(buffer.data(), 4), 0);
    EXPECT_TRUE(buffer.holds(("v-" + accessor().variable).substr(0, 3))) << buffer.bytes();
    EXPECT_EQ(accessor().get(nullptr, 4), 0);
    EXPECT_EQ(output(), "");
}

TEST_P(VariablesTest, GetOfAnAbsentVariableLeavesTheBuffer)
{
    set_block(block_of("other=1\0\0"s));
    MarkedBuffer buffer;
    EXPECT_EQ(accessor().get(buffer.data(), buffer.size()), 0);
    EXPECT_TRUE(buffer.untouched());
    EXPECT_EQ(output(), "");
}

TEST_P(VariablesTest, GetPassesFailuresOn)
{
    MarkedBuffer buffer;
    set_block(std::string(block_size, '\xFF'));
    EXPECT_EQ(accessor().get(buffer.data(), buffer.size()), -1);
    EXPECT_EQ(output(), "get_uboot_env: error, environment not terminated\n");
    board.faults.add({.name = "gone",
                      .device = "environment",
                      .operation = Operation::open,
                      .kind = Fault::Kind::error,
                      .value = ENODEV});
    EXPECT_EQ(accessor().get(buffer.data(), buffer.size()), -2);
    EXPECT_EQ(output(), "env_init: cann't open device\nget_uboot_env: env_init failed\n");
    EXPECT_TRUE(buffer.untouched());
}

TEST_P(SettableVariablesTest, SetsReplacesAndDeletesItsVariable)
{
    expect_set(std::string(block_size, '\0'), "any text, even 0x and 1.2.3");
    EXPECT_EQ(steps(), whole_call);
    expect_set(block_of(all_variables), "new");
    expect_set(block_of(all_variables), "");
    expect_set(block_of(all_variables), {});
    expect_set(block_of("other=1\0\0"s), {}); // absent
}

TEST_P(SettableVariablesTest, SetPassesFailuresOn)
{
    set_block(std::string(block_size, '\xFF'));
    EXPECT_EQ(accessor().set("1"), -1);
    EXPECT_EQ(output(), "set_uboot_env: error, environment not terminated\n");
    set_block(block_of(data_with_room(3)));
    EXPECT_EQ(accessor().set("1"), -1);
    EXPECT_EQ(output(), "set_uboot_env: error, environment overflow, \"" + accessor().variable +
                            "\" deleted\n");
    board.faults.add({.name = "gone",
                      .device = "environment",
                      .operation = Operation::open,
                      .kind = Fault::Kind::error,
                      .value = ENODEV});
    EXPECT_EQ(accessor().set("1"), -2);
    EXPECT_EQ(output(), "env_init: cann't open device\nset_uboot_env: env_init failed\n");
}

std::vector<Accessor> settable()
{
    std::vector<Accessor> found;
    std::copy_if(std::begin(accessors), std::end(accessors), std::back_inserter(found),
                 [](const Accessor &accessor) { return accessor.set != nullptr; });
    return found;
}

INSTANTIATE_TEST_SUITE_P(Table, VariablesTest, ::testing::ValuesIn(accessors), TitleOfRow());
INSTANTIATE_TEST_SUITE_P(Table, SettableVariablesTest, ::testing::ValuesIn(settable()),
                         TitleOfRow());

} // namespace
} // namespace board_test
