// Arbitrary program files, lengths, offsets and components through the operation
// that hands a program to the CPLD driver, and the built-in programs beside it.
// The record that reaches the driver is rebuilt here and compared.
//
// An input is: the trouble (1 byte), the byte that fills the file (1), the
// file's length as it is looked up (4, little-endian) and as it is when it is
// read (4, both as length_of takes them), the component (4), the offset (4), the driver's result
// (4), the type of the built-in program (4), and the bytes at the file's start.

#include "board_hal.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support/input.h"
#include "fuzz/support/printed.h"

namespace {

using fuzz::Input;
using fuzz::next_of;
using fuzz::require;

using Bytes = std::vector<uint8_t>;

constexpr const char *device_path = "/dev/ipmc_cpld";
constexpr const char *program_path = "/fuzz/program";
constexpr int device_fd = 1 << 20; // above every descriptor of the process
constexpr uint32_t header_size = 8;
constexpr uint32_t area_size = 524288;
constexpr unsigned long run_load_record = 0x40046B01;
constexpr unsigned long run_command_record = 0x40046B02;

enum class Trouble : uint8_t { none, device_open, lookup, file_open, count };

struct Driver {
    Trouble trouble = Trouble::none;
    int64_t length = 0; // as the file is looked up
    Bytes file;         // as it is read
    long long file_at = 0;
    int result = 0;
    bool device_open = false;
    bool file_open = false;
    unsigned long request = 0; // 0 is none
    Bytes record;
};

Driver &driver()
{
    static auto *const kept = new Driver;
    return *kept;
}

ssize_t file_read(void *, char *buffer, size_t count)
{
    const auto start = std::min(driver().file.size(), static_cast<size_t>(driver().file_at));
    count = std::min(count, driver().file.size() - start);
    std::copy_n(driver().file.begin() + static_cast<std::ptrdiff_t>(start), count, buffer);
    driver().file_at += static_cast<long long>(count);
    return static_cast<ssize_t>(count);
}

ssize_t file_write(void *, const char *, size_t)
{
    require(false, "a program file is not written");
    return 0;
}

int file_seek(void *, off64_t *offset, int whence)
{
    const long long at = (whence == SEEK_CUR ? driver().file_at : 0) + *offset;
    if (at < 0 || whence == SEEK_END) {
        errno = EINVAL;
        return -1;
    }
    driver().file_at = *offset = at;
    return 0;
}

int file_close(void *)
{
    driver().file_open = false;
    return 0;
}

// All that the driver looks at: the header, the program and the trailer.
Bytes record_of(const uint8_t *record)
{
    uint32_t length = 0;
    for (unsigned i = 0; i < 4; ++i) {
        length |= static_cast<uint32_t>(record[i]) << (8 * i);
    }
    require(length <= area_size - 3, "the record holds its program");
    const uint32_t end = header_size + length;
    return Bytes(record, record + end + (record[end + 2] == 6 ? 5 : 3));
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    if (strcmp(path, device_path) != 0) {
        va_list args;
        va_start(args, flags);
        const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(args, unsigned) : 0;
        va_end(args);
        return next_of(&open, "open")(path, flags, mode);
    }
    require(flags == O_RDWR && !driver().device_open, "opened once, to read and write");
    if (driver().trouble == Trouble::device_open) {
        errno = ENODEV;
        return -1;
    }
    driver().device_open = true;
    return device_fd;
}

int close(int fd)
{
    if (fd != device_fd) {
        return next_of(&close, "close")(fd);
    }
    require(driver().device_open, "closed once");
    driver().device_open = false;
    return 0;
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    void *const argument = va_arg(args, void *);
    va_end(args);
    if (fd != device_fd) {
        return next_of(&ioctl, "ioctl")(fd, request, argument);
    }
    require(driver().device_open && driver().request == 0, "one request to an open driver");
    driver().request = request;
    driver().record = record_of(static_cast<const uint8_t *>(argument));
    return driver().result;
}

int stat(const char *path, struct stat *status) noexcept
{
    if (strcmp(path, program_path) != 0) {
        return next_of(&stat, "stat")(path, status);
    }
    if (driver().trouble == Trouble::lookup) {
        errno = ENOENT;
        return -1;
    }
    status->st_size = driver().length;
    return 0;
}

FILE *fopen(const char *path, const char *mode)
{
    if (strcmp(path, program_path) != 0) {
        return next_of(&fopen, "fopen")(path, mode);
    }
    require(strcmp(mode, "r+b") == 0, "the file is opened for update");
    if (driver().trouble == Trouble::file_open) {
        return nullptr;
    }
    driver().file_open = true;
    driver().file_at = 0;
    return fopencookie(
        &driver(), mode,
        {.read = file_read, .write = file_write, .seek = file_seek, .close = file_close});
}

} // extern "C"

