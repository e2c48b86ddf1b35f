#include "virtual_board/i2c_dev.h"

#include <string.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>

namespace virtual_board {

namespace {

// Limits and numbers of the kernel's driver.
constexpr unsigned i2c_major = 89;
constexpr size_t message_max = 8192;

constexpr unsigned long functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_QUICK | I2C_FUNC_SMBUS_BYTE |
                                    I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA |
                                    I2C_FUNC_SMBUS_BLOCK_DATA | I2C_FUNC_SMBUS_I2C_BLOCK;

// Requests whose argument is the address of a record.
bool takes_record(uint32_t request)
{
    return request == I2C_FUNCS || request == I2C_RDWR || request == I2C_SMBUS;
}

bool reads(const i2c_msg &message)
{
    return (message.flags & I2C_M_RD) != 0;
}

bool reads_block(const i2c_msg &message)
{
    return (message.flags & I2C_M_RECV_LEN) != 0;
}

// What the driver checks before anything reaches the bus.
long refused(const i2c_msg &message)
{
    if (message.len > message_max) {
        return -EINVAL;
    }
    if (message.buf == nullptr && message.len > 0) {
        return -EFAULT;
    }
    if (reads_block(message) && (!reads(message) || message.len < 1 || message.buf[0] < 1 ||
                                 message.len < message.buf[0] + I2C_SMBUS_BLOCK_MAX)) {
        return -EINVAL;
    }
    return 0;
}

long refused(const i2c_rdwr_ioctl_data &data)
{
    if (data.msgs == nullptr || data.nmsgs == 0 || data.nmsgs > I2C_RDWR_IOCTL_MAX_MSGS) {
        return -EINVAL;
    }
    for (size_t i = 0; i < data.nmsgs; ++i) {
        const long result = refused(data.msgs[i]);
        if (result < 0) {
            return result;
        }
    }
    return 0;
}

long error_of(const I2cOutcome &outcome)
{
    return outcome.addressed ? -EREMOTEIO : -ENXIO;
}

// How many data bytes a request of fixed size moves.
size_t data_size(const i2c_smbus_ioctl_data &data)
{
    switch (data.size) {
    case I2C_SMBUS_BYTE:
        return data.read_write == I2C_SMBUS_READ ? 1 : 0; // a write's is the command
    case I2C_SMBUS_BYTE_DATA:
        return 1;
    case I2C_SMBUS_WORD_DATA:
        return 2;
    default:
        return 0;
    }
}

bool is_block(const i2c_smbus_ioctl_data &data)
{
    return data.size == I2C_SMBUS_BLOCK_DATA || data.size == I2C_SMBUS_I2C_BLOCK_DATA ||
           data.size == I2C_SMBUS_I2C_BLOCK_BROKEN;
}

long refused(const i2c_smbus_ioctl_data &data)
{
    const bool fixed = data.size == I2C_SMBUS_QUICK || data.size == I2C_SMBUS_BYTE ||
                       data.size == I2C_SMBUS_BYTE_DATA || data.size == I2C_SMBUS_WORD_DATA;
    if ((!fixed && !is_block(data)) || data.read_write > I2C_SMBUS_READ) {
        return -EINVAL;
    }
    if (data.data == nullptr && (data_size(data) > 0 || is_block(data))) {
        return -EINVAL;
    }
    const bool caller_gives_length =
        data.read_write == I2C_SMBUS_WRITE || data.size == I2C_SMBUS_I2C_BLOCK_DATA;
    return is_block(data) && caller_gives_length && data.data->block[0] > I2C_SMBUS_BLOCK_MAX
               ? -EINVAL
               : 0;
}

} // namespace

uint8_t I2cDev::slave_of(const OpenFile &file) const
{
    const auto chosen = slaves_.find(&file);
    return chosen == slaves_.end() ? 0 : chosen->second;
}

long I2cDev::write_bytes(uint8_t slave, std::span<const uint8_t> bytes)
{
    const I2cOutcome outcome = bus_.write(slave, bytes);
    return outcome.addressed && outcome.moved == bytes.size() ? 0 : error_of(outcome);
}

long I2cDev::read_bytes(uint8_t slave, std::span<uint8_t> bytes)
{
    const I2cOutcome outcome = bus_.read(slave, bytes);
    return outcome.addressed ? 0 : error_of(outcome);
}

long I2cDev::read(OpenFile &file, void *buffer, size_t count)
{
    count = std::min(count, message_max);
    const long result = read_bytes(slave_of(file), {static_cast<uint8_t *>(buffer), count});
    bus_.stop();
    return result < 0 ? result : static_cast<long>(count);
}

long I2cDev::write(OpenFile &file, const void *buffer, size_t count)
{
    count = std::min(count, message_max);
    const long result = write_bytes(slave_of(file), {static_cast<const uint8_t *>(buffer), count});
    bus_.stop();
    return result < 0 ? result : static_cast<long>(count);
}

long I2cDev::ioctl(OpenFile &file, uint32_t request, void *argument)
{
    const auto number = reinterpret_cast<uintptr_t>(argument);
    if (takes_record(request) && argument == nullptr) {
        return -EFAULT;
    }
    switch (request) {
    case I2C_SLAVE:
    case I2C_SLAVE_FORCE:
        if (number > 0x7F) {
            return -EINVAL;
        }
        slaves_[&file] = static_cast<uint8_t>(number);
        return 0;
    case I2C_TENBIT:
    case I2C_PEC:
        return number == 0 ? 0 : -EINVAL;
    case I2C_RETRIES:
    case I2C_TIMEOUT:
        return 0;
    case I2C_FUNCS:
        memcpy(argument, &functions, sizeof(functions));
        return 0;
    case I2C_RDWR:
        return transfer(*static_cast<const i2c_rdwr_ioctl_data *>(argument));
    case I2C_SMBUS: {
        const long result = smbus(slave_of(file), *static_cast<i2c_smbus_ioctl_data *>(argument));
        bus_.stop();
        return result;
    }
    default:
        return -ENOTTY;
    }
}

// The block's length comes first; the first byte of the buffer tells how many
// bytes it leads, itself included.
long I2cDev::read_block(i2c_msg &message)
{
    const size_t extra = message.buf[0];
    const auto slave = static_cast<uint8_t>(message.addr);
    const long result = read_bytes(slave, {message.buf, 1});
    if (result < 0) {
        return result;
    }
    if (message.buf[0] == 0 || message.buf[0] > I2C_SMBUS_BLOCK_MAX) {
        return -EPROTO;
    }
    message.len = static_cast<uint16_t>(message.buf[0] + extra);
    bus_.read_on({message.buf + 1, message.len - size_t{1}});
    return 0;
}

long I2cDev::transfer(const i2c_rdwr_ioctl_data &data)
{
    long result = refused(data);
    for (size_t i = 0; i < data.nmsgs && result == 0; ++i) {
        i2c_msg &message = data.msgs[i];
        const auto slave = static_cast<uint8_t>(message.addr);
        if (message.addr > 0x7F) {
            result = -ENXIO;
        } else if (reads_block(message)) {
            result = read_block(message);
        } else if (reads(message)) {
            result = read_bytes(slave, {message.buf, message.len});
        } else {
            result = write_bytes(slave, {message.buf, message.len});
        }
    }
    bus_.stop();
    return result < 0 ? result : static_cast<long>(data.nmsgs);
}

long I2cDev::smbus(uint8_t slave, i2c_smbus_ioctl_data &data)
{
    const long result = refused(data);
    if (result < 0) {
        return result;
    }
    if (data.size == I2C_SMBUS_QUICK) {
        // Nothing but the address and its direction.
        return data.read_write == I2C_SMBUS_READ ? read_bytes(slave, {}) : write_bytes(slave, {});
    }
    return data.read_write == I2C_SMBUS_READ ? smbus_read(slave, data) : smbus_write(slave, data);
}

long I2cDev::smbus_read(uint8_t slave, const i2c_smbus_ioctl_data &data)
{
    if (data.size != I2C_SMBUS_BYTE) {
        const long result = write_bytes(slave, {&data.command, 1});
        if (result < 0) {
            return result;
        }
    }
    uint8_t *block = data.data->block;
    if (data.size == I2C_SMBUS_BLOCK_DATA) {
        const long result = read_bytes(slave, {block, 1});
        if (result < 0) {
            return result;
        }
        if (block[0] == 0 || block[0] > I2C_SMBUS_BLOCK_MAX) {
            return -EPROTO;
        }
        bus_.read_on({block + 1, block[0]});
        return 0;
    }
    if (is_block(data)) {
        if (data.size == I2C_SMBUS_I2C_BLOCK_BROKEN) {
            block[0] = I2C_SMBUS_BLOCK_MAX;
        }
        return read_bytes(slave, {block + 1, block[0]});
    }
    std::array<uint8_t, 2> bytes{};
    const size_t size = data_size(data);
    const long result = read_bytes(slave, {bytes.data(), size});
    if (result == 0 && size == 2) {
        data.data->word = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
    } else if (result == 0) {
        data.data->byte = bytes[0];
    }
    return result;
}

long I2cDev::smbus_write(uint8_t slave, const i2c_smbus_ioctl_data &data)
{
    std::vector<uint8_t> bytes = {data.command};
    if (is_block(data)) {
        // An SMBus block carries its length; an I2C block does not.
        const uint8_t *block = data.data->block;
        const size_t first = data.size == I2C_SMBUS_BLOCK_DATA ? 0 : 1;
        bytes.insert(bytes.end(), block + first, block + 1 + block[0]);
    } else if (data_size(data) == 2) {
        bytes.push_back(static_cast<uint8_t>(data.data->word));
        bytes.push_back(static_cast<uint8_t>(data.data->word >> 8));
    } else if (data_size(data) == 1) {
        bytes.push_back(data.data->byte);
    }
    return write_bytes(slave, bytes);
}

void I2cDev::describe(struct stat &status) const
{
    Device::describe(status);
    status.st_rdev = makedev(i2c_major, minor_);
}

uint32_t I2cDev::address_of(const OpenFile &file, const void *, size_t) const
{
    return slave_of(file);
}

std::vector<uint8_t> I2cDev::request_record(uint32_t request, const void *argument) const
{
    std::vector<uint8_t> record;
    const auto *data = static_cast<const i2c_rdwr_ioctl_data *>(argument);
    if (request != I2C_RDWR || data == nullptr || refused(*data) < 0) {
        return record;
    }
    for (size_t i = 0; i < data->nmsgs; ++i) {
        const i2c_msg &message = data->msgs[i];
        record.insert(record.end(),
                      {static_cast<uint8_t>(message.addr), static_cast<uint8_t>(message.flags),
                       static_cast<uint8_t>(message.len), static_cast<uint8_t>(message.len >> 8)});
        if (!reads(message)) {
            record.insert(record.end(), message.buf, message.buf + message.len);
        }
    }
    return record;
}

std::vector<uint8_t> I2cDev::answer_record(uint32_t request, const void *argument) const
{
    std::vector<uint8_t> answer;
    if (request != I2C_RDWR) {
        return answer;
    }
    const auto *data = static_cast<const i2c_rdwr_ioctl_data *>(argument);
    for (size_t i = 0; i < data->nmsgs; ++i) {
        const i2c_msg &message = data->msgs[i];
        if (reads(message)) {
            answer.insert(answer.end(), message.buf, message.buf + message.len);
        }
    }
    return answer;
}

} // namespace virtual_board
