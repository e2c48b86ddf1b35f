// One cell of a result, as people and as programs read it.
#ifndef BOARDCTL_VALUE_H
#define BOARDCTL_VALUE_H

#include <stdint.h>

#include <string>
#include <variant>
#include <vector>

namespace boardctl {

// How a terminal with colours shows a value.
enum class Tone { plain, good, bad, faint };

// A value that an operation refused to give, by its result.
struct Refusal {
    int code;
};

struct Value {
    // What programs read; no value at all is JSON's null.
    std::variant<std::monostate, bool, int64_t, std::string, std::vector<int64_t>, Refusal> data;
    // What people read.
    std::string shown;
    Tone tone = Tone::plain;
};

Value number(int64_t value);
// Shown with 0x; a plain number in JSON.
Value hex(uint64_t value, int digits = 2);
Value yes_no(bool value);
Value on_off(bool value);
// Bytes that cannot be printed are shown as a question mark.
Value text(const std::string &value);
// Shown in hexadecimal, one blank apart; an array of numbers in JSON.
Value bytes(const std::vector<uint8_t> &values);
// Shown one blank apart; an array of numbers in JSON.
Value series(const std::vector<int64_t> &values);
// Does not apply, or is not known.
Value none(const std::string &shown = "n.a.");
// The operation answered this result.
Value refusal(int code);
// The value if its operation succeeded, else the refusal.
Value given(int result, const Value &value);
// The same value in another tone, as in toned(on_off(lit), Tone::good).
Value toned(Value value, Tone tone);
// The same value in other words.
Value shown_as(Value value, const std::string &shown);

} // namespace boardctl

#endif
