// What the program writes to standard output or standard error, byte for byte.
#ifndef TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <stddef.h>
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
    // Bytes that have left the program's buffer since then.
    size_t flushed() const;

private:
    FILE *stream_;
    int descriptor_;
    int memory_;
    int before_;
};

} // namespace board_test

#endif
