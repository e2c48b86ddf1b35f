#include "virtual_board/i2c_dev.h"

#include <string.h>
#include <sys/sysmacros.h>

#include <algorithm>

namespace virtual_board {

namespace {

// Limits and numbers of the kernel's driver.
constexpr unsigned i2c_major = 89;
constexpr size_t message_max = 8192;

constexpr uint16_t seven_bits = 0x7F;
constexpr uint16_t ten_bits = 0x3FF;

// Everything of SMBus is made of plain messages.
constexpr unsigned long functions = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL |
                                    I2C_FUNC_SMBUS_READ_BLOCK_DATA | I2C_FUNC_SMBUS_BLOCK_PROC_CALL;

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
    case I2C_SMBUS_PROC_CALL:
        return 2;
    default:
        return 0;
    }
}

bool is_plain_block(uint32_t size)
{
    return size == I2C_SMBUS_I2C_BLOCK_DATA || size == I2C_SMBUS_I2C_BLOCK_BROKEN;
}

bool is_smbus_block(uint32_t size)
{
    return size == I2C_SMBUS_BLOCK_DATA || size == I2C_SMBUS_BLOCK_PROC_CALL;
}

// A call sends and receives, whichever direction the request names.
bool is_call(uint32_t size)
{
    return size == I2C_SMBUS_PROC_CALL || size == I2C_SMBUS_BLOCK_PROC_CALL;
}

bool sends_data(const i2c_smbus_ioctl_data &data)
{
    return data.read_write == I2C_SMBUS_WRITE || is_call(data.size);
}

bool receives_data(const i2c_smbus_ioctl_data &data)
{
    return data.read_write == I2C_SMBUS_READ || is_call(data.size);
}

// The data that a request sends after its command. An SMBus block carries its
// length, an I2C block does not.
std::vector<uint8_t> data_of(const i2c_smbus_ioctl_data &data)
{
    if (is_smbus_block(data.size) || is_plain_block(data.size)) {
        const uint8_t *block = data.data->block;
        return {block + (is_smbus_block(data.size) ? 0 : 1), block + 1 + block[0]};
    }
    switch (data_size(data)) {
    case 1:
        return {data.data->byte};
    case 2:
        return {static_cast<uint8_t>(data.data->word), static_cast<uint8_t>(data.data->word >> 8)};
    default:
        return {};
    }
}

long refused(const i2c_smbus_ioctl_data &data)
{
    if (data.size > I2C_SMBUS_I2C_BLOCK_DATA || data.read_write > I2C_SMBUS_READ) {
        return -EINVAL;
    }
    const bool block = is_plain_block(data.size) || is_smbus_block(data.size);
    if (data.data == nullptr && (data_size(data) > 0 || block)) {
        return -EINVAL;
    }
    const bool caller_gives_length = sends_data(data) || data.size == I2C_SMBUS_I2C_BLOCK_DATA;
    return block && caller_gives_length && data.data->block[0] > I2C_SMBUS_BLOCK_MAX ? -EINVAL : 0;
}

// SMBus's checksum over one message: x^8 + x^2 + x + 1.
uint8_t checksum(uint8_t sum, uint8_t slave, bool reading, std::span<const uint8_t> bytes)
{
    const auto add = [&sum](uint8_t byte) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = static_cast<uint8_t>((sum & 0x80) != 0 ? sum << 1 ^ 0x07 : sum << 1);
        }
    };
    add(static_cast<uint8_t>(slave << 1 | (reading ? 1 : 0)));
    std::for_each(bytes.begin(), bytes.end(), add);
    return sum;
}

} // namespace

I2cDev::Client I2cDev::client_of(const OpenFile &file) const
{
    const auto found = clients_.find(&file);
    return found == clients_.end() ? Client() : found->second;
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
    const Client client = client_of(file);
    count = std::min(count, message_max);
    const long result = client.ten_bits ? -ENXIO
                                        : read_bytes(static_cast<uint8_t>(client.slave),
                                                     {static_cast<uint8_t *>(buffer), count});
    bus_.stop();
    return result < 0 ? result : static_cast<long>(count);
}

