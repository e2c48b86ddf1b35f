#include "board_inventory/text.h"

#include <algorithm>

namespace board_inventory {

namespace {

constexpr const char *indent = "  ";
constexpr const char *gap = "  ";

std::string padded(const std::string &text, size_t width, bool to_the_right)
{
    const std::string blanks(width - std::min(width, text.size()), ' ');
    return to_the_right ? blanks + text : text + blanks;
}

std::string line(const std::vector<std::string> &cells, const std::vector<size_t> &widths,
                 const std::vector<bool> &right)
{
    std::string all = indent;
    for (size_t i = 0; i < cells.size(); ++i) {
        all += (i == 0 ? "" : gap) + padded(cells[i], widths[i], right[i]);
    }
    return all.erase(all.find_last_not_of(' ') + 1) + '\n';
}

bool same_but_first(const Row &one, const Row &other)
{
    return std::equal(
        one.begin() + 1, one.end(), other.begin() + 1,
        [](const Value &left, const Value &right) { return left.shown == right.shown; });
}

// Each run of rows that differ in their number alone becomes one.
std::vector<Row> merged(const std::vector<Row> &rows)
{
    std::vector<Row> all;
    for (size_t first = 0, last; first < rows.size(); first = last + 1) {
        last = first;
        while (last + 1 < rows.size() && same_but_first(rows[first], rows[last + 1])) {
            ++last;
        }
        all.push_back(rows[first]);
        if (last > first) {
            all.back()[0].shown += '-' + rows[last][0].shown;
        }
    }
    return all;
}

std::string rows_of(const Table &table, const std::vector<Row> &rows)
{
    std::vector<std::string> headings;
    std::vector<size_t> widths;
    std::vector<bool> right;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        headings.push_back(table.columns[i].heading);
        widths.push_back(headings[i].size());
        right.push_back(std::any_of(rows.begin(), rows.end(),
                                    [i](const Row &row) { return row[i].is_number; }));
        for (const Row &row : rows) {
            widths[i] = std::max(widths[i], row[i].shown.size());
        }
    }
    std::string all = line(headings, widths, right);
    for (const Row &row : rows) {
        std::vector<std::string> cells;
        for (const Value &value : row) {
            cells.push_back(value.shown);
        }
        all += line(cells, widths, right);
    }
    return all;
}

std::string list_of(const Table &table)
{
    size_t width = 0;
    for (const Column &column : table.columns) {
        width = std::max(width, column.heading.size());
    }
    std::string all;
    for (size_t i = 0; i < table.columns.size(); ++i) {
        all += line({table.columns[i].heading, table.rows[0][i].shown}, {width, 0}, {false, false});
    }
    return all;
}

std::string body_of(const Table &table)
{
    if (table.rows.empty()) {
        return std::string(indent) + "none\n";
    }
    switch (table.layout) {
    case Table::Layout::list:
        return list_of(table);
    case Table::Layout::ranges:
        return rows_of(table, merged(table.rows));
    case Table::Layout::rows:
        break;
    }
    return rows_of(table, table.rows);
}

} // namespace

std::string as_text(const Report &report)
{
    std::string all;
    for (const Table &table : report) {
        all += (all.empty() ? "" : "\n") + table.title + '\n' + body_of(table);
    }
    return all;
}

} // namespace board_inventory
