#include "board_inventory/json.h"

namespace board_inventory {

namespace {

std::string member(const std::string &key, const std::string &json)
{
    return quoted(key) + ": " + json;
}

std::string object(const std::vector<Column> &columns, const Row &row, const std::string &separator)
{
    std::string all;
    for (size_t i = 0; i < columns.size(); ++i) {
        all += (i == 0 ? "" : separator) + member(columns[i].key, row[i].json);
    }
    return all;
}

std::string value_of(const Table &table)
{
    if (table.layout == Table::Layout::list) {
        return "{\n    " + object(table.columns, table.rows[0], ",\n    ") + "\n  }";
    }
    std::string all;
    for (const Row &row : table.rows) {
        all += (all.empty() ? "\n    {" : ",\n    {") + object(table.columns, row, ", ") + '}';
    }
    return '[' + all + (all.empty() ? "]" : "\n  ]");
}

} // namespace

std::string as_json(const Report &report)
{
    std::string all;
    for (const Table &table : report) {
        all += (all.empty() ? "\n  " : ",\n  ") + member(table.key, value_of(table));
    }
    return '{' + all + "\n}\n";
}

} // namespace board_inventory