long I2cDev::write(OpenFile &file, const void *buffer, size_t count)
{
    const Client client = client_of(file);
    count = std::min(count, message_max);
    const long result = client.ten_bits
                            ? -ENXIO
                            : write_bytes(static_cast<uint8_t>(client.slave),
                                          {static_cast<const uint8_t *>(buffer), count});
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
        if (number > (client_of(file).ten_bits ? ten_bits : seven_bits)) {
            return -EINVAL;
        }
        clients_[&file].slave = static_cast<uint16_t>(number);
        return 0;
    case I2C_TENBIT:
        clients_[&file].ten_bits = number != 0; // which no chip answers
        return 0;
    case I2C_PEC:
        clients_[&file].checked = number != 0;
        return 0;
    case I2C_RETRIES:
    case I2C_TIMEOUT:
        return 0;
    case I2C_FUNCS:
        memcpy(argument, &functions, sizeof(functions));
        return 0;
    case I2C_RDWR:
        return transfer(*static_cast<const i2c_rdwr_ioctl_data *>(argument));
    case I2C_SMBUS: {
        const long result = smbus(client_of(file), *static_cast<i2c_smbus_ioctl_data *>(argument));
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

long I2cDev::smbus(const Client &client, i2c_smbus_ioctl_data &data)
{
    const long result = refused(data);
    if (result < 0 || client.ten_bits) {
        return result < 0 ? result : -ENXIO;
    }
    if (data.size == I2C_SMBUS_QUICK) {
        // Nothing but the address and its direction.
        const auto slave = static_cast<uint8_t>(client.slave);
        return data.read_write == I2C_SMBUS_READ ? read_bytes(slave, {}) : write_bytes(slave, {});
    }
    Exchange wanted = exchange_for(data);
    wanted.checked = client.checked && !is_plain_block(data.size);
    const long outcome = exchange(client, wanted);
    if (outcome == 0) {
        give(wanted, data);
    }
    return outcome;
}

I2cDev::Exchange I2cDev::exchange_for(const i2c_smbus_ioctl_data &data)
{
    Exchange wanted;
    const bool receives = receives_data(data);
    if (data.size != I2C_SMBUS_BYTE || !receives) {
        wanted.sent.push_back(data.command);
    }
    if (sends_data(data)) {
        const std::vector<uint8_t> bytes = data_of(data);
        wanted.sent.insert(wanted.sent.end(), bytes.begin(), bytes.end());
    }
    if (receives) {
        wanted.block = is_smbus_block(data.size);
        wanted.wanted = wanted.block                              ? 1
                        : data.size == I2C_SMBUS_I2C_BLOCK_DATA   ? data.data->block[0]
                        : data.size == I2C_SMBUS_I2C_BLOCK_BROKEN ? I2C_SMBUS_BLOCK_MAX
                                                                  : data_size(data);
    }
    return wanted;
}

// The checksum covers both messages and comes at the very end.
long I2cDev::exchange(const Client &client, Exchange &exchange)
{
    const auto slave = static_cast<uint8_t>(client.slave);
    uint8_t sum = 0;
    if (!exchange.sent.empty()) {
        sum = checksum(sum, slave, false, exchange.sent);
        if (exchange.checked && exchange.wanted == 0) {
            exchange.sent.push_back(sum);
        }
        const long result = write_bytes(slave, exchange.sent);
        if (result < 0) {
            return result;
        }
    }
    if (exchange.wanted == 0) {
        return 0;
    }
    const long result = read_answer(slave, exchange, exchange.checked ? 1 : 0);
    if (result < 0 || !exchange.checked) {
        return result;
    }
    const uint8_t received = exchange.answer.back();
    exchange.answer.pop_back();
    return checksum(sum, slave, true, exchange.answer) == received ? 0 : -EBADMSG;
}

long I2cDev::read_answer(uint8_t slave, Exchange &exchange, size_t checksum)
{
    std::vector<uint8_t> &bytes = exchange.answer;
    if (!exchange.block) {
        bytes.resize(exchange.wanted + checksum);
        return read_bytes(slave, bytes);
    }
    bytes.resize(1);
    const long result = read_bytes(slave, bytes);
    if (result < 0) {
        return result;
    }
    if (bytes[0] == 0 || bytes[0] > I2C_SMBUS_BLOCK_MAX) {
        return -EPROTO;
    }
    bytes.resize(1 + bytes[0] + checksum);
    bus_.read_on(std::span(bytes).subspan(1));
    return 0;
}

void I2cDev::give(const Exchange &exchange, const i2c_smbus_ioctl_data &data)
{
    const std::vector<uint8_t> &bytes = exchange.answer;
    if (bytes.empty()) {
        return;
    }
    if (exchange.block) {
        std::copy(bytes.begin(), bytes.end(), data.data->block);
    } else if (is_plain_block(data.size)) {
        data.data->block[0] = static_cast<uint8_t>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), data.data->block + 1);
    } else if (bytes.size() == 2) {
        data.data->word = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
    } else {
        data.data->byte = bytes[0];
    }
}

void I2cDev::describe(struct stat &status) const
{
    Device::describe(status);
    status.st_rdev = makedev(i2c_major, minor_);
}

uint32_t I2cDev::address_of(const OpenFile &file, const void *, size_t) const
{
    return client_of(file).slave;
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
