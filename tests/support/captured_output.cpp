#include "tests/support/captured_output.h"

#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace board_test {

CapturedOutput::CapturedOutput() : memory_(memfd_create("stdout", MFD_CLOEXEC)), stdout_(dup(1))
{
    fflush(stdout);
    dup2(memory_, 1);
}

CapturedOutput::~CapturedOutput()
{
    const std::string rest = take();
    dup2(stdout_, 1);
    fwrite(rest.data(), 1, rest.size(), stdout);
    fflush(stdout);
    close(stdout_);
    close(memory_);
}

size_t CapturedOutput::flushed() const
{
    struct stat status = {};
    fstat(memory_, &status);
    return static_cast<size_t>(status.st_size);
}

std::string CapturedOutput::take()
{
    fflush(stdout);
    struct stat status = {};
    fstat(memory_, &status);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t got = pread(memory_, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    // Both ends share one offset with descriptor 1.
    lseek(memory_, 0, SEEK_SET);
    if (ftruncate(memory_, 0) != 0) {
        text += "<output could not be reset>";
    }
    return text;
}

} // namespace board_test
