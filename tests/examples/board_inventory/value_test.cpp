// Single cells.

#include "board_inventory/value.h"

#include <gtest/gtest.h>

namespace board_inventory {
namespace {

struct Case {
    Value value;
    const char *shown;
    const char *json;
    bool is_number;
};

TEST(Value, IsShownToPeopleAndPrograms)
{
    const Case cases[] = {
        {number(0), "0", "0", true},
        {number(-14), "-14", "-14", true},
        {number(4294967295), "4294967295", "4294967295", true},
        {hex(0), "0x00", "0", true},
        {hex(0x1A), "0x1A", "26", true},
        {hex(0x18710C, 6), "0x18710C", "1601804", true},
        {hex(0x80, 6), "0x000080", "128", true},
        {yes_no(true), "yes", "true", false},
        {yes_no(false), "no", "false", false},
        {text("QX580LT 1GB"), "QX580LT 1GB", "\"QX580LT 1GB\"", false},
        {text(""), "", "\"\"", false},
        {letter('A'), "A", "\"A\"", false},
        {letter('@'), "@", "\"@\"", false},
        {letter(0x00), "0x00", "0", true},
        {letter(0xC3), "0xC3", "195", true},
        {series({number(2), number(13)}), "2 13", "[2, 13]", false},
        {series({hex(0x80, 3), hex(0, 3)}), "0x080 0x000", "[128, 0]", false},
        {series({}), "", "[]", false},
        {none(), "n.a.", "null", false},
        {settling(), "settling", "\"settling\"", false},
        {error(-5), "error -5", "\"error -5\"", false},
        {given(0, number(7)), "7", "7", true},
        {given(-9, number(7)), "error -9", "\"error -9\"", false},
        {given(1, number(7)), "error 1", "\"error 1\"", false},
    };
    for (const Case &one : cases) {
        SCOPED_TRACE(one.shown);
        EXPECT_EQ(one.value.shown, one.shown);
        EXPECT_EQ(one.value.json, one.json);
        EXPECT_EQ(one.value.is_number, one.is_number);
    }
}

TEST(Value, TextIsHarmlessOnAConsole)
{
    EXPECT_EQ(text("a\x1b[31m|\r\n\t\x7f|\xc3\xa9").shown, "a?[31m|????|??");
}

TEST(Value, StringsAreEscaped)
{
    EXPECT_EQ(quoted(R"(say "hi" \ there)"), R"("say \"hi\" \\ there")");
    EXPECT_EQ(quoted("\r\n\t"), R"("\r\n\t")");
    EXPECT_EQ(quoted(std::string("\0\x01\x1f\x7f", 4)), R"("\u0000\u0001\u001f\u007f")");
    EXPECT_EQ(quoted("\x80\xff"), R"("\u0080\u00ff")");
    EXPECT_EQ(quoted("/"), R"("/")");
}

} // namespace
} // namespace board_inventory
