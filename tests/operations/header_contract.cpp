#include "tests/operations/header_contract.h"

#include <ctype.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace board_test {

namespace {

std::string read_file(const std::string &path)
{
    std::ifstream file(path);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (text.empty()) {
        throw std::runtime_error("no header at " + path);
    }
    return text;
}

std::string one_line(const std::string &comment)
{
    std::istringstream lines(comment);
    std::string joined;
    for (std::string line; std::getline(lines, line);) {
        const size_t begin = line.find_first_not_of(" \t*");
        const size_t end = line.find_last_not_of(" \t");
        if (begin != std::string::npos) {
            joined += (joined.empty() ? "" : " ") + line.substr(begin, end + 1 - begin);
        }
    }
    return joined;
}

// The word before the first "(", "[" or ";".
std::string declared_name(const std::string &declaration)
{
    const size_t end = declaration.find_first_of("([;");
    const size_t begin = declaration.find_last_of(" *", end - 1);
    return declaration.substr(begin + 1, end - begin - 1);
}

// Each function with the comment before it; the names of variables.
std::map<std::string, Documentation> read_documentation(const std::string &header,
                                                        std::set<std::string> &data)
{
    static const std::string comment_mark = "/**";
    static const std::string declaration_mark = "\nBOARD_HAL_API ";
    std::map<std::string, Documentation> found;
    std::string last;
    std::string group;
    for (size_t at = 0; at < header.size();) {
        const size_t comment = header.find(comment_mark, at);
        const size_t declaration = header.find(declaration_mark, at);
        if (comment < declaration) {
            const size_t end = header.find("*/", comment);
            last = one_line(header.substr(comment + 3, end - comment - 3));
            if (last.find("@defgroup") != std::string::npos) {
                group = last;
            }
            at = end;
        } else if (declaration != std::string::npos) {
            const size_t end = header.find(';', declaration);
            const std::string text = header.substr(declaration + 1, end - declaration);
            if (text.find(" extern ") == std::string::npos) {
                found[declared_name(text)] = {last, group, text.starts_with("BOARD_HAL_API void ")};
            } else {
                data.insert(declared_name(text));
            }
            at = end;
        } else {
            break;
        }
    }
    return found;
}

// ---- texts ----

std::string unescape(const std::string &text)
{
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        ++i;
        plain += text[i] == 'n' ? '\n' : text[i] == 'r' ? '\r' : text[i];
    }
    return plain;
}

// Fixed lines are quoted without their end; texts with conversions, or with an
// end of their own, are whole.
std::set<std::string> quoted_texts(const std::string &documentation)
{
    static const std::regex quoted("\"([^\"]+)\"(, without a newline)?");
    std::set<std::string> texts;
    for (std::sregex_iterator match(documentation.begin(), documentation.end(), quoted), end;
         match != end; ++match) {
        const std::string text = unescape((*match)[1]);
        const bool whole =
            (*match)[2].matched || text.find('%') != std::string::npos || text.ends_with("\n");
        texts.insert(whole ? text : text + "\n");
    }
    return texts;
}

// ---- results ----

// Names of operations keep a mark, "[]" for "()".
std::string without_quotes(const std::string &text)
{
    static const std::regex quoted("\"[^\"]*\"");
    static const std::regex call("(\\w)\\(\\)");
    return std::regex_replace(std::regex_replace(text, quoted, ""), call, "$1[]");
}

std::string without_quotes_and_brackets(const std::string &text)
{
    static const std::regex bracketed("\\([^()]*\\)");
    return std::regex_replace(without_quotes(text), bracketed, "");
}

// What follows "@return", or everything if the comment has none.
std::string result_part(const std::string &plain)
{
    const size_t begin = plain.find("@return");
    if (begin == std::string::npos) {
        return plain;
    }
    const size_t end = plain.find(" Locks:", begin);
    return plain.substr(begin, end == std::string::npos ? end : end - begin);
}

std::set<long long> numbers(const std::string &part)
{
    static const std::regex number(
        "(?:^|@return |[;:.] +|\\bor |\\bgives )(?:positive )?(-?[0-9]+)(?=[ ;,.]|$)");
    std::set<long long> found;
    for (std::sregex_iterator match(part.begin(), part.end(), number), end; match != end; ++match) {
        found.insert(atoll((*match)[1].str().c_str()));
    }
    return found;
}

bool has(const std::string &text, const char *expression)
{
    return std::regex_search(text, std::regex(expression));
}

