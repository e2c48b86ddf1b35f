// Arbitrary answers of the FPGA driver, and arbitrary lengths of the callers,
// through the operations that ask it for data. Every buffer of a caller is a
// heap block of exactly the size that the operation is told.
//
// An input is: the operation (1 byte), its two numbers (4 each, little-endian),
// and the driver's answers. An answer is its result (see next_result) and the
// bytes of as much of the record as the driver fills.

#include "board_hal.h"

#include <errno.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "fuzz/support/input.h"
#include "fuzz/support/lock_watch.h"
#include "fuzz/support/printed.h"

namespace {

using fuzz::Input;
using fuzz::next_of;
using fuzz::require;

using Bytes = std::vector<uint8_t>;

// Above every descriptor of the process.
constexpr int fpga_fd = 1 << 20;
constexpr int i2c_fd = fpga_fd + 1;

// Command codes whose records the driver measures by itself, whatever count it
// is given.
constexpr uint8_t cmd_ipmb_data = 0x11;
constexpr uint8_t cmd_ipmb_sm_data = 0x16;
constexpr uint8_t cmd_i2c_transfer = 0x21;
constexpr uint8_t cmd_register = 0x61;

struct Driver {
    Input *input = nullptr;
    unsigned calls = 0;
    int result = 0; // of the last call
    Bytes answer;   // of the last read
    Bytes sent;     // by the last write
};

Driver &driver()
{
    static auto *const kept = new Driver;
    return *kept;
}

// Success as one command or the other takes it, the two kinds of failure, or
// anything.
int next_result(size_t count)
{
    ++driver().calls;
    Input &input = *driver().input;
    const int results[] = {static_cast<int>(count), 0, 1, -1, 10001};
    const uint8_t choice = input.byte();
    driver().result =
        choice < std::size(results) ? results[choice] : static_cast<int>(input.number());
    return driver().result;
}

void fill(uint8_t *to, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        to[i] = driver().input->byte();
    }
}

// How much of a record the driver fills.
size_t answer_size(const uint8_t *record, size_t count)
{
    return count > 0 && record[0] == cmd_register ? 4 : count;
}

// How much of a record the driver looks at.
size_t record_size(const uint8_t *record, size_t count)
{
    switch (count == 0 ? 0 : record[0]) {
    case cmd_register:
        return 7;
    case cmd_ipmb_data:
    case cmd_ipmb_sm_data:
        return std::max<size_t>(5 + record[2], count);
    case cmd_i2c_transfer: // refused beyond the longest transfer
        return record[3] > 64 ? count : std::max<size_t>(6 + record[3], count);
    default:
        return count;
    }
}

int transfer(const i2c_rdwr_ioctl_data &data)
{
    for (const i2c_msg *msg = data.msgs; msg < data.msgs + data.nmsgs; ++msg) {
        if ((msg->flags & I2C_M_RD) != 0) {
            fill(msg->buf, msg->len);
        } else {
            driver().sent.assign(msg->buf, msg->buf + msg->len);
        }
    }
    return next_result(data.nmsgs);
}

} // namespace

extern "C" {

ssize_t read(int fd, void *buffer, size_t count)
{
    if (fd != fpga_fd) {
        return next_of(&read, "read")(fd, buffer, count);
    }
    auto *const record = static_cast<uint8_t *>(buffer);
    const int result = next_result(count);
    const size_t size = answer_size(record, count);
    fill(record, size);
    driver().answer.assign(record, record + size);
    return result;
}

ssize_t write(int fd, const void *data, size_t count)
{
    if (fd != fpga_fd) {
        return next_of(&write, "write")(fd, data, count);
    }
    const auto *const record = static_cast<const uint8_t *>(data);
    driver().sent.assign(record, record + record_size(record, count));
    return next_result(count);
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    if (fd != fpga_fd) {
        return next_of(&lseek, "lseek")(fd, offset, whence);
    }
    require(whence == SEEK_SET, "positions count from the start");
    return driver().input->byte() == 1 ? -1 : offset;
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list args;
    va_start(args, request);
    void *const argument = va_arg(args, void *);
    va_end(args);
    if (fd == i2c_fd) {
        require(request == I2C_RDWR, "the bus is asked for transfers");
        return transfer(*static_cast<i2c_rdwr_ioctl_data *>(argument));
    }
    if (fd != fpga_fd) {
        return next_of(&ioctl, "ioctl")(fd, request, argument);
    }
    fill(static_cast<uint8_t *>(argument), sizeof(uint32_t));
    return next_result(0);
}

int usleep(useconds_t)
{
    return 0;
}

} // extern "C"

