// The description of a command: what it is called, what it takes, what it
// answers and what can go wrong. Parsing, help, manual pages, completion and
// JSON schemas are all made from it.
#ifndef BOARDCTL_DESCRIBE_H
#define BOARDCTL_DESCRIBE_H

#include <stdint.h>

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "boardctl/framework/result.h"

namespace boardctl {

class Arguments;
class Context;

// ---- What an argument may be ---------------------------------------------

// A number, decimal or with 0x.
struct Number {
    int64_t min = 0;
    int64_t max = 0;
    std::string unit = {};
    bool in_hex = false; // the range is shown in hexadecimal
};

// One of several words, each of which stands for a number.
struct Choice {
    std::string name;
    int64_t value = 0;
    std::string help = {};
};
struct Word {
    std::vector<Choice> choices;
};

// Any text of a length.
struct Text {
    size_t min_length = 1;
    size_t max_length = 4096;
};

// Several bytes, one word each; the argument is a list.
struct Bytes {
    size_t min = 1;
    size_t max = 255;
};

struct InputFile {};
struct OutputFile {};

// A switch without a value.
struct Flag {};

// A form of its own, such as a register's name.
struct Form {
    std::string form;                                          // "name or offset"
    std::function<std::string(const std::string &)> complaint; // empty: accepted
    std::vector<std::string> candidates = {};                  // offered by completion
    // Tried by the tests: words that are refused, and accepted ones where there
    // are no candidates.
    std::vector<std::string> refused = {};
    std::vector<std::string> accepted = {};
};

using Kind = std::variant<Number, Word, Text, Bytes, InputFile, OutputFile, Flag, Form>;

struct Argument {
    std::string name; // REGISTER is found by its place, --count by its name
    std::string help;
    Kind kind;
    bool required = true;
    std::string fallback = {}; // taken when the argument is absent

    bool is_option() const { return name.starts_with("--"); }
    bool is_flag() const { return std::holds_alternative<Flag>(kind); }
    bool is_list() const { return std::holds_alternative<Bytes>(kind); }
    // An option is never required, nor is anything with a fallback.
    bool must_be_given() const { return required && fallback.empty() && !is_option(); }
};

// ---- What a command answers ----------------------------------------------

enum class Type { integer, boolean, string, integers };

// A field of a list, or a column of a table.
struct Field {
    std::string key;     // in JSON
    std::string heading; // for people
    Type type = Type::integer;
    std::string help = {};
    bool may_be_null = false; // none()
    bool may_refuse = false;  // refusal(): {"error": CODE} in JSON
};

// Fields one below the other, or rows of them. A block without a key puts its
// fields straight into the result.
struct Block {
    enum class Layout { fields, rows };
    std::string key;
    std::string title;
    Layout layout = Layout::fields;
    std::vector<Field> fields = {};
};

// ---- Commands --------------------------------------------------------------

// A line that works as pasted: "power status" stands for
// "boardctl --virtual power status".
struct Example {
    std::string arguments;
    std::string what;
    std::string before = {}; // shell command that makes the files that it needs
};

struct Command {
    std::string name; // empty: the family's name is the whole command
    std::string summary;
    std::string description = {};
    std::vector<Argument> arguments = {};
    std::vector<Block> output = {};
    std::vector<Example> examples = {};
    Result (*run)(Context &) = nullptr;
    // What is wrong with the arguments together; nothing if empty.
    std::function<std::string(const Arguments &)> complaint = {};
    // The question that is asked first; none if empty.
    std::function<std::string(const Arguments &)> asks = {};
    bool needs_board = true; // ipmc_driver_init() before, ipmc_driver_clean() after
    // Answers several times; ends by a signal, or when its reader is gone.
    bool streams = false;
};

// What a result of an operation means on this board.
struct Meaning {
    std::string operation;
    int code;
    std::string words;
};

struct Family {
    std::string name;
    std::string summary;
    std::string description = {};
    std::vector<Command> commands;
    std::vector<Meaning> meanings = {};
};

// ---- Words for them ----------------------------------------------------------

// "power on", or "info".
std::string full_name(const Family &family, const Command &command);
// "boardctl cpld read REGISTER [--count N]"
std::string usage_of(const Family &family, const Command &command);
// "0 to 255 ms", "one of: on, off"; empty for a flag and for any text
std::string range_of(const Argument &argument);
// As it stands in a usage line: "--count N", "[DATA…]".
std::string placeholder_of(const Argument &argument);
// "boardctl --virtual power status"
std::string line_of(const Example &example);

// Asks the same question whatever the arguments are.
std::function<std::string(const Arguments &)> always(const std::string &question);

} // namespace boardctl

#endif
