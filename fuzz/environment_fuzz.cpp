// Arbitrary environment blocks, names, values and buffer sizes through the three
// operations. The device is a heap block of exactly its size, behind this
// program's own open, mmap, munmap and close.
//
// An input is: the fault (1 byte), the byte that fills the block (1), where in
// the block the given bytes go (2, little-endian), the operations, and the given
// bytes. An operation is its kind (1), the length of the name (1) and the name,
// then what the kind needs; see run_operation.

#include "board_hal.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/support/input.h"

namespace {

using fuzz::Input;
using fuzz::next_of;
using fuzz::require;

constexpr std::size_t block_size = 8192;
constexpr std::size_t data_start = 4;
constexpr int device_fd = 1 << 20; // above every descriptor of the process

enum class Fault : uint8_t { none, open, map, map_at_zero };

// The partition and what the library holds of it.
struct Device {
    std::unique_ptr<uint8_t[]> block;
    Fault fault = Fault::none;
    bool open = false;
    bool mapped = false;
    unsigned opens = 0;
};

Device device;

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    if (strcmp(path, "/dev/mtdblock2") != 0) {
        va_list args;
        va_start(args, flags);
        const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(args, unsigned) : 0;
        va_end(args);
        return next_of(&open, "open")(path, flags, mode);
    }
    require(flags == O_RDWR, "opened read-write and nothing else");
    require(!device.open, "opened once at a time");
    ++device.opens;
    if (device.fault == Fault::open) {
        errno = ENODEV;
        return -1;
    }
    device.open = true;
    return device_fd;
}

int close(int fd)
{
    if (fd != device_fd) {
        return next_of(&close, "close")(fd);
    }
    require(device.open && !device.mapped, "closed once, after the mapping has gone");
    device.open = false;
    return 0;
}

void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    if (fd != device_fd) {
        return next_of(&mmap, "mmap")(address, length, protection, flags, fd, offset);
    }
    require(device.open && !device.mapped, "mapped once, while open");
    require(address == nullptr && length == block_size && offset == 0, "the block is mapped");
    require(protection == (PROT_READ | PROT_WRITE) && flags == MAP_SHARED, "mapped to be written");
    if (device.fault == Fault::map) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    if (device.fault == Fault::map_at_zero) {
        return nullptr;
    }
    device.mapped = true;
    return device.block.get();
}

int munmap(void *address, size_t length) noexcept
{
    require(address != nullptr, "nothing is unmapped at address 0");
    if (!device.mapped || address != device.block.get()) {
        return next_of(&munmap, "munmap")(address, length);
    }
    require(length == block_size, "the whole block is unmapped");
    device.mapped = false;
    return 0;
}

// Mapping faults would fill the fuzzer's own log.
void perror(const char *) {}

} // extern "C"

