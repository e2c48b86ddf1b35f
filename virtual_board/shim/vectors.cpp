// Transfers of several pieces, and between descriptors.
//
// The rules of interpose.cpp hold here too.

#include <errno.h>
#include <sys/sendfile.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include "virtual_board/shim/inside.h"
#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

namespace {

Real<ssize_t(int, const iovec *, int)> real_readv("readv");
Real<ssize_t(int, const iovec *, int)> real_writev("writev");
Real<ssize_t(int, int, off_t *, size_t)> real_sendfile("sendfile");
Real<ssize_t(int, int, off64_t *, size_t)> real_sendfile64("sendfile64");
Real<ssize_t(int, off64_t *, int, off64_t *, size_t, unsigned)>
    real_copy_file_range("copy_file_range");

// As the kernel does it for a driver that knows nothing of pieces: one call for
// each, until one of them falls short.
template <typename Transfer> ssize_t piecewise(const iovec *pieces, int count, const Transfer &one)
{
    ssize_t total = 0;
    for (int i = 0; i < count; ++i) {
        const ssize_t moved = one(pieces[i]);
        if (moved < 0) {
            return total > 0 ? total : moved;
        }
        total += moved;
        if (static_cast<size_t>(moved) != pieces[i].iov_len) {
            break;
        }
    }
    return total;
}

// Drivers move bytes to and from programs only; who asks for more falls back to
// reading and writing.
bool cannot_move(int from, int to)
{
    return board_file(from) || board_file(to);
}

} // namespace

} // namespace virtual_board::shim

using namespace virtual_board::shim;
using virtual_board::Operation;

extern "C" {

ssize_t readv(int descriptor, const iovec *pieces, int count)
{
    if (!board_file(descriptor)) {
        return pass(descriptor, Operation::read, 0, 0,
                    [&] { return real_readv(descriptor, pieces, count); });
    }
    return piecewise(pieces, count, [&](const iovec &piece) {
        return read_any(descriptor, piece.iov_base, piece.iov_len);
    });
}

ssize_t writev(int descriptor, const iovec *pieces, int count)
{
    if (!board_file(descriptor)) {
        return pass(descriptor, Operation::write, 0, 0,
                    [&] { return real_writev(descriptor, pieces, count); });
    }
    return piecewise(pieces, count, [&](const iovec &piece) {
        return write_any(descriptor, piece.iov_base, piece.iov_len);
    });
}

ssize_t sendfile(int to, int from, off_t *offset, size_t count) noexcept
{
    return cannot_move(from, to) ? answer(ssize_t{-EINVAL})
                                 : real_sendfile(to, from, offset, count);
}

ssize_t sendfile64(int to, int from, off64_t *offset, size_t count) noexcept
{
    return cannot_move(from, to) ? answer(ssize_t{-EINVAL})
                                 : real_sendfile64(to, from, offset, count);
}

ssize_t copy_file_range(int from, off64_t *from_offset, int to, off64_t *to_offset, size_t count,
                        unsigned flags)
{
    return cannot_move(from, to)
               ? answer(ssize_t{-EINVAL})
               : real_copy_file_range(from, from_offset, to, to_offset, count, flags);
}

} // extern "C"
