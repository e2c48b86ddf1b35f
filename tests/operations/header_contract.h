// What the public header promises of each operation, read from its comments.
#ifndef TESTS_OPERATIONS_HEADER_CONTRACT_H
#define TESTS_OPERATIONS_HEADER_CONTRACT_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace board_test {

// The results and texts of one operation. A comment that sends the reader to
// another operation ("as get_bt_status()") promises that one's as well.
struct Contract {
    std::set<long long> results;
    bool driver_result = false; // what a device answered is a result
    bool negated = false;       // but above 9999 with a minus
    bool value = false;         // a good result is a value, such as a count
    bool nothing = false;       // it returns nothing
    // Texts as they are printed, with the conversions of printf.
    std::set<std::string> texts;
};

struct Documentation {
    std::string text;  // one line, without the comment's frame
    std::string group; // the comment of its group
    bool returns_nothing;
};

class HeaderContracts {
public:
    explicit HeaderContracts(const std::string &path);

    // Names of the functions.
    std::vector<std::string> operations() const;
    bool has(const std::string &operation) const { return documentation_.contains(operation); }
    Contract of(const std::string &operation) const;
    // Exported variables.
    const std::set<std::string> &data() const { return data_; }
    // Rows of the table of locks: held, then taken.
    const std::set<std::pair<std::string, std::string>> &lock_order() const { return order_; }

private:
    std::map<std::string, Documentation> documentation_;
    std::set<std::string> data_;
    std::set<std::pair<std::string, std::string>> order_;
};

// Whether the result is promised. `injected` is what a device was made to
// answer.
bool promises(const Contract &contract, long long result, std::optional<long long> injected);

// Whether the output is made of promised texts and nothing else. On standard
// error each stands before a colon and the error's own text.
bool promises_output(const Contract &contract, const std::string &output);
bool promises_errors(const Contract &contract, const std::string &output);

} // namespace board_test

#endif
