// One cell of the report, as people and as programs read it.
#ifndef BOARD_INVENTORY_VALUE_H
#define BOARD_INVENTORY_VALUE_H

#include <stdint.h>

#include <string>
#include <vector>

namespace board_inventory {

struct Value {
    std::string shown;      // in a table
    std::string json;       // a JSON value
    bool is_number = false; // tables align numbers to the right
};

Value number(long long value);
// Shown with 0x; a plain number in JSON.
Value hex(unsigned value, int digits = 2);
Value yes_no(bool value);
// Bytes that cannot be printed are shown as a question mark.
Value text(const std::string &value);
// A version letter; hexadecimal if it is no letter at all.
Value letter(uint8_t value);

// Several numbers: one blank apart, an array.
Value series(const std::vector<Value> &numbers);

// Does not apply: "n.a.", null.
Value none();
// Not stable yet: asked again later, it will be known.
Value settling();
// The operation answered an error.
Value error(int code);
// The value if its operation succeeded, else the error.
Value given(int result, const Value &value);

// A JSON string, quoted. Bytes beyond ASCII count as Latin-1, so that any
// bytes make valid JSON.
std::string quoted(const std::string &value);

} // namespace board_inventory

#endif
