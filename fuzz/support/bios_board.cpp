#include "fuzz/support/bios_board.h"

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "board_hal.h"
#include "fuzz/support/input.h"
#include "fuzz/support/lock_watch.h"
#include "platform/vos.h"

namespace {

using fuzz::bios_board;
using fuzz::BiosBoard;
using fuzz::Bytes;
using fuzz::next_of;
using fuzz::require;
using fuzz::Trouble;

// Above every descriptor of the process.
constexpr int device_fd = 1 << 20;
constexpr int image_fd = device_fd + 1;

int fail(int error)
{
    errno = error;
    return -1;
}

// The part of a request that lies in the bytes.
size_t available(const Bytes &bytes, long long at, size_t count)
{
    const auto start = std::min(bytes.size(), static_cast<size_t>(at));
    return std::min(count, bytes.size() - start);
}

// The position may lie behind the end, where there is nothing to copy.
void copy_out(const Bytes &from, long long at, void *to, size_t count)
{
    if (count > 0) {
        memcpy(to, from.data() + at, count);
    }
}

// ---- the flash ----

int open_device(BiosBoard &board)
{
    require(!board.device_open, "the flash is opened once at a time");
    if (!board.driver_loaded || board.strikes(Trouble::device_open)) {
        return fail(ENODEV);
    }
    board.device_open = true;
    board.device_at = 0;
    return device_fd;
}

ssize_t read_device(BiosBoard &board, void *buffer, size_t count)
{
    count = available(board.flash, board.device_at, count);
    if (count > 0 && board.strikes(Trouble::device_read)) {
        --count;
    }
    copy_out(board.flash, board.device_at, buffer, count);
    board.device_at += static_cast<long long>(count);
    return static_cast<ssize_t>(count);
}

// Programming clears bits only. By words, because this is where time goes.
void program(uint8_t *cells, const uint8_t *data, size_t count)
{
    uint64_t cell = 0;
    uint64_t word = 0;
    size_t size = sizeof(word);
    for (size_t at = 0; at < count; at += size) {
        size = std::min(sizeof(word), count - at);
        memcpy(&cell, cells + at, size);
        memcpy(&word, data + at, size);
        cell &= word;
        memcpy(cells + at, &cell, size);
    }
}

ssize_t write_device(BiosBoard &board, const uint8_t *data, size_t count)
{
    count = available(board.flash, board.device_at, count);
    if (count > 0 && board.strikes(Trouble::device_write)) {
        --count;
    }
    if (count > 0) {
        program(board.flash.data() + board.device_at, data, count);
        if (board.strikes(Trouble::device_lie)) {
            board.flash[static_cast<size_t>(board.device_at) + count / 2] ^= 0x10;
        }
    }
    board.device_at += static_cast<long long>(count);
    return static_cast<ssize_t>(count);
}

int erase_device(BiosBoard &board, const erase_info_user &record)
{
    const auto size = static_cast<uint32_t>(board.flash.size());
    if (record.start % fuzz::erase_size != 0 || record.length % fuzz::erase_size != 0 ||
        record.start > size || record.length > size - record.start) {
        return fail(EINVAL);
    }
    if (board.strikes(Trouble::device_erase)) {
        return fail(EIO);
    }
    std::fill_n(board.flash.begin() + record.start, record.length, uint8_t{0xFF});
    return 0;
}

int control_device(BiosBoard &board, unsigned long request, void *argument)
{
    require(board.device_open, "an open flash is controlled");
    if (request == MEMERASE) {
        return erase_device(board, *static_cast<erase_info_user *>(argument));
    }
    require(request == MEMGETINFO, "a request that the driver knows");
    auto *const info = static_cast<mtd_info_user *>(argument);
    memset(info, 0, sizeof(*info));
    info->size = static_cast<uint32_t>(board.flash.size());
    info->erasesize = fuzz::erase_size;
    return 0;
}

// ---- the image ----

int open_image(BiosBoard &board)
{
    require(!board.image_open, "the image is opened once at a time");
    if (board.strikes(Trouble::image_open)) {
        return fail(ENOENT);
    }
    board.image_open = true;
    board.image_at = 0;
    return image_fd;
}

ssize_t read_image(BiosBoard &board, long long &at, void *buffer, size_t count)
{
    count = available(board.image, at, count);
    if (count > 0 && board.strikes(Trouble::image_read)) {
        count = 0;
    }
    copy_out(board.image, at, buffer, count);
    at += static_cast<long long>(count);
    return static_cast<ssize_t>(count);
}

// ---- streams ----

struct Stream {
    long long at;
};

Stream the_stream;

ssize_t stream_read(void *, char *buffer, size_t count)
{
    return read_image(bios_board(), the_stream.at, buffer, count);
}

// The dump, from its start; 0 is a failure here.
ssize_t stream_write(void *, const char *data, size_t count)
{
    BiosBoard &board = bios_board();
    if (board.strikes(Trouble::dump_write)) {
        errno = ENOSPC;
        return 0;
    }
    board.dump.insert(board.dump.end(), data, data + count);
    return static_cast<ssize_t>(count);
}

int stream_seek(void *, off64_t *offset, int whence)
{
    const long long size = static_cast<long long>(bios_board().image.size());
    const long long base = whence == SEEK_END ? size : whence == SEEK_CUR ? the_stream.at : 0;
    if (base + *offset < 0) {
        return fail(EINVAL);
    }
    the_stream.at = base + *offset;
    *offset = the_stream.at;
    return 0;
}

int stream_close(void *)
{
    --bios_board().streams;
    return 0;
}

FILE *open_stream(BiosBoard &board, const char *mode)
{
    require(board.streams == 0, "one stream at a time");
    FILE *const file = fopencookie(
        &the_stream, mode,
        {.read = stream_read, .write = stream_write, .seek = stream_seek, .close = stream_close});
    require(file != nullptr, "there is memory for a stream");
    the_stream.at = 0;
    ++board.streams;
    return file;
}

} // namespace

