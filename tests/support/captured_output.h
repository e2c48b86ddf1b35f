// What the program writes to standard output, byte for byte.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <stddef.h>

#include <string>

namespace board_test {

// Redirects descriptor 1 for its lifetime.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();

    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // What was written since the last call.
    std::string take();
    // Bytes that have left the program's buffer since then.
    size_t flushed() const;

private:
    int memory_;
    int stdout_;
};

} // namespace board_test

#endif
