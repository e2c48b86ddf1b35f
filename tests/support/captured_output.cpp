#include "tests/support/captured_output.h"

#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace board_test {

CapturedOutput::CapturedOutput(int descriptor)
    : descriptor_(descriptor), memory_(memfd_create("output", MFD_CLOEXEC)), saved_(dup(descriptor))
{
    fflush(stdout);
    dup2(memory_, descriptor_);
}

CapturedOutput::~CapturedOutput()
{
    const std::string rest = take();
    dup2(saved_, descriptor_);
    FILE *const stream = descriptor_ == 1 ? stdout : stderr;
    fwrite(rest.data(), 1, rest.size(), stream);
    fflush(stream);
    close(saved_);
    close(memory_);
}

std::string CapturedOutput::take()
{
    fflush(stdout);
    struct stat status = {};
    fstat(memory_, &status);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t got = pread(memory_, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    // Both ends share one offset.
    lseek(memory_, 0, SEEK_SET);
    if (ftruncate(memory_, 0) != 0) {
        text += "<output could not be reset>";
    }
    return text;
}

} // namespace board_test
