#include "boardctl/framework/output.h"

#include <gtest/gtest.h>

namespace boardctl {

namespace {

TEST(Output, LinesAreAsTheyStandAtLast)
{
    const struct {
        const char *line;
        const char *plain;
    } cases[] = {
        {"a line\r", "a line"},
        {"\r10%\r20%", "20%"},
        {"\x1b[1;32m Pass \x1b[0m\r", " Pass"},
        {"\r\n", ""},
        {"", ""},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(plain_line(one.line), one.plain);
    }
}

} // namespace

} // namespace boardctl
