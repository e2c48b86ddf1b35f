#include "boardctl/framework/render.h"

#include <gtest/gtest.h>

#include "boardctl/framework/json.h"

namespace boardctl {

namespace {

const Command command = {
    .name = "show",
    .summary = "Show",
    .output = {{"",
                "",
                Block::Layout::fields,
                {{"count", "a count", Type::integer},
                 {"lit", "lit", Type::boolean, {}, false, true},
                 {"name", "name", Type::string, {}, true}}},
               {"rows",
                "Rows",
                Block::Layout::rows,
                {{"id", "id", Type::integer}, {"data", "data", Type::integers}}}}};

Result filled()
{
    return Result()
        .set("count", hex(10))
        .set("lit", refusal(-3))
        .set("name", none())
        .row("rows", {number(7), bytes({1, 255})})
        .row("rows", {number(300), series({-4, 5})});
}

TEST(Render, Tables)
{
    EXPECT_EQ(as_text(command, filled(), false), "a count  0x0A\n"
                                                 "lit      error -3\n"
                                                 "name     n.a.\n"
                                                 "\n"
                                                 "Rows\n"
                                                 "   id  data\n"
                                                 "    7  01 FF\n"
                                                 "  300  -4 5\n");
}

TEST(Render, ColoursTakeNoRoom)
{
    const std::string text = as_text(command, filled(), true);
    EXPECT_NE(text.find("lit      \x1b[31merror -3\x1b[0m\n"), std::string::npos);
    EXPECT_NE(text.find("   \x1b[2mid\x1b[0m  \x1b[2mdata\x1b[0m\n    7  01 FF"),
              std::string::npos);
}

TEST(Render, Json)
{
    EXPECT_EQ(result_document("x show", command, filled(), {"said \"so\""}),
              R"({"command":"x show","result":{"count":10,"lit":{"error":-3},"name":null,)"
              R"("rows":[{"id":7,"data":[1,255]},{"id":300,"data":[-4,5]}]},)"
              R"("messages":["said \"so\""]})"
              "\n");
}

TEST(Render, JsonOfAnyBytes)
{
    const Result result =
        Result().set("count", number(1)).set("lit", yes_no(true)).set("name", text("a\xFF\n"));
    EXPECT_NE(result_document("x show", command, result, {}).find("\"a\xEF\xBF\xBD\\n\""),
              std::string::npos);
    EXPECT_NE(as_text(command, result, false).find("name     a??\n"), std::string::npos);
}

TEST(Render, EmptyTables)
{
    const Result result =
        Result().set("count", number(1)).set("lit", yes_no(true)).set("name", none());
    EXPECT_NE(as_text(command, result, false).find("Rows\n  none\n"), std::string::npos);
    EXPECT_NE(result_document("x show", command, result, {}).find("\"rows\":[]"),
              std::string::npos);
}

TEST(Render, ResultsAreHeldAgainstTheirDescription)
{
    const Result complete = filled();
    EXPECT_NO_THROW(check_shape(command, complete));
    const Result wrong[] = {
        Result(complete).set("count", text("ten")),
        Result(complete).set("count", none()),
        Result(complete).set("count", refusal(-1)),
        Result(complete).set("unheard", number(1)),
        Result(complete).set("unheard", "count", number(1)),
        Result(complete).row("rows", {number(1)}),
        Result(complete).row("rows", {bytes({1}), number(1)}),
        Result(complete).row("unheard", {number(1)}),
        Result().set("count", number(1)),
    };
    for (const Result &result : wrong) {
        EXPECT_THROW(check_shape(command, result), std::logic_error);
    }
}

} // namespace

} // namespace boardctl
