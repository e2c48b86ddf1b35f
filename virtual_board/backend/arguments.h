// The arguments of a request, strictly read.
#ifndef VIRTUAL_BOARD_BACKEND_ARGUMENTS_H
#define VIRTUAL_BOARD_BACKEND_ARGUMENTS_H

#include <stdint.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace virtual_board {

// What the client is told.
struct RequestError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Arguments {
public:
    explicit Arguments(const nlohmann::json &request);

    // Absent arguments are errors, but for those that have an alternative.
    std::string text(const std::string &name);
    std::string text(const std::string &name, const std::string &otherwise);
    std::vector<std::string> texts(const std::string &name);
    int64_t number(const std::string &name, int64_t min, int64_t max);
    int64_t number(const std::string &name, int64_t min, int64_t max, int64_t otherwise);
    bool truth(const std::string &name, bool otherwise);
    // A list of numbers, or a text of hexadecimal bytes with blanks between them.
    std::vector<uint8_t> bytes(const std::string &name, size_t min, size_t max);
    const nlohmann::json &value(const std::string &name);
    bool has(const std::string &name) const { return request_.contains(name); }

    // To be called before anything is done: complains of what nobody asked for.
    void end() const;

private:
    const nlohmann::json &request_;
    std::set<std::string> asked_;
};

// An integer, or a text such as "0x1F"; nothing if it is neither or does not fit.
std::optional<int64_t> number_in(const nlohmann::json &value);

} // namespace virtual_board

#endif
