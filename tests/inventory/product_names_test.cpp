// Product names of RAID cards.

#include <limits.h>
#include <string.h>

#include <map>

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

constexpr const char *no_name = "get_productname_by_boardid #:don't find right productname\r\n";
const std::string wrong_name =
    std::string(no_name) + "get_raidcard_productname #:get productname is wrong\r\n";

const std::map<unsigned, std::string> names = {
    {0x21, "QX740"},
    {0x22, "QX580LT 512MB"},
    {0x2B, "QX580LT 1GB"},
    {0x23, "QX905D 1GB"},
};

class ProductNamesTest : public InventoryTest {
protected:
    struct Named {
        int result;
        std::string buffer; // all of it

        bool operator==(const Named &) const = default;
    };

    static constexpr size_t room = 70;

    static Named by_board(unsigned code, unsigned board_id, int32_t size = room)
    {
        char buffer[room];
        memset(buffer, '~', room);
        const int result = get_productname_by_boardid(static_cast<uint16_t>(code),
                                                      static_cast<uint8_t>(board_id), buffer, size);
        return {result, {buffer, room}};
    }
    static Named by_code(unsigned code, int32_t size = room)
    {
        char buffer[room];
        memset(buffer, '~', room);
        const int result = get_raidcard_productname(static_cast<uint16_t>(code), buffer, size);
        return {result, {buffer, room}};
    }

    // A buffer with the name and its NUL; without a name, untouched.
    static std::string filled(const std::string &name)
    {
        std::string buffer(room, '~');
        return buffer.replace(0, name.size() + 1, name + '\0');
    }
    static std::string unfilled() { return std::string(room, '~'); }
};

TEST_F(ProductNamesTest, TableHasItsBytes)
{
    const struct {
        uint8_t code;
        const char *name;
    } rows[] = {
        {0x21, "QX740"}, {0x22, "QX580LT 512MB"}, {0x2B, "QX580LT 1GB"}, {0x23, "QX905D 1GB"}};
    Bytes expected;
    for (const auto &row : rows) {
        Bytes bytes = {row.code, 0, 255};
        bytes.insert(bytes.end(), row.name, row.name + strlen(row.name));
        bytes.resize(68);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    const auto *table = reinterpret_cast<const uint8_t *>(g_raidcard_boardid_info);
    EXPECT_EQ(Bytes(table, table + sizeof(g_raidcard_boardid_info)), expected);
}

TEST_F(ProductNamesTest, EveryCodeHasItsNameOrNone)
{
    for (unsigned code = 0; code < 0x10000; code += code < 0x200 ? 1 : 0xFF) {
        SCOPED_TRACE(code);
        const auto row = names.find(code);
        const bool known = row != names.end();
        for (const unsigned board_id : {0U, 7U, 255U}) {
            EXPECT_EQ(by_board(code, board_id),
                      (known ? Named{0, filled(row->second)} : Named{-2, unfilled()}));
            EXPECT_EQ(without_places(output()), known ? "" : no_name);
        }
        EXPECT_EQ(by_code(code), (known ? Named{0, filled(row->second)} : Named{-1, unfilled()}));
        EXPECT_EQ(without_places(output()), known ? "" : wrong_name);
    }
}

TEST_F(ProductNamesTest, OnlyTheCardsNameTakesTheRegisterLock)
{
    by_board(0x21, 0);
    expect_steps({});
    by_code(0x21);
    expect_steps(no_register);
    by_code(0x24);
    expect_steps(no_register);
    output();
}

TEST_F(ProductNamesTest, NamesAreCutToTheBuffer)
{
    const std::string name = "QX580LT 512MB";
    for (int32_t size = 1; size <= 20; ++size) {
        const std::string cut = name.substr(0, static_cast<size_t>(size - 1));
        EXPECT_EQ(by_board(0x22, 0, size), (Named{0, filled(cut)})) << size;
        EXPECT_EQ(by_code(0x22, size), (Named{0, filled(cut)})) << size;
    }
    for (const int32_t size : {0, -1, INT_MIN}) {
        EXPECT_EQ(by_board(0x22, 0, size), (Named{0, unfilled()})) << size;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(ProductNamesTest, FirstRowThatFitsTheBoardWins)
{
    g_raidcard_boardid_info[0] = {0x50, 7, "for board 7"};
    g_raidcard_boardid_info[1] = {0x50, 9, "for board 9"};
    g_raidcard_boardid_info[2] = {0x50, 255, "for any"};
    g_raidcard_boardid_info[3] = {0x50, 8, "too late"};
    EXPECT_EQ(by_board(0x50, 7), (Named{0, filled("for board 7")}));
    EXPECT_EQ(by_board(0x50, 9), (Named{0, filled("for board 9")}));
    EXPECT_EQ(by_board(0x50, 8), (Named{0, filled("for any")}));
    EXPECT_EQ(by_board(0x50, 255), (Named{0, filled("for any")}));
    EXPECT_EQ(by_board(0x2B, 255), (Named{-2, unfilled()}));
    EXPECT_EQ(without_places(output()), no_name);
}

// Board 2 is 0xFE.
TEST_F(ProductNamesTest, CardsNameGoesByBoardTwo)
{
    g_raidcard_boardid_info[0] = {0x50, 0, "for board 0"};
    g_raidcard_boardid_info[1] = {0x50, 0xFE, "for board FE"};
    EXPECT_EQ(by_code(0x50), (Named{0, filled("for board FE")}));
    g_raidcard_boardid_info[1].board_id = 0x10;
    EXPECT_EQ(by_code(0x50), (Named{-1, unfilled()}));
    EXPECT_EQ(without_places(output()), wrong_name);
}

TEST_F(ProductNamesTest, NameThatFillsItsFieldIsRead)
{
    memset(g_raidcard_boardid_info[0].name, 'x', 64);
    EXPECT_EQ(by_board(0x21, 0), (Named{0, filled(std::string(64, 'x'))}));
    // Not even a name without its NUL is read past.
    g_raidcard_boardid_info[0].name[64] = 'x';
    EXPECT_EQ(by_board(0x21, 0), (Named{0, filled(std::string(65, 'x'))}));
}

} // namespace
} // namespace board_test
