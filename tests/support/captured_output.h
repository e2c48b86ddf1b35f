// What the program writes to standard output or standard error, byte for byte.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <stdio.h>

#include <string>

namespace board_test {

// Redirects the stream's descriptor for its lifetime.
class CapturedOutput {
public:
    explicit CapturedOutput(FILE *stream = stdout);
    ~CapturedOutput();

    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // What was written since the last call.
    std::string take();

private:
    FILE *stream_;
    int descriptor_;
    int memory_;
    int before_;
};

} // namespace board_test

#endif
