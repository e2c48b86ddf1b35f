// What the program writes to standard output, byte for byte.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

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

private:
    int memory_;
    int stdout_;
};

} // namespace board_test

#endif
