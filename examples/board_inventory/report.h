// What the inventory found: tables, from which both the text and the JSON are
// made.
#ifndef BOARD_INVENTORY_REPORT_H
#define BOARD_INVENTORY_REPORT_H

#include <string>
#include <vector>

#include "board_inventory/value.h"

namespace board_inventory {

struct Column {
    std::string key;     // in JSON
    std::string heading; // for people
};

using Row = std::vector<Value>;

struct Table {
    enum class Layout {
        rows,
        ranges, // rows that differ in their number alone are shown as one
        list,   // one row, shown as a list of its columns; an object in JSON
    };

    std::string key;
    std::string title;
    Layout layout = Layout::rows;
    std::vector<Column> columns;
    std::vector<Row> rows;
};

// A table of one row, built entry by entry.
class List {
public:
    List(std::string key, std::string title)
        : table_{std::move(key), std::move(title), Table::Layout::list, {}, {{}}}
    {
    }
    void add(std::string key, std::string heading, Value value)
    {
        table_.columns.push_back({std::move(key), std::move(heading)});
        table_.rows[0].push_back(std::move(value));
    }
    Table table() const { return table_; }

private:
    Table table_;
};

using Report = std::vector<Table>;

} // namespace board_inventory

#endif