namespace {

constexpr uint8_t mark = 0x55;

// A caller's buffer, every byte marked.
class Buffer {
public:
    explicit Buffer(int64_t size)
        : size_(static_cast<size_t>(std::max<int64_t>(size, 0))),
          bytes_(static_cast<uint8_t *>(malloc(size_)))
    {
        std::fill_n(bytes_, size_, mark);
    }
    ~Buffer() { free(bytes_); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    uint8_t *bytes() { return bytes_; }
    bool untouched(size_t from = 0) const
    {
        return std::all_of(bytes_ + std::min(from, size_), bytes_ + size_,
                           [](uint8_t byte) { return byte == mark; });
    }
    bool begins_with(const uint8_t *other, size_t count) const
    {
        return count <= size_ && std::equal(other, other + count, bytes_);
    }

private:
    size_t size_;
    uint8_t *bytes_;
};

constexpr uint32_t marked_word = 0x55555555;

int negated(int result)
{
    return result > 9999 ? -result : result;
}

// Lengths around those that the operations take, negative ones among them.
int32_t near(uint32_t number)
{
    return static_cast<int32_t>(number % 2400) - 200;
}

template <size_t N> bool one_of(int result, const int (&results)[N])
{
    return std::find(results, results + N, result) != results + N;
}

size_t count_of(int32_t length)
{
    return length < 0 ? 0 : static_cast<size_t>(length);
}

// ---- messages ----

template <int (*Receive)(uint8_t *, int32_t, uint8_t *, int32_t)>
void receive_message(uint32_t first, uint32_t second)
{
    const int32_t size = near(first);
    Buffer buffer(size);
    uint8_t channel = mark;
    const int result = Receive(buffer.bytes(), size, &channel, static_cast<int32_t>(second));
    const int answered = negated(driver().result);
    if (answered < 1) {
        require(result == answered && buffer.untouched() && channel == mark,
                "no message, no change");
        return;
    }
    const Bytes &answer = driver().answer;
    require(result == std::min<int>(answer[1], 254), "the message's length is the result");
    require(channel == answer[0], "the message's channel is given");
    // Behind what the driver fills the record is zero.
    Bytes message(answer.begin() + 4, answer.end());
    message.resize(254, 0);
    const size_t kept = std::min<size_t>(count_of(result), count_of(size));
    require(buffer.begins_with(message.data(), kept) && buffer.untouched(kept),
            "as much as the buffer holds is given");
}

template <int (*Receive)(uint8_t *, int32_t), int Max> void receive(uint32_t first, uint32_t)
{
    const int32_t length = near(first);
    Buffer buffer(std::max(length, 1)); // the command goes into its first byte
    const int result = Receive(buffer.bytes(), length);
    if (length > Max) {
        require(result == -2 && driver().calls == 0 && buffer.untouched(), "a length is refused");
        return;
    }
    require(result == negated(driver().result), "the driver's result is given");
    require(buffer.begins_with(driver().answer.data(), driver().answer.size()),
            "the driver's answer is given");
}

template <int (*Send)(int32_t, const uint8_t *, int32_t, int32_t)>
void send_message(uint32_t first, uint32_t second)
{
    const int32_t length = near(first);
    const auto channel = static_cast<int32_t>(second % 5) - 1;
    Buffer buffer(length);
    const int result = Send(channel, buffer.bytes(), length, static_cast<int32_t>(second));
    if (driver().calls == 0) {
        require(result == -2, "a message is refused");
        return;
    }
    require(length <= 254 && result == negated(driver().result), "the driver's result is given");
    require(driver().sent[2] == count_of(length) &&
                buffer.begins_with(driver().sent.data() + 5, count_of(length)),
            "the message is sent");
}

void kcs_send(uint32_t first, uint32_t)
{
    const int32_t length = near(first);
    Buffer buffer(length);
    const int result = kcs_write(buffer.bytes(), length);
    require(buffer.untouched(), "a message stays as it is");
    if (driver().calls < 2) {
        require(one_of(result, {-2, -5, -9}), "a message is refused");
        return;
    }
    require(length <= 100 && result == negated(driver().result), "the driver's result is given");
    require(driver().sent.size() == static_cast<size_t>(std::max(length + 2, 0)),
            "the whole record is sent");
}

void bt_send(uint32_t first, uint32_t)
{
    const int32_t length = near(first);
    Buffer buffer(std::max(length, 2)); // its header goes into the buffer
    const int result = bt_write(buffer.bytes(), length);
    if (driver().calls < 2) {
        require(one_of(result, {-2, -5, -9}) && buffer.untouched(), "a message is refused");
        return;
    }
    require(length <= 254 && result == negated(driver().result), "the driver's result is given");
    require(buffer.untouched(2) && driver().sent.size() == count_of(length),
            "the whole buffer is sent");
}

// ---- memory ----

void ram_read(uint32_t first, uint32_t second)
{
    const int32_t length = near(first);
    const int32_t offset = near(second);
    Buffer buffer(std::max(length, 1));
    const int result = reserved_ram_read(offset, buffer.bytes(), length);
    if (driver().calls == 0) {
        require(result == -2 && buffer.untouched(), "a read is refused");
        return;
    }
    require(length <= 1024 && offset + length <= 1024, "a read lies in the memory");
    require(result == driver().result, "the driver's result is given");
}

void ram_write(uint32_t first, uint32_t second)
{
    const int32_t length = near(first);
    const int32_t offset = near(second);
    Buffer buffer(length);
    const int result = reserved_ram_write(offset, buffer.bytes(), length);
    require(buffer.untouched(), "what is written stays as it is");
    if (driver().calls == 0) {
        require(result == -2, "a write is refused");
        return;
    }
    require(length <= 1024 && offset + length <= 1024, "a write lies in the memory");
    require(result == driver().result, "the driver's result is given");
}

void port80(uint32_t first, uint32_t)
{
    const int32_t length = near(first);
    Buffer buffer(std::max(length, 1));
    const int result = get_port80_data(length, buffer.bytes());
    if (length > 512) {
        require(result == -2 && driver().calls == 0 && buffer.untouched(), "a length is refused");
        return;
    }
    require(result == (driver().result >= 1 ? driver().result : -5), "port 80 has two results");
}

// ---- single values ----

template <int (*Get)(uint8_t *)> void get_byte(uint32_t, uint32_t)
{
    uint8_t value = mark;
    require(one_of(Get(&value), {0, -5}), "a byte has two results");
}

template <int (*Get)(int32_t, uint8_t *)> void get_byte_of(uint32_t first, uint32_t)
{
    uint8_t value = mark;
    const int result = Get(static_cast<int32_t>(first % 5) - 1, &value);
    require(one_of(result, {0, -2, -5}), "a channel's byte has three results");
    require(result != -2 || (value == mark && driver().calls == 0), "a refusal changes nothing");
}

template <int (*Get)(int32_t, int32_t *)> void get_status(uint32_t first, uint32_t)
{
    auto status = static_cast<int32_t>(marked_word);
    const int result = Get(static_cast<int32_t>(first % 5) - 1, &status);
    require(one_of(result, {0, -2, -5}), "a status has three results");
    require(one_of(status, {0, -10001, -10002, -10003, -10004, -10005}) || result == -2,
            "a status is one of six");
}

template <int (*Get)(int32_t, uint32_t *)> void get_i2c(uint32_t first, uint32_t)
{
    uint32_t status = marked_word;
    const int result = Get(static_cast<int32_t>(first % 5) - 1, &status);
    require(one_of(result, {0, -2, -5}), "a status has three results");
    require((status == marked_word) == (result != 0), "only a status is stored");
    require(result != 0 || status <= 4 || status == 10010 || status == 10011,
            "a status is one of seven");
}

template <int (*Get)(uint32_t *)> void get_word(uint32_t, uint32_t)
{
    uint32_t value = marked_word;
    require(one_of(Get(&value), {0, -5, -9}), "a word has three results");
}

void get_register(uint32_t first, uint32_t)
{
    uint32_t value = marked_word;
    const auto address = static_cast<int32_t>(first);
    const int result = get_fpga_regester(address, &value);
    if (address > 0xFFFF) {
        require(result == -2 && value == marked_word && driver().calls == 0,
                "an address is refused");
        return;
    }
    require(result == (driver().result >= 1 ? 0 : -5), "a register has two results");
    const Bytes &answer = driver().answer;
    require(value ==
                (answer[0] | static_cast<uint32_t>(answer[1]) << 8 |
                 static_cast<uint32_t>(answer[2]) << 16 | static_cast<uint32_t>(answer[3]) << 24),
            "a register's value is given");
}

void sol_prepare(uint32_t, uint32_t)
{
    uint32_t length = marked_word;
    uint32_t offset = marked_word;
    const int result = get_sol_data_prepare(&length, &offset);
    require(one_of(result, {0, -5, -9}), "a fetch has three results");
    require(result != -9 || (length == 0 && offset == marked_word), "no data, no offset");
    require(result != 0 || length != 0, "a fetch has data");
}

void black_box_prepare(uint32_t first, uint32_t second)
{
    require(one_of(get_blackbox_data_prepare(first, second), {0, -5}), "a fetch has two results");
}

void black_box_status(uint32_t first, uint32_t)
{
    require(one_of(set_blackbox_status(first), {0, -5}), "the black box has two results");
}

void slot_checksum(uint32_t, uint32_t)
{
    require(one_of(get_slot_id_checksum(), {0, -1, -5}), "a checksum has three results");
}

void jiffies(uint32_t, uint32_t)
{
    uint32_t count = marked_word;
    const int result = get_jiffies(&count);
    require(result == driver().result, "the driver's result is given");
    require(result == 0 || count == marked_word, "a failure changes nothing");
}

// ---- the I2C channels ----

void bus_read(uint32_t first, uint32_t second)
{
    const int32_t length = near(first);
    const auto channel = static_cast<int32_t>(second % 5) - 1;
    // On channel 2 an offset of two bytes goes before the data.
    Buffer buffer(int64_t{std::max(length, 0)} + (channel == 2 ? 2 : 0));
    const int result = i2c_read(channel, static_cast<uint8_t>(second >> 8), buffer.bytes(), length,
                                static_cast<int32_t>(second >> 16));
    if (driver().calls == 0) {
        require(result == -2 && buffer.untouched(), "a transfer is refused");
        return;
    }
    require(driver().calls == 1, "a read is tried once");
    require(result == (channel == 2 && driver().result > 0 ? length : driver().result),
            "the driver's result or the length is given");
}

void bus_write_read(uint32_t first, uint32_t second)
{
    const int32_t tx_length = near(first);
    const int32_t rx_length = near(first >> 16);
    const auto channel = static_cast<int32_t>(second % 5) - 1;
    Buffer tx(tx_length);
    Buffer rx(rx_length);
    const int result =
        i2c_write_read(channel, static_cast<uint8_t>(second >> 8), tx.bytes(), tx_length,
                       rx.bytes(), rx_length, static_cast<int32_t>(second >> 16));
    require(tx.untouched(), "what is written stays as it is");
    if (driver().calls == 0) {
        require(result == -2 && rx.untouched(), "a transfer is refused");
        return;
    }
    require(driver().calls <= 10, "five attempts, of two transfers at most");
    require(channel == 2 || result == negated(driver().result), "the last attempt counts");
}

void bus_write(uint32_t first, uint32_t second)
{
    const int32_t length = near(first);
    const auto channel = static_cast<int32_t>(second % 5) - 1;
    Buffer buffer(length);
    const int result = i2c_write(channel, static_cast<uint8_t>(second >> 8), buffer.bytes(), length,
                                 static_cast<int32_t>(second >> 16));
    require(buffer.untouched(), "what is written stays as it is");
    if (driver().calls == 0) {
        require(result == -2, "a transfer is refused");
        return;
    }
    require(driver().calls <= 5, "five attempts");
    require(channel == 2 || result == negated(driver().result), "the last attempt counts");
}

// ----

using Operation = void (*)(uint32_t first, uint32_t second);

// New ones go to the end: an input names them by number.
constexpr Operation operations[] = {
    receive_message<ipmb_read>,
    receive_message<ipmb_sm_read>,
    receive<bt_read, 252>,
    receive<kcs_read, 100>,
    send_message<ipmb_write>,
    send_message<ipmb_sm_write>,
    kcs_send,
    bt_send,
    ram_read,
    ram_write,
    port80,
    get_byte<get_ipmb_addr_config>,
    get_byte<get_ipmb_sm_addr_config>,
    get_byte<get_port80_offset>,
    get_byte<get_slot_id>,
    get_byte<get_board_insert>,
    get_byte_of<get_kcs_status>,
    get_byte_of<get_bt_status>,
    get_byte_of<get_ipmb_enable>,
    get_status<get_ipmb_status>,
    get_status<get_ipmb_sm_status>,
    get_i2c<get_i2c_status>,
    get_i2c<get_i2c_bus_status>,
    get_word<get_sol_data_length>,
    get_word<get_sol_data>,
    get_word<get_blackbox_data>,
    get_word<get_blackbox_data_lenth>,
    get_word<get_blackbox_status>,
    get_register,
    sol_prepare,
    black_box_prepare,
    black_box_status,
    slot_checksum,
    jiffies,
    bus_read,
    bus_write_read,
    bus_write,
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::watch_locks();
    dev_handle = fpga_fd;
    dev_handle_i2c = i2c_fd;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    driver().input = &input;
    driver().calls = 0;
    const Operation operation = operations[input.byte() % std::size(operations)];
    const uint32_t first = input.number();
    const uint32_t second = input.number();
    operation(first, second);
    fuzz::require_unlocked();
    fuzz::printed();
    return 0;
}
