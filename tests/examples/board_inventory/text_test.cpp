// Tables for people.

#include "board_inventory/text.h"

#include <gtest/gtest.h>

namespace board_inventory {
namespace {

TEST(Text, ColumnsAreAligned)
{
    const Table table{"things",
                      "Things",
                      Table::Layout::rows,
                      {{"n", "n"}, {"name", "name"}, {"size", "size"}, {"last", "last"}},
                      {{number(1), text("long name"), number(12345), text("x")},
                       {number(20), text("a"), none(), text("")}}};
    EXPECT_EQ(as_text({table}), "Things\n"
                                "   n  name        size  last\n"
                                "   1  long name  12345  x\n"
                                "  20  a           n.a.\n");
}

TEST(Text, ListHasALinePerEntry)
{
    List list("board", "Board");
    list.add("a", "short", number(3));
    list.add("b", "rather longer", text("B"));
    EXPECT_EQ(as_text({list.table()}), "Board\n"
                                       "  short          3\n"
                                       "  rather longer  B\n");
}

TEST(Text, RangesMergeWhatIsAlike)
{
    Table table{"r", "Ranges", Table::Layout::ranges, {{"n", "n"}, {"on", "on"}}, {}};
    for (const bool on : {false, false, true, false, true, true, true}) {
        table.rows.push_back({number(static_cast<long>(table.rows.size()) + 1), yes_no(on)});
    }
    EXPECT_EQ(as_text({table}), "Ranges\n"
                                "    n  on\n"
                                "  1-2  no\n"
                                "    3  yes\n"
                                "    4  no\n"
                                "  5-7  yes\n");
    table.layout = Table::Layout::rows;
    table.rows.resize(2);
    EXPECT_EQ(as_text({table}), "Ranges\n"
                                "  n  on\n"
                                "  1  no\n"
                                "  2  no\n");
}

TEST(Text, TablesStandApart)
{
    const Table empty{"e", "Empty", Table::Layout::rows, {{"n", "n"}}, {}};
    EXPECT_EQ(as_text({empty, empty}), "Empty\n"
                                       "  none\n"
                                       "\n"
                                       "Empty\n"
                                       "  none\n");
    EXPECT_EQ(as_text({}), "");
}

} // namespace
} // namespace board_inventory
