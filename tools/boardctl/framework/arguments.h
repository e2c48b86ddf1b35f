// The arguments of one call, checked against their description.
#ifndef BOARDCTL_ARGUMENTS_H
#define BOARDCTL_ARGUMENTS_H

#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

class Arguments {
public:
    explicit Arguments(const std::vector<Argument> &described) : described_(&described) {}

    // Throws UsageError if the words are not what the description wants.
    void give(const std::string &name, const std::vector<std::string> &words);

    // Given on the command line, or with a fallback.
    bool has(const std::string &name) const;
    // The value of a Number, or what a Word stands for.
    int64_t number(const std::string &name) const;
    template <typename T> T as(const std::string &name) const
    {
        return static_cast<T>(number(name));
    }
    std::string text(const std::string &name) const;
    std::vector<uint8_t> bytes(const std::string &name) const;
    bool flag(const std::string &name) const;

private:
    const Argument &description(const std::string &name) const;
    std::vector<std::string> words(const std::string &name) const;

    const std::vector<Argument> *described_;
    std::map<std::string, std::vector<std::string>> given_;
};

// Decimal, or hexadecimal with 0x; nothing if it is no number.
std::optional<int64_t> number_from(const std::string &word);

} // namespace boardctl

#endif
