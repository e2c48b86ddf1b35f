// Fixture of tests that take an inventory of a virtual board.
#ifndef TESTS_EXAMPLES_BOARD_INVENTORY_INVENTORY_BOARD_TEST_H
#define TESTS_EXAMPLES_BOARD_INVENTORY_INVENTORY_BOARD_TEST_H

#include <algorithm>
#include <string>

#include "board_inventory/collect.h"
#include "tests/support/board_test.h"

namespace board_test {

class InventoryBoardTest : public BoardTest {
protected:
    using BoardTest::BoardTest;

    board_inventory::Report take(unsigned count = board_inventory::Polls::enough)
    {
        board_inventory::Polls polls;
        polls.run(count);
        return board_inventory::collect(polls);
    }

    // A cell as it is shown.
    static std::string cell(const board_inventory::Table &table, const std::string &key,
                            size_t row = 0)
    {
        const auto column =
            std::find_if(table.columns.begin(), table.columns.end(),
                         [&](const board_inventory::Column &one) { return one.key == key; });
        if (column == table.columns.end()) {
            return "no column " + key;
        }
        return table.rows.at(row).at(static_cast<size_t>(column - table.columns.begin())).shown;
    }
};

} // namespace board_test

#endif
