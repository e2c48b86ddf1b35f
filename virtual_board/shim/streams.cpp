// The C library's streams on the board's files: streams of its own kind, with the
// board behind them.
//
// The rules of interpose.cpp hold here too.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

#include "virtual_board/shim/inside.h"
#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

namespace {

Real<FILE *(const char *, const char *)> real_fopen("fopen");
Real<FILE *(int, const char *)> real_fdopen("fdopen");
Real<FILE *(const char *, const char *, FILE *)> real_freopen("freopen");
Real<ssize_t(int, const void *, size_t)> real_write("write");

struct Stream {
    Bus *bus;
    std::shared_ptr<OpenFile> file;
    int descriptor = -1; // which the stream was made of, and closes
};

ssize_t stream_read(void *cookie, char *buffer, size_t size)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    return answer(stream.bus->read(*stream.file, buffer, size));
}

// The library's convention for a cookie that fails to write is 0, not -1.
ssize_t stream_write(void *cookie, const char *data, size_t size)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    const long result = answer(stream.bus->write(*stream.file, data, size));
    return result < 0 ? 0 : result;
}

int stream_seek(void *cookie, off64_t *offset, int whence)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    const long long result = answer(stream.bus->seek(*stream.file, *offset, whence));
    *offset = result;
    return result < 0 ? -1 : 0;
}

int stream_close(void *cookie)
{
    const std::unique_ptr<Stream> stream(static_cast<Stream *>(cookie));
    if (stream->descriptor >= 0) {
        return close_any(stream->descriptor);
    }
    const Working guard;
    stream->bus->close(*stream->file);
    return 0;
}

constexpr cookie_io_functions_t functions = {stream_read, stream_write, stream_seek, stream_close};

int open_flags(const char *mode)
{
    const bool update = strchr(mode, '+') != nullptr;
    switch (mode[0]) {
    case 'r':
        return update ? O_RDWR : O_RDONLY;
    case 'w':
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    default:
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    }
}

FILE *fopen_on_board(Bus &on, const std::string &path, const char *mode)
{
    const Working guard;
    auto stream = std::make_unique<Stream>();
    stream->bus = &on;
    const long result = on.open(path, open_flags(mode), stream->file);
    if (result < 0) {
        refuse(path, result);
        return nullptr;
    }
    FILE *opened = fopencookie(stream.get(), mode, functions);
    if (opened == nullptr) {
        const int kept = errno;
        on.close(*stream->file);
        errno = kept;
        return nullptr;
    }
    stream.release();
    return opened;
}

FILE *stream_of(int descriptor, std::shared_ptr<OpenFile> file, const char *mode)
{
    Bus *on = board();
    const Working guard;
    auto stream = std::make_unique<Stream>(Stream{on, std::move(file), descriptor});
    FILE *opened = fopencookie(stream.get(), mode, functions);
    if (opened != nullptr) {
        stream.release();
    }
    return opened;
}

} // namespace

} // namespace virtual_board::shim

using namespace virtual_board::shim;
using virtual_board::OpenFile;

extern "C" {

FILE *fopen(const char *path, const char *mode)
{
    const std::string own = board_path(AT_FDCWD, path);
    return own.empty() ? real_fopen(path, mode) : fopen_on_board(*board(), own, mode);
}

FILE *fopen64(const char *path, const char *mode) __attribute__((alias("fopen")));

FILE *fdopen(int descriptor, const char *mode)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    return file ? stream_of(descriptor, file, mode) : real_fdopen(descriptor, mode);
}

// A stream that is there already cannot be led to the board, and must not reach
// what the machine may have at that path.
FILE *freopen(const char *path, const char *mode, FILE *stream)
{
    const std::string own = board_path(AT_FDCWD, path);
    if (own.empty()) {
        return real_freopen(path, mode, stream);
    }
    const std::string text = "virtual board: no open stream can be led to " + own + "\n";
    real_write(STDERR_FILENO, text.data(), text.size());
    fclose(stream);
    errno = EOPNOTSUPP;
    return nullptr;
}

FILE *freopen64(const char *path, const char *mode, FILE *stream) __attribute__((alias("freopen")));

} // extern "C"
