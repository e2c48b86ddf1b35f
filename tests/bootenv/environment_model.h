// The environment block as strings: an independent model of what the library
// does to it, entries found by cutting at NULs, and random blocks for it.
#ifndef TESTS_BOOTENV_ENVIRONMENT_MODEL_H
#define TESTS_BOOTENV_ENVIRONMENT_MODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace environment_model {

constexpr std::size_t block_size = 8192;
constexpr std::size_t data_start = 4;
constexpr std::size_t data_size = block_size - data_start;

// A whole block with a recognisable wrong checksum, the given data, and the fill
// character behind it.
std::string block_of(const std::string &data, char fill = '\0');
// Data whose end leaves exactly the given room for new entries.
std::string data_with_room(std::size_t room);
// The block with the checksum of its data.
std::string summed(std::string block);
bool checksum_holds(const std::string &block);

struct Entry {
    std::size_t at; // in the data area
    std::string text;
};

struct Walk {
    std::vector<Entry> entries;
    bool terminated = true;
};

Walk walk(const std::string &block);
// The value in an entry's text if it is the named variable's.
std::optional<std::string> value_of(const std::string &name, const std::string &text);
// The block without an entry; none if its entries have no end.
std::optional<std::string> removed(const std::string &block, const Entry &entry);
// The block with a further entry; none if it does not fit.
std::optional<std::string> appended(const std::string &block, const std::string &name,
                                    const std::string &value);

// What an operation answers, prints and leaves in the block.
struct Outcome {
    int result;
    std::string output;
    std::string block;
    std::optional<std::string> value = {}; // what a get puts into the buffer
};

using Text = std::optional<std::string>; // a null pointer, or a text

Outcome get(const std::string &block, const std::string &name);
Outcome set(const std::string &block, const std::string &name, const Text &value);
Outcome print(const std::string &block, const Text &name);

class RandomEnvironment {
public:
    explicit RandomEnvironment(uint32_t seed) : random_(seed) {}

    std::size_t below(std::size_t limit);
    std::string text(std::size_t longest, std::string_view letters);
    // Short names of few letters, so that they meet; some hold an "=".
    std::string name() { return text(3, below(4) == 0 ? "ab=" : "ab"); }
    // Sound entries up to about a size, then what may lie behind them.
    std::string sound_block();
    // Letters and NULs in any order, sparse or dense in NULs.
    std::string wild_block();

private:
    std::mt19937 random_;
};

} // namespace environment_model

#endif
