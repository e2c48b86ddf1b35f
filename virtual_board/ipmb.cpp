#include "virtual_board/ipmb.h"

#include <algorithm>
#include <utility>

namespace virtual_board {

namespace {

constexpr uint8_t cmd_status = 0x12;
constexpr uint8_t cmd_enable = 0x15;

// Receive: command, wait value; answered with channel, length, two unused bytes
// and the message.
constexpr size_t receive_request = 4;
constexpr size_t receive_header = 4;
// Transmit: command, channel, length, wait value, message.
constexpr size_t transmit_header = 5;

uint16_t big_endian(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

Fpga::Length fixed_length(size_t length)
{
    return [length](const uint8_t *, size_t) { return length; };
}

size_t transmit_length(const uint8_t *record, size_t)
{
    return transmit_header + record[2];
}

} // namespace

Ipmb::Ipmb(Fpga &fpga)
{
    attach_family(fpga, {0x11, 0x13, 0x14, 0, 1});
    attach_family(fpga, {0x16, 0x17, 0x18, 2, 2});
    attach_channel_commands(fpga);
}

void Ipmb::attach_family(Fpga &fpga, const Commands &commands)
{
    Family &own = family(commands.first);
    fpga.on_read(commands.data, receive_request, [this, &own](OpenFile &, uint8_t *record, size_t) {
        return receive(own, record);
    });
    fpga.on_write(commands.data, transmit_length,
                  [this, commands](OpenFile &, const uint8_t *record, size_t) {
                      return transmit(commands, record);
                  });
    fpga.on_read(commands.address, 1, [&own](OpenFile &, uint8_t *record, size_t) {
        record[0] = own.address;
        return 1L;
    });
    fpga.on_write(commands.address, fixed_length(2),
                  [&own](OpenFile &, const uint8_t *record, size_t) {
                      own.address = record[1];
                      return 0L;
                  });
    fpga.on_write(commands.reset, fixed_length(2),
                  [this, commands](OpenFile &, const uint8_t *record, size_t) {
                      return reset(commands, record[1]);
                  });
}

void Ipmb::attach_channel_commands(Fpga &fpga)
{
    fpga.on_read(cmd_status, 2, [this](OpenFile &, uint8_t *record, size_t) -> long {
        if (record[1] >= channel_count) {
            return -EINVAL;
        }
        record[0] = channels_[record[1]].status;
        return 0;
    });
    fpga.on_read(cmd_enable, 1, [this](OpenFile &, uint8_t *record, size_t) {
        record[0] = 0;
        for (unsigned i = 0; i < channel_count; ++i) {
            record[0] = static_cast<uint8_t>(record[0] | (channels_[i].enabled ? 1U << i : 0));
        }
        return 0L;
    });
    fpga.on_write(cmd_enable, fixed_length(4),
                  [this](OpenFile &, const uint8_t *record, size_t) -> long {
                      if (record[1] >= channel_count || record[2] > 1) {
                          return -EINVAL;
                      }
                      channels_[record[1]].enabled = record[2] == 1;
                      return 0;
                  });
}

void Ipmb::send(unsigned from, Message message)
{
    family(from).queue.push_back({from, std::move(message)});
}

size_t Ipmb::waiting(unsigned from) const
{
    const std::deque<Waiting> &queue = family(from).queue;
    return static_cast<size_t>(std::count_if(
        queue.begin(), queue.end(), [from](const Waiting &one) { return one.channel == from; }));
}

// The record is as long as the message, whatever count the call gives. Without
// a message the wait ends with 0.
long Ipmb::receive(Family &from, uint8_t *record)
{
    from.receive_wait = big_endian(record + 1);
    if (from.read_result) {
        return *from.read_result;
    }
    const auto next =
        std::find_if(from.queue.begin(), from.queue.end(),
                     [this](const Waiting &one) { return channels_[one.channel].enabled; });
    if (next == from.queue.end()) {
        return 0;
    }
    const Waiting taken = std::move(*next);
    from.queue.erase(next);
    const size_t length = std::min(taken.message.size(), message_max);
    const Channel &channel = channels_[taken.channel];
    record[0] = static_cast<uint8_t>(taken.channel);
    record[1] = channel.claimed_length.value_or(static_cast<uint8_t>(length));
    std::copy_n(taken.message.begin(), length, record + receive_header);
    return static_cast<long>(receive_header + length);
}

long Ipmb::transmit(const Commands &commands, const uint8_t *record)
{
    if (record[1] < commands.first || record[1] > commands.last || record[2] > message_max) {
        return -EINVAL;
    }
    Channel &to = channels_[record[1]];
    if (to.write_result) {
        return *to.write_result;
    }
    if (!to.enabled) {
        return error_disabled;
    }
    if (to.silent) {
        return error_not_acknowledged;
    }
    to.send_wait = big_endian(record + 3);
    const uint8_t *const begin = record + transmit_header;
    const Message message(begin, begin + record[2]);
    to.received.push_back(message);
    if (to.on_message) {
        to.on_message(message);
    }
    return static_cast<long>(transmit_header + message.size());
}

// What the channel received and nobody fetched is gone.
long Ipmb::reset(const Commands &commands, unsigned number)
{
    if (number < commands.first || number > commands.last) {
        return -EINVAL;
    }
    ++channels_[number].resets;
    channels_[number].status = 0;
    std::erase_if(family(number).queue,
                  [number](const Waiting &one) { return one.channel == number; });
    return 0;
}

} // namespace virtual_board