namespace {

void restart()
{
    driver().request = 0;
    driver().record.clear();
    fuzz::printed();
}

void require_released()
{
    require(!driver().device_open && !driver().file_open, "nothing stays open");
}

void add_trailer(Bytes &record, uint8_t component)
{
    record.insert(record.end(), {0x00, 0x43, component});
    if (component == 6) {
        record.insert(record.end(), {0x00, 0xFC});
    }
}

uint32_t trailer_size(uint8_t component)
{
    return component == 6 ? 5 : 3;
}

// What a load says before it reaches the driver; empty if it gets there.
std::string refusal(uint8_t component, int32_t offset)
{
    const int64_t length = driver().trouble == Trouble::lookup ? -1 : driver().length;
    if (driver().trouble == Trouble::device_open) {
        return "cpld_init: open fail\r\n";
    }
    if (length <= 0) {
        return "Get file length(" + std::to_string(length) + ") is invalid\r\n";
    }
    const std::string path = program_path;
    if (driver().trouble == Trouble::file_open) {
        return "open file " + path + " fail\r\n";
    }
    if (offset < 0) {
        return "seek file " + path + " fail\r\n";
    }
    if (offset + length > static_cast<int64_t>(driver().file.size())) {
        return "read file " + path + " fail\r\n";
    }
    return length + trailer_size(component) > area_size ? "get_pcb_ver or get_board_id  is fail\r\n"
                                                        : "";
}

void load(uint32_t component_id, int32_t offset)
{
    restart();
    const auto component = static_cast<uint8_t>(component_id);
    const std::string expected = refusal(component, offset);
    const int result = load_cpld(program_path, component_id, offset, 0);
    require_released();
    require(fuzz::printed() == expected, "a load says why it is refused");
    if (!expected.empty()) {
        require(result == -1 && driver().request == 0, "a refused load reaches no driver");
        return;
    }
    require(result == driver().result, "the driver's result is that of the load");
    require(driver().request == run_load_record, "a program is loaded");
    const auto length = static_cast<uint32_t>(driver().length);
    Bytes record = {static_cast<uint8_t>(length),
                    static_cast<uint8_t>(length >> 8),
                    static_cast<uint8_t>(length >> 16),
                    0,
                    0x83,
                    0,
                    0,
                    0};
    record.insert(record.end(), driver().file.begin() + offset,
                  driver().file.begin() + offset + length);
    add_trailer(record, component);
    require(driver().record == record, "the record holds the file");
}

void command(int32_t type, uint32_t component_id)
{
    restart();
    const auto component = static_cast<uint8_t>(component_id);
    const int result = cpld_cmd(type, component_id);
    require_released();
    const bool known = type == 1 || (type == 2 && (component == 5 || component == 6));
    if (!known || driver().trouble == Trouble::device_open) {
        require(result == -1 && driver().request == 0, "a refused command reaches no driver");
        return;
    }
    require(result == driver().result, "the driver's result is that of the command");
    require(driver().request == (type == 1 ? run_command_record : run_load_record),
            "a command has its own request");
    Bytes trailer;
    add_trailer(trailer, type == 1 ? uint8_t{5} : component);
    require(driver().record.size() > header_size + trailer.size() && driver().record[4] == 0x81 &&
                std::equal(trailer.rbegin(), trailer.rend(), driver().record.rbegin()),
            "a command's record has its kind and component");
}

// Mostly short files, because long ones take their time; some around the largest
// one.
int64_t length_of(int32_t number)
{
    const auto bits = static_cast<uint32_t>(number);
    return bits % 8 == 7 ? area_size - 16 + bits / 8 % 2500 : bits / 8 % 5000;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    driver().trouble = static_cast<Trouble>(input.byte() % static_cast<uint8_t>(Trouble::count));
    const uint8_t fill = input.byte();
    const auto looked_up = static_cast<int32_t>(input.number());
    driver().length = looked_up < 0 ? looked_up : length_of(looked_up);
    driver().file.assign(static_cast<size_t>(length_of(static_cast<int32_t>(input.number()))),
                         fill);
    const uint32_t component = input.number();
    const auto offset = static_cast<int32_t>(input.number());
    driver().result = static_cast<int32_t>(input.number());
    const auto type = static_cast<int32_t>(input.number());
    input.put_rest(driver().file, 0);
    load(component, offset);
    command(type, component);
    return 0;
}
