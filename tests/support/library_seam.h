// The calls that libboard_hal.so makes, counted, and made to fail one at a time.
#ifndef TESTS_SUPPORT_LIBRARY_SEAM_H
#define TESTS_SUPPORT_LIBRARY_SEAM_H

#include <stddef.h>

#include <optional>
#include <string>
#include <vector>

namespace board_test {

// Ways in which a call can fail. A call fails in those that its kind knows.
enum class Failure : unsigned {
    error,       // -1 or null with an errno; the device sees nothing
    interrupted, // -1 with EINTR
    zero,        // 0, null or "no"; the device sees nothing
    short_count, // half of what was asked for moves
    above_9999,  // the FPGA driver's kind of error number
    refused,     // a lock that somebody holds
    exit_status, // a program that ran and failed
    killed,      // a program that a signal ended
};

constexpr unsigned bit(Failure failure)
{
    return 1U << static_cast<unsigned>(failure);
}
const char *to_string(Failure failure);
const std::vector<Failure> &all_failures();

struct SeamCall {
    std::string function;
    unsigned failures = 0; // bits of those that it can have; 0 for a lock or a release
};

// What the library holds: each acquisition and release goes through the seam.
struct SeamHoldings {
    size_t memory = 0;
    size_t descriptors = 0;
    size_t streams = 0;
    size_t mappings = 0;

    bool operator==(const SeamHoldings &) const = default;
};

// Puts itself between the library and everything that it imports, by the
// library's own table of imported functions: calls of the test, of the virtual
// board and of other libraries pass by. The functions behind are those that the
// library was linked to, sanitizers' included.
//
// One process has one seam, for one thread.
namespace seam {

void attach();
// Every function that the library imports, and those of them that the seam
// neither counts nor knows to be harmless: formatting, comparing, copying.
std::vector<std::string> imports();
std::vector<std::string> unknown_imports();

// Starts to count, and makes the call with that number fail, from 0.
void start();
void start(size_t number, Failure failure);
void stop();
// The calls since the last start, in order.
const std::vector<SeamCall> &calls();
// What the call answered that was made to fail, where it is a number; empty if
// there was none.
std::optional<long long> injected();
bool struck();
// Closes since the last start of numbers that the library did not hold.
size_t stray_closes();
SeamHoldings held();

} // namespace seam

} // namespace board_test

#endif
