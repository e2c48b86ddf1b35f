// What a command answers: a value that the framework shows as tables or JSON.
#ifndef BOARDCTL_RESULT_H
#define BOARDCTL_RESULT_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "boardctl/framework/value.h"

namespace boardctl {

// Keys are those of the command's description.
class Result {
public:
    // Field of the block without a key, or of the named one.
    Result &set(const std::string &field, const Value &value) { return set("", field, value); }
    Result &set(const std::string &block, const std::string &field, const Value &value)
    {
        fields_[block][field] = value;
        return *this;
    }

    // A row of a block; values in the order of its fields.
    Result &row(const std::string &block, std::vector<Value> values)
    {
        rows_[block].push_back(std::move(values));
        return *this;
    }

    using Fields = std::map<std::string, Value>;
    using Rows = std::vector<std::vector<Value>>;
    const std::map<std::string, Fields> &fields() const { return fields_; }
    const std::map<std::string, Rows> &rows() const { return rows_; }

private:
    std::map<std::string, Fields> fields_;
    std::map<std::string, Rows> rows_;
};

} // namespace boardctl

#endif