namespace fuzz {

BiosBoard &bios_board()
{
    static auto *const board = new BiosBoard;
    return *board;
}

void BiosBoard::restart()
{
    dump.clear();
    controller_owns = false;
    driver_loaded = false;
    calls = 0;
}

void BiosBoard::require_released() const
{
    require(!device_open && !image_open && streams == 0, "nothing stays open");
    require(!driver_loaded, "the driver is unloaded");
    require_unlocked();
}

} // namespace fuzz

extern "C" {

int open(const char *path, int flags, ...)
{
    if (strcmp(path, fuzz::bios_device) == 0) {
        return open_device(bios_board());
    }
    if (strcmp(path, fuzz::image_path) == 0) {
        return open_image(bios_board());
    }
    va_list args;
    va_start(args, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(args, unsigned) : 0;
    va_end(args);
    return next_of(&open, "open")(path, flags, mode);
}

// An image that is not open is closed after a device that does not open.
int close(int fd)
{
    if (fd != device_fd && fd != image_fd) {
        return next_of(&close, "close")(fd);
    }
    bool &is_open = fd == device_fd ? bios_board().device_open : bios_board().image_open;
    require(is_open || fd == image_fd, "an open flash is closed");
    const bool was_open = is_open;
    is_open = false;
    return was_open ? 0 : fail(EBADF);
}

ssize_t read(int fd, void *buffer, size_t count)
{
    BiosBoard &board = bios_board();
    if (fd == device_fd) {
        require(board.device_open, "an open flash is read");
        return read_device(board, buffer, count);
    }
    if (fd == image_fd) {
        require(board.image_open, "an open image is read");
        return read_image(board, board.image_at, buffer, count);
    }
    return next_of(&read, "read")(fd, buffer, count);
}

ssize_t write(int fd, const void *data, size_t count)
{
    if (fd != device_fd) {
        return next_of(&write, "write")(fd, data, count);
    }
    require(bios_board().device_open, "an open flash is written");
    return write_device(bios_board(), static_cast<const uint8_t *>(data), count);
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    if (fd != device_fd && fd != image_fd) {
        return next_of(&lseek, "lseek")(fd, offset, whence);
    }
    require(whence == SEEK_SET, "positions count from the start");
    if (offset < 0 || (fd == device_fd && bios_board().strikes(Trouble::device_seek))) {
        return fail(EINVAL);
    }
    (fd == device_fd ? bios_board().device_at : bios_board().image_at) = offset;
    return offset;
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    void *const argument = va_arg(args, void *);
    va_end(args);
    return fd == device_fd ? control_device(bios_board(), request, argument)
                           : next_of(&ioctl, "ioctl")(fd, request, argument);
}

int fstat(int fd, struct stat *status) noexcept
{
    if (fd != image_fd) {
        return next_of(&fstat, "fstat")(fd, status);
    }
    status->st_size = static_cast<off_t>(bios_board().image.size());
    return 0;
}

FILE *fopen(const char *path, const char *mode)
{
    BiosBoard &board = bios_board();
    if (strcmp(path, fuzz::image_path) == 0) {
        require(strcmp(mode, "rb") == 0, "the image is read");
        return board.strikes(Trouble::image_open) ? nullptr : open_stream(board, mode);
    }
    if (strcmp(path, fuzz::dump_path) == 0) {
        require(strcmp(mode, "w+b") == 0, "the dump is written");
        return open_stream(board, mode);
    }
    return next_of(&fopen, "fopen")(path, mode);
}

int usleep(useconds_t)
{
    return 0;
}

unsigned sleep(unsigned)
{
    return 0;
}

int vos_system(const char *program, char *const *)
{
    BiosBoard &board = bios_board();
    const bool load = strcmp(program, "/sbin/insmod") == 0;
    if (load && board.strikes(Trouble::driver)) {
        return 1;
    }
    board.driver_loaded = load;
    return 0;
}

int set_bios_owner(uint8_t owner)
{
    BiosBoard &board = bios_board();
    if (board.strikes(Trouble::owner)) {
        return -1;
    }
    board.controller_owns = owner != 0;
    return 0;
}

} // extern "C"
