#include "tools/virtual_board/values.h"

#include <algorithm>
#include <charconv>

namespace virtual_board {

using nlohmann::json;

namespace {

struct Word {
    const char *word;
    json value;
};

const std::vector<Word> &words()
{
    static const std::vector<Word> all = {{"true", true},   {"on", true},   {"yes", true},
                                          {"false", false}, {"off", false}, {"no", false},
                                          {"up", 1},        {"down", 0},    {"null", nullptr}};
    return all;
}

template <typename Number> bool is_number(const std::string &word, Number &number)
{
    const auto parsed = std::from_chars(word.data(), word.data() + word.size(), number);
    return parsed.ec == std::errc() && parsed.ptr == word.data() + word.size();
}

// Numbers before names without leading zeros: 2 comes before 10.
bool before(const std::string &a, const std::string &b)
{
    const auto digits = [](const std::string &text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    };
    if (digits(a) && digits(b) && a.size() != b.size()) {
        return a.size() < b.size();
    }
    return a < b;
}

} // namespace

json value_of(const std::string &word)
{
    for (const Word &row : words()) {
        if (word == row.word) {
            return row.value;
        }
    }
    int64_t whole = 0;
    if (is_number(word, whole)) {
        return whole;
    }
    double real = 0;
    if (is_number(word, real)) {
        return real;
    }
    return word; // "0x1F" is a number to the board
}

std::string text_of(const json &value)
{
    if (value.is_null()) {
        return "-";
    }
    std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    for (size_t at = 0; (at = text.find_first_of("\r\n\t", at)) != std::string::npos; at += 2) {
        const char c = text[at];
        text.replace(at, 1, c == '\n' ? "\\n" : c == '\r' ? "\\r" : "\\t");
    }
    return text;
}

Rows rows_of(const std::string &name, const json &tree)
{
    if (!tree.is_object() || tree.empty()) {
        return {{name, tree}};
    }
    std::vector<std::string> keys;
    for (const auto &[key, value] : tree.items()) {
        keys.push_back(key);
    }
    std::sort(keys.begin(), keys.end(), before);
    Rows rows;
    for (const std::string &key : keys) {
        const Rows inner = rows_of(name.empty() ? key : name + "." + key, tree[key]);
        rows.insert(rows.end(), inner.begin(), inner.end());
    }
    return rows;
}

std::string table(const std::vector<std::vector<std::string>> &rows)
{
    std::vector<size_t> widths;
    for (const std::vector<std::string> &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const std::vector<std::string> &row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            text += i + 1 == row.size() ? "\n" : std::string(widths[i] - row[i].size() + 2, ' ');
        }
    }
    return text;
}

} // namespace virtual_board