namespace {

using Block = std::vector<uint8_t>;

Block contents()
{
    return Block(device.block.get(), device.block.get() + block_size);
}

// A buffer of exactly its size on the heap, every byte marked.
class Buffer {
public:
    explicit Buffer(std::size_t size)
        : bytes_(static_cast<char *>(malloc(size))), size_(static_cast<uint32_t>(size))
    {
        memset(bytes_, mark, size);
    }
    ~Buffer() { free(bytes_); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    int get(const std::string &name) { return get_uboot_env(name.c_str(), bytes_, size_); }
    bool holds_text() const { return memchr(bytes_, '\0', size_) != nullptr; }
    bool untouched() const
    {
        return std::all_of(bytes_, bytes_ + size_, [](char byte) { return byte == mark; });
    }
    bool holds(const std::string &text) const { return text == bytes_; }

private:
    static constexpr char mark = '\x55';
    char *bytes_;
    uint32_t size_;
};

bool checksum_holds(const Block &block)
{
    const uint32_t crc = crc32(0, &block[data_start], block_size - data_start);
    for (unsigned i = 0; i < data_start; ++i) {
        if (block[i] != static_cast<uint8_t>(crc >> (8 * i))) {
            return false;
        }
    }
    return true;
}

void get(const std::string &name, std::size_t size)
{
    const Block before = contents();
    Buffer buffer(size);
    const int result = buffer.get(name);
    if (device.fault != Fault::none) {
        require(result == -2 && buffer.untouched(), "get fails without a device");
    }
    require(result == 0 || result == -1 || result == -2, "get has three results");
    require(buffer.untouched() || buffer.holds_text(), "get writes a text");
    require(contents() == before, "get writes nothing");
    require(get_uboot_env(name.c_str(), nullptr, 0) == result, "get takes a null buffer");
}

void print(const char *name)
{
    const Block before = contents();
    const int result = print_uboot_env(name);
    require(result == 0 || result == -1 || result == -2, "print has three results");
    require(device.fault == Fault::none || result == -2, "print fails without a device");
    require(contents() == before, "print writes nothing");
}

void check_set(const std::string &name, const char *value, int result, const Block &before)
{
    if (result != 0) {
        require(result == -1 || result == -2, "set has three results");
        require(contents() == before, "a failing set writes nothing");
        return;
    }
    require(device.fault == Fault::none, "set fails without a device");
    const Block after = contents();
    require(checksum_holds(after), "set writes the checksum");
    // A single NUL in front of stale text still ends the walk, and a name with
    // "=" is not the name of the entry that it makes.
    if (value != nullptr && after[data_start] != 0 && name.find('=') == std::string::npos) {
        Buffer buffer(block_size);
        require(buffer.get(name) == 0 && buffer.holds(value), "what was set can be read");
    }
}

void set(const std::string &name, const char *value)
{
    const Block before = contents();
    const unsigned opens = device.opens;
    const int result = set_uboot_env(name.c_str(), value);
    if (value == nullptr && name == "ubootpwd") {
        require(result == -2 && device.opens == opens, "the password is not deleted");
    }
    check_set(name, value, result, before);
}

std::string repeated(const std::string &text, std::size_t times)
{
    std::string result;
    for (std::size_t i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

enum Kind : uint8_t { kind_get, kind_set, kind_delete, kind_print, kind_print_all, kind_count };

struct Operation {
    Kind kind;
    std::string name;
    std::size_t size; // of the buffer
    std::string value;
};

Operation read_operation(Input &input)
{
    Operation operation{static_cast<Kind>(input.byte() % kind_count), {}, 0, {}};
    operation.name = input.text(input.byte());
    if (operation.kind == kind_get) {
        operation.size = input.word();
    } else if (operation.kind == kind_set) {
        const std::string value = input.text(input.byte());
        operation.value = repeated(value, input.byte());
    }
    return operation;
}

void run_operation(const Operation &operation)
{
    switch (operation.kind) {
    case kind_get:
        get(operation.name, operation.size);
        break;
    case kind_set:
        set(operation.name, operation.value.c_str());
        break;
    case kind_delete:
        set(operation.name, nullptr);
        break;
    case kind_print:
        print(operation.name.c_str());
        break;
    default:
        print(nullptr);
        break;
    }
    require(!device.open && !device.mapped, "nothing stays open");
}

std::vector<Operation> read_operations(Input &input)
{
    std::vector<Operation> operations;
    for (unsigned count = input.byte() % 8; count > 0; --count) {
        operations.push_back(read_operation(input));
    }
    return operations;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    require(freopen("/dev/null", "w", stdout) != nullptr, "messages go nowhere");
    device.block = std::make_unique<uint8_t[]>(block_size);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    const auto fault = static_cast<Fault>(input.byte() % 4);
    memset(device.block.get(), input.byte(), block_size);
    const std::size_t place = input.word() % block_size;
    const std::vector<Operation> operations = read_operations(input);
    if (!input.empty()) {
        memcpy(&device.block[place], input.rest(), std::min(input.left(), block_size - place));
    }
    device.fault = fault;
    for (const Operation &operation : operations) {
        run_operation(operation);
    }
    device.fault = Fault::none;
    return 0;
}