std::set<std::string> named_operations(const std::string &text, const char *before)
{
    const std::regex name(std::string(before) + "(\\w+)\\[\\]");
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

class Reader {
public:
    explicit Reader(const std::map<std::string, Documentation> &all) : all_(all) {}

    Contract read(const std::string &operation)
    {
        Contract contract;
        std::set<std::string> seen;
        add_results(operation, contract, seen);
        contract.nothing = all_.at(operation).returns_nothing;
        seen.clear();
        add_texts(operation, contract, seen);
        return contract;
    }

private:
    void add_results(const std::string &operation, Contract &contract, std::set<std::string> &seen)
    {
        const auto found = all_.find(operation);
        if (found == all_.end() || !seen.insert(operation).second) {
            return;
        }
        const std::string plain = without_quotes_and_brackets(found->second.text);
        const std::string part = result_part(plain);
        contract.results.merge(numbers(part));
        contract.driver_result =
            contract.driver_result ||
            has(part, "(driver|adapter)'s (result|count)|driver error above 9999|"
                      "result of the (read|write)|the count read|bytes read|bytes written");
        contract.value = contract.value || has(part, "@return (@p|the [a-z]+['a-z]* [a-z]+|the "
                                                     "(size|rate|CRC)|bytes)|The extended BOM id");
        contract.negated = contract.negated || has(part, "above 9999 negated");
        const bool everything = plain.find("@return") == std::string::npos;
        const char *const before = everything ? "" : "(?:\\bas|result of) ";
        for (const std::string &other : named_operations(part, before)) {
            add_results(other, contract, seen);
        }
    }

    void add_texts(const std::string &operation, Contract &contract, std::set<std::string> &seen)
    {
        const auto found = all_.find(operation);
        if (found == all_.end() || !seen.insert(operation).second) {
            return;
        }
        const Documentation &documentation = found->second;
        contract.texts.merge(quoted_texts(documentation.text));
        contract.texts.merge(quoted_texts(documentation.group));
        const std::string plain = without_quotes(documentation.text);
        for (const std::string &other : named_operations(plain, "\\b")) {
            add_texts(other, contract, seen);
        }
    }

    const std::map<std::string, Documentation> &all_;
};

// "| `held` | `taken` |"
std::set<std::pair<std::string, std::string>> read_lock_order(const std::string &header)
{
    static const std::regex row("\\| `(\\w+)` *\\| `(\\w+)` *\\|");
    std::set<std::pair<std::string, std::string>> order;
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (line.starts_with(" * | `") && std::regex_search(line, match, row)) {
            order.emplace(match[1], match[2]);
        }
    }
    return order;
}

// ---- matching ----

// Ends of the conversion's possible outputs at a place.
std::set<size_t> ends_of_conversion(char conversion, const std::string &output, size_t at)
{
    std::set<size_t> ends;
    if (conversion == 's') {
        for (size_t end = at; end <= output.size(); ++end) {
            ends.insert(end);
            if (end < output.size() && output[end] == '\n') {
                break;
            }
        }
        return ends;
    }
    size_t end = at;
    if (conversion == 'd' && end < output.size() && output[end] == '-') {
        ++end;
    }
    const auto digit = [&](char c) {
        return conversion == 'x' ? isxdigit(static_cast<unsigned char>(c)) != 0
                                 : isdigit(static_cast<unsigned char>(c)) != 0;
    };
    while (end < output.size() && digit(output[end])) {
        ends.insert(++end);
    }
    return ends;
}

// Ends of what the text can have printed from each of these places.
std::set<size_t> ends_of_text(const std::string &text, const std::string &output, size_t begin)
{
    std::set<size_t> places = {begin};
    for (size_t i = 0; i < text.size() && !places.empty(); ++i) {
        std::set<size_t> next;
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] != '%') {
            i = text.find_first_of("sdxu", i + 1);
            if (i == std::string::npos) {
                throw std::runtime_error("a conversion that is not known: " + text);
            }
            for (const size_t place : places) {
                next.merge(ends_of_conversion(text[i], output, place));
            }
        } else {
            i += text[i] == '%' ? 1 : 0;
            for (const size_t place : places) {
                if (place < output.size() && output[place] == text[i]) {
                    next.insert(place + 1);
                }
            }
        }
        places = std::move(next);
    }
    return places;
}

bool made_of(const std::set<std::string> &texts, const std::string &output)
{
    std::set<size_t> reached = {0};
    for (auto place = reached.begin(); place != reached.end(); ++place) {
        if (*place == output.size()) {
            return true;
        }
        for (const std::string &text : texts) {
            for (const size_t end : ends_of_text(text, output, *place)) {
                if (end > *place) {
                    reached.insert(end);
                }
            }
        }
    }
    return reached.contains(output.size());
}

} // namespace

HeaderContracts::HeaderContracts(const std::string &path)
{
    const std::string header = read_file(path);
    documentation_ = read_documentation(header, data_);
    order_ = read_lock_order(header);
}

std::vector<std::string> HeaderContracts::operations() const
{
    std::vector<std::string> names;
    for (const auto &[name, documentation] : documentation_) {
        names.push_back(name);
    }
    return names;
}

Contract HeaderContracts::of(const std::string &operation) const
{
    return Reader(documentation_).read(operation);
}

bool promises(const Contract &contract, long long result, std::optional<long long> injected)
{
    if (contract.results.contains(result)) {
        return true;
    }
    if (!contract.driver_result || !injected) {
        return false;
    }
    const long long answer = contract.negated && *injected > 9999 ? -*injected : *injected;
    return result == answer;
}

bool promises_output(const Contract &contract, const std::string &output)
{
    return made_of(contract.texts, output);
}

bool promises_errors(const Contract &contract, const std::string &output)
{
    std::set<std::string> texts;
    for (const std::string &text : contract.texts) {
        texts.insert(text.substr(0, text.find_last_not_of('\n') + 1) + ": %s\n");
    }
    return made_of(texts, output);
}

} // namespace board_test
