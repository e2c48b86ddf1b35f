#include "tests/support/captured_output.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace board_test {

CapturedOutput::CapturedOutput(FILE *stream)
    : stream_(stream), descriptor_(fileno(stream)), memory_(memfd_create("output", MFD_CLOEXEC)),
      before_(dup(descriptor_))
{
    fflush(stream_);
    dup2(memory_, descriptor_);
}

CapturedOutput::~CapturedOutput()
{
    const std::string rest = take();
    dup2(before_, descriptor_);
    fwrite(rest.data(), 1, rest.size(), stream_);
    fflush(stream_);
    close(before_);
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
    fflush(stream_);
    struct stat status = {};
    fstat(memory_, &status);
    std::string text(static_cast<size_t>(status.st_size), '\0');
    const ssize_t got = pread(memory_, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<size_t>(got) : 0);
    // The offset is shared with the stream's descriptor.
    lseek(memory_, 0, SEEK_SET);
    if (ftruncate(memory_, 0) != 0) {
        text += "<output could not be reset>";
    }
    return text;
}

} // namespace board_test
