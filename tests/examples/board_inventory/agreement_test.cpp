// Text and JSON tell the same: both are read back, each by a reader that knows
// nothing of how they were made.

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <regex>
#include <sstream>

#include "board_inventory/json.h"
#include "board_inventory/text.h"
#include "tests/examples/board_inventory/inventory_board_test.h"

namespace board_test {
namespace {

using nlohmann::json;

using Cells = std::vector<std::string>;

Cells split(const std::string &line, const char *at)
{
    const std::regex gap(at);
    const std::string text = line.substr(line.find_first_not_of(' '));
    return {std::sregex_token_iterator(text.begin(), text.end(), gap, -1),
            std::sregex_token_iterator()};
}

// The lines below each title.
std::map<std::string, std::vector<Cells>> read_text(const std::string &text)
{
    std::map<std::string, std::vector<Cells>> tables;
    std::istringstream lines(text);
    std::string title;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            continue;
        }
        if (line[0] != ' ') {
            title = line;
        } else {
            tables[title].push_back(split(line, " {2,}"));
        }
    }
    return tables;
}

// A cell of the text, as JSON must have it.
bool agrees(const std::string &shown, const json &value)
{
    if (value.is_null()) {
        return shown == "n.a.";
    }
    if (value.is_boolean()) {
        return shown == (value.get<bool>() ? "yes" : "no");
    }
    if (value.is_number()) {
        return std::stol(shown, nullptr, shown.rfind("0x", 0) == 0 ? 16 : 10) == value.get<long>();
    }
    if (value.is_array()) {
        const Cells entries = split(shown, " ");
        return std::equal(entries.begin(), entries.end(), value.begin(), value.end(), agrees);
    }
    return shown == value.get<std::string>();
}

// "3-16" stands for 14 rows.
std::vector<Cells> expanded(const std::vector<Cells> &rows)
{
    std::vector<Cells> all;
    for (const Cells &row : rows) {
        static const std::regex range("(\\d+)-(\\d+)");
        std::smatch ends;
        if (!std::regex_match(row[0], ends, range)) {
            all.push_back(row);
            continue;
        }
        for (int number = std::stoi(ends[1]); number <= std::stoi(ends[2]); ++number) {
            all.push_back(row);
            all.back()[0] = std::to_string(number);
        }
    }
    return all;
}

class Agreement : public InventoryBoardTest, public ::testing::WithParamInterface<std::string> {
protected:
    Agreement() : InventoryBoardTest(*virtual_board::find_personality(GetParam())) {}

    void expect_row(const board_inventory::Table &table, const Cells &cells, const json &object)
    {
        ASSERT_EQ(cells.size(), table.columns.size());
        ASSERT_EQ(object.size(), table.columns.size());
        for (size_t i = 0; i < cells.size(); ++i) {
            const json &value = object.at(table.columns[i].key);
            EXPECT_TRUE(agrees(cells[i], value)) << cells[i] << " is no " << value;
        }
    }
};

Names every_board()
{
    Names names;
    for (const Personality &personality : virtual_board::personalities()) {
        names.push_back(personality.name);
    }
    return names;
}

TEST_P(Agreement, OfTextAndJson)
{
    open_board();
    g_dimm_present[2] = 1;
    board.disks().flicker_by_time(0, 50000);
    const board_inventory::Report report = take();
    auto text = read_text(board_inventory::as_text(report));
    const json object = json::parse(board_inventory::as_json(report));
    EXPECT_EQ(text.size(), report.size());
    EXPECT_EQ(object.size(), report.size());
    for (const board_inventory::Table &table : report) {
        SCOPED_TRACE(table.title);
        std::vector<Cells> rows = text[table.title];
        const json &value = object.at(table.key);
        if (table.layout == board_inventory::Table::Layout::list) {
            Cells cells;
            for (size_t i = 0; i < rows.size(); ++i) {
                EXPECT_EQ(rows[i].at(0), table.columns.at(i).heading);
                cells.push_back(rows[i].at(1));
            }
            expect_row(table, cells, value);
            continue;
        }
        rows.erase(rows.begin()); // the headings
        rows = expanded(rows);
        ASSERT_EQ(rows.size(), value.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            expect_row(table, rows[i], value[i]);
        }
    }
}

TEST_P(Agreement, FitsTheConsole)
{
    open_board();
    std::istringstream lines(board_inventory::as_text(take()));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, Agreement, ::testing::ValuesIn(every_board()));

} // namespace
} // namespace board_test
