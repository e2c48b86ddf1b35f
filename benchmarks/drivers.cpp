#include "benchmarks/drivers.h"

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "board_hal.h"
#include "board_hal_cpld.h"

namespace {

constexpr uint32_t flash_size = 0x800000;
constexpr uint32_t erase_size = 0x10000;
constexpr size_t environment_size = 8192;
constexpr uint8_t kcs_status_command = 0x32;
constexpr uint8_t kcs_idle = 4;

std::string flash_path;
std::string environment_path;

// An environment as a boot loader keeps it; 40 variables.
std::vector<uint8_t> environment_block()
{
    std::string text;
    for (int i = 0; i < 39; ++i) {
        text +=
            "variable" + std::to_string(i) + "=" + std::string(20, static_cast<char>('a' + i % 26));
        text += '\0';
    }
    text += "bootdelay=3";
    text += std::string(2, '\0');
    std::vector<uint8_t> block(environment_size);
    std::copy(text.begin(), text.end(), block.begin() + 4);
    const uint32_t checksum = crc32(0, block.data() + 4, environment_size - 4);
    memcpy(block.data(), &checksum, sizeof(checksum));
    return block;
}

// In a file system of memory, with a path that every program understands; gone
// when the program ends.
std::string memory(const char *name, const std::vector<uint8_t> &bytes)
{
    static std::vector<std::string> files;
    std::string path = std::string("/dev/shm/board_hal_") + name + "_XXXXXX";
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0) {
        return {};
    }
    if (files.empty()) {
        atexit([] {
            for (const std::string &file : files) {
                unlink(file.c_str());
            }
        });
    }
    files.push_back(path);
    const bool written =
        write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    close(descriptor);
    return written ? path : std::string();
}

// The node behind a path of the board's.
const char *node_of(const char *path)
{
    if (strcmp(path, "/dev/mtdblock2") == 0) {
        return environment_path.c_str();
    }
    if (strcmp(path, "/dev/mtd5") == 0 || strcmp(path, "/dev/mtd6") == 0) {
        return flash_path.c_str();
    }
    return path;
}

} // namespace

bool start_drivers()
{
    void *const window =
        mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    g_cpld_base_addr = static_cast<uint8_t *>(window);
    dev_handle = open("/dev/zero", O_RDWR);
    flash_path = memory("flash", std::vector<uint8_t>(flash_size, 0xFF));
    environment_path = memory("environment", environment_block());
    if (window == MAP_FAILED || dev_handle < 0 || flash_path.empty() || environment_path.empty()) {
        perror("no memory for the drivers");
        return false;
    }
    std::thread([] {
        while (true) {
            pause();
        }
    }).detach();
    return true;
}

std::string file_of_memory(const char *name, size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<uint8_t> bytes(size);
    for (uint8_t &byte : bytes) {
        byte = static_cast<uint8_t>(random());
    }
    return memory(name, bytes);
}

const std::string &environment_file()
{
    return environment_path;
}

void silence()
{
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(args, int) : 0;
    va_end(args);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, node_of(path), flags, mode));
}

// Under a name of its own: of read, the compiler knows that it takes nothing out
// of the buffer. The FPGA is always idle, so that a message may be sent.
ssize_t driver_read(int descriptor, void *buffer, size_t count) __asm__("read");

ssize_t driver_read(int descriptor, void *buffer, size_t count)
{
    auto *const record = static_cast<uint8_t *>(buffer);
    // A request's command code is in the buffer; other reads bring none.
    const bool asks_status =
        descriptor == dev_handle && count == 1 && record[0] == kcs_status_command;
    const auto result = syscall(SYS_read, descriptor, buffer, count);
    if (asks_status) {
        record[0] = kcs_idle;
    }
    return result;
}

// A flash without delays; erasing costs one system call and the filling.
int ioctl(int descriptor, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void *const argument = va_arg(args, void *);
    va_end(args);
    switch (request) {
    case MEMGETINFO: {
        auto *const info = static_cast<mtd_info_user *>(argument);
        *info = {};
        info->type = MTD_NORFLASH;
        info->size = flash_size;
        info->erasesize = erase_size;
        return 0;
    }
    case MEMERASE: {
        const auto *const block = static_cast<const erase_info_user *>(argument);
        static const std::vector<uint8_t> erased(erase_size, 0xFF);
        return pwrite(descriptor, erased.data(), block->length, static_cast<off_t>(block->start)) <
                       0
                   ? -1
                   : 0;
    }
    default:
        return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
    }
}

int vos_system(const char *, char *const[])
{
    return 0;
}

} // extern "C"
