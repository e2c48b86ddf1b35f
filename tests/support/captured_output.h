// What the program writes to standard output or standard error, byte for byte.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <string>

namespace board_test {

// Redirects a descriptor for its lifetime: 1, or 2 for what perror says.
class CapturedOutput {
public:
    explicit CapturedOutput(int descriptor = 1);
    ~CapturedOutput();

    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // What was written since the last call.
    std::string take();

private:
    int descriptor_;
    int memory_;
    int saved_;
};

} // namespace board_test

#endif
