#include "virtual_board/fpga_i2c.h"

#include <errno.h>

namespace virtual_board {

namespace {

constexpr uint8_t cmd_transfer = 0x21;
constexpr uint8_t cmd_status = 0x22;
constexpr uint8_t cmd_reset = 0x23;
constexpr uint8_t cmd_bus_status = 0x24;

// A read's record always has room for the longest write before it; a write's
// ends with its data.
constexpr size_t read_header = 7;
constexpr size_t read_record = read_header + FpgaI2c::data_max;
constexpr size_t write_header = 6;

uint64_t delay_us(const uint8_t *milliseconds)
{
    return uint64_t{1000} * static_cast<unsigned>(milliseconds[0] << 8 | milliseconds[1]);
}

// A length that does not fit is refused by its header alone.
size_t write_record_length(const uint8_t *record, size_t)
{
    return record[3] > FpgaI2c::data_max ? write_header : write_header + record[3];
}

} // namespace

FpgaI2c::FpgaI2c(Fpga &fpga, Clock &clock, std::array<I2cBus *, channel_count> buses)
    : clock_(clock)
{
    for (size_t i = 0; i < channel_count; ++i) {
        channels_[i].bus = buses[i];
    }
    fpga.on_read(cmd_transfer, read_record,
                 [this](OpenFile &, uint8_t *record, size_t) { return read(record); });
    fpga.on_write(cmd_transfer, write_record_length,
                  [this](OpenFile &, const uint8_t *record, size_t) { return write(record); });
    // The two status requests tell success in opposite ways.
    fpga.on_read(cmd_status, 2, [this](OpenFile &, uint8_t *record, size_t) {
        const Channel *channel = find(record[1]);
        if (channel == nullptr) {
            return -static_cast<long>(EINVAL);
        }
        record[0] = channel->status;
        return 0L;
    });
    fpga.on_read(cmd_bus_status, 2, [this](OpenFile &, uint8_t *record, size_t) {
        const Channel *channel = find(record[1]);
        if (channel == nullptr) {
            return -static_cast<long>(EINVAL);
        }
        record[0] = channel->bus_status;
        return 1L;
    });
    fpga.on_write(
        cmd_reset, [](const uint8_t *, size_t) { return size_t{2}; },
        [this](OpenFile &, const uint8_t *record, size_t count) {
            Channel *channel = find(record[1]);
            if (channel == nullptr) {
                return -static_cast<long>(EINVAL);
            }
            ++channel->resets;
            channel->status = 0;
            channel->bus_status = 0;
            return static_cast<long>(count);
        });
}

FpgaI2c::Channel *FpgaI2c::find(uint8_t number)
{
    return number < channel_count ? &channels_[number] : nullptr;
}

long FpgaI2c::finish(Channel &channel, long result)
{
    channel.bus->stop();
    channel.status = result == not_addressed ? status_not_addressed
                     : result == not_taken   ? status_not_taken
                                             : 0;
    return result;
}

long FpgaI2c::send(Channel &channel, uint8_t address, std::span<const uint8_t> bytes)
{
    const I2cOutcome sent = channel.bus->write(address, bytes);
    if (!sent.addressed) {
        return not_addressed;
    }
    return sent.moved < bytes.size() ? not_taken : static_cast<long>(sent.moved);
}

// A plain read, or a write and a read behind it. A delay cannot be held inside
// a transfer: the write is stopped before it; otherwise a repeated start leads
// over to the read.
long FpgaI2c::read(uint8_t *record)
{
    Channel *channel = find(record[1]);
    const uint8_t address = record[2] >> 1;
    const size_t wanted = record[3];
    const size_t sent = record[4];
    if (channel == nullptr || wanted > data_max || sent > data_max) {
        return bad_record;
    }
    const uint64_t delay = delay_us(record + 5);
    if (sent > 0) {
        const long result = send(*channel, address, {record + read_header, sent});
        if (result > 9999) {
            return finish(*channel, result);
        }
    }
    if (delay > 0) {
        channel->bus->stop();
        clock_.wait_us(delay);
    }
    const I2cOutcome got = channel->bus->read(address, {record, wanted});
    return finish(*channel, got.addressed ? static_cast<long>(got.moved) : not_addressed);
}

long FpgaI2c::write(const uint8_t *record)
{
    Channel *channel = find(record[1]);
    const size_t length = record[3];
    if (channel == nullptr || length > data_max) {
        return bad_record;
    }
    const long result =
        finish(*channel, send(*channel, record[2] >> 1, {record + write_header, length}));
    clock_.wait_us(delay_us(record + 4));
    return result;
}

} // namespace virtual_board
