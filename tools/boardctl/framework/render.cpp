#include "boardctl/framework/render.h"

#include <algorithm>
#include <stdexcept>

namespace boardctl {

namespace {

constexpr const char *gap = "  ";

const char *colour_of(Tone tone)
{
    switch (tone) {
    case Tone::good:
        return "\x1b[32m";
    case Tone::bad:
        return "\x1b[31m";
    case Tone::faint:
        return "\x1b[2m";
    case Tone::plain:
        break;
    }
    return "";
}

bool is_number(const Value &value)
{
    return std::holds_alternative<int64_t>(value.data);
}

// Colours go around the text, not around the blanks, and count for no width.
std::string cell(const Value &value, size_t width, bool to_the_right, bool colours)
{
    const std::string blanks(width - std::min(width, value.shown.size()), ' ');
    const std::string colour = colours ? colour_of(value.tone) : "";
    const std::string shown = colour.empty() ? value.shown : colour + value.shown + "\x1b[0m";
    return to_the_right ? blanks + shown : shown + blanks;
}

std::string without_trailing_blanks(std::string line)
{
    return line.erase(line.find_last_not_of(' ') + 1);
}

std::string fields_of(const Block &block, const Result::Fields &fields, bool colours,
                      const std::string &indent)
{
    size_t width = 0;
    for (const Field &field : block.fields) {
        width = std::max(width, field.heading.size());
    }
    std::string all;
    for (const Field &field : block.fields) {
        const auto found = fields.find(field.key);
        if (found != fields.end()) {
            all += without_trailing_blanks(indent + cell({{}, field.heading}, width, false, false) +
                                           gap + cell(found->second, 0, false, colours)) +
                   '\n';
        }
    }
    return all;
}

std::string rows_of(const Block &block, const Result::Rows &rows, bool colours,
                    const std::string &indent)
{
    if (rows.empty()) {
        return indent + "none\n";
    }
    std::vector<size_t> widths;
    std::vector<bool> right;
    for (size_t i = 0; i < block.fields.size(); ++i) {
        widths.push_back(block.fields[i].heading.size());
        right.push_back(std::any_of(rows.begin(), rows.end(),
                                    [i](const auto &row) { return is_number(row[i]); }));
        for (const std::vector<Value> &row : rows) {
            widths[i] = std::max(widths[i], row[i].shown.size());
        }
    }
    const auto line = [&](const std::vector<Value> &values) {
        std::string text = indent;
        for (size_t i = 0; i < values.size(); ++i) {
            text += (i == 0 ? "" : gap) + cell(values[i], widths[i], right[i], colours);
        }
        return without_trailing_blanks(text) + '\n';
    };
    std::vector<Value> headings;
    for (const Field &field : block.fields) {
        headings.push_back({{}, field.heading, Tone::faint});
    }
    std::string all = line(headings);
    for (const std::vector<Value> &row : rows) {
        all += line(row);
    }
    return all;
}

const Block &block_of(const Command &command, const std::string &key, Block::Layout layout)
{
    for (const Block &block : command.output) {
        if (block.key == key && block.layout == layout) {
            return block;
        }
    }
    throw std::logic_error("the result has a block \"" + key + "\" that is not described");
}

bool fits(const Value &value, const Field &field)
{
    struct Fits {
        const Field &field;
        bool operator()(std::monostate) const { return field.may_be_null; }
        bool operator()(bool) const { return field.type == Type::boolean; }
        bool operator()(int64_t) const { return field.type == Type::integer; }
        bool operator()(const std::string &) const { return field.type == Type::string; }
        bool operator()(const std::vector<int64_t> &) const { return field.type == Type::integers; }
        bool operator()(Refusal) const { return field.may_refuse; }
    };
    return std::visit(Fits{field}, value.data);
}

void check_fit(const Value &value, const Field &field)
{
    if (!fits(value, field)) {
        throw std::logic_error("the result's \"" + field.key + "\" is not of the described type");
    }
}

void check_fields(const Block &block, const Result::Fields &fields)
{
    for (const auto &[key, value] : fields) {
        const auto found =
            std::find_if(block.fields.begin(), block.fields.end(),
                         [&name = key](const Field &field) { return field.key == name; });
        if (found == block.fields.end()) {
            throw std::logic_error("the result has a field \"" + key + "\" that is not described");
        }
        check_fit(value, *found);
    }
    if (fields.size() != block.fields.size()) {
        throw std::logic_error("the result lacks a field of \"" + block.key + "\"");
    }
}

} // namespace

void check_shape(const Command &command, const Result &result)
{
    for (const auto &[key, fields] : result.fields()) {
        check_fields(block_of(command, key, Block::Layout::fields), fields);
    }
    for (const auto &[key, rows] : result.rows()) {
        const Block &block = block_of(command, key, Block::Layout::rows);
        for (const std::vector<Value> &row : rows) {
            if (row.size() != block.fields.size()) {
                throw std::logic_error("a row of \"" + key + "\" has another number of columns");
            }
            for (size_t i = 0; i < row.size(); ++i) {
                check_fit(row[i], block.fields[i]);
            }
        }
    }
}

std::string as_text(const Command &command, const Result &result, bool colours)
{
    check_shape(command, result);
    const bool titles = command.output.size() > 1;
    std::string all;
    for (const Block &block : command.output) {
        const bool titled = titles && !block.title.empty();
        if (titled) {
            all += (all.empty() ? "" : "\n") + block.title + '\n';
        }
        const std::string indent = titled ? "  " : "";
        if (block.layout == Block::Layout::rows) {
            const auto found = result.rows().find(block.key);
            all += rows_of(block, found == result.rows().end() ? Result::Rows{} : found->second,
                           colours, indent);
        } else {
            const auto found = result.fields().find(block.key);
            all +=
                fields_of(block, found == result.fields().end() ? Result::Fields{} : found->second,
                          colours, indent);
        }
    }
    return all;
}

} // namespace boardctl
