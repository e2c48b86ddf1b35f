// A program with a crc32 and a crc_table of its own, as one that links zlib has
// them: here the library's own calls by these names would go to the program.

#include <dlfcn.h>

#include "tests/bootenv/environment_fixture.h"

extern "C" {

uint32_t crc32(uint32_t, const uint8_t *, uint32_t)
{
    return 0x0BADC0DE;
}

extern const uint32_t crc_table[256] = {0x0BADC0DE};

} // extern "C"

namespace board_test {
namespace {

using namespace std::string_literals;
using namespace environment_model;

TEST_F(EnvironmentTest, ChecksumIsTheLibrarysOwnWhateverTheProgramDefines)
{
    void *library = dlopen("libboard_hal.so.1", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    for (const char *name : {"crc32", "crc_table"}) {
        // The program's definition comes first for everybody.
        EXPECT_NE(dlsym(library, name), dlsym(RTLD_DEFAULT, name)) << name;
    }
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "crc32"), reinterpret_cast<void *>(&crc32));
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "crc_table"), static_cast<const void *>(crc_table));
    const auto of_library = reinterpret_cast<decltype(&crc32)>(dlsym(library, "crc32"));
    const std::string digits = "123456789";
    EXPECT_EQ(of_library(0, reinterpret_cast<const uint8_t *>(digits.data()), 9), 0xCBF43926U);
    dlclose(library);

    EXPECT_EQ(set_uboot_env("a", "1"), 0);
    EXPECT_TRUE(same_block(block(), summed(block_of("a=1\0\0"s))));
    EXPECT_EQ(set_uboot_env("b", nullptr), 0);
    EXPECT_TRUE(checksum_holds(block()));
}

} // namespace
} // namespace board_test
