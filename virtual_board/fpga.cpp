#include "virtual_board/fpga.h"

#include <linux/ioctl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

namespace virtual_board {

namespace {

constexpr uint8_t cmd_ram = 0x51;
constexpr uint8_t cmd_register = 0x61;
constexpr uint8_t cmd_communication_state = 0x80;

constexpr size_t register_record = 7;
constexpr uint64_t jiffy_us = 10000;

constexpr uint32_t driver_read(unsigned number)
{
    return _IOR('k', number, uint32_t);
}

constexpr uint32_t driver_write(unsigned number)
{
    return _IOW('k', number, uint32_t);
}

Fpga::Length fixed_length(size_t length)
{
    return [length](const uint8_t *, size_t) { return length; };
}

uint16_t register_address(const uint8_t *record)
{
    return static_cast<uint16_t>(record[1] | record[2] << 8);
}

} // namespace

Fpga::Fpga(Clock &clock) : Device("fpga"), clock_(clock)
{
    add_registers();
    add_ram();
    on_write(cmd_communication_state, fixed_length(2),
             [this](OpenFile &, const uint8_t *record, size_t) {
                 communication_state_ = record[1];
                 return 0L;
             });
}

void Fpga::add_registers()
{
    on_read(cmd_register, register_record, [this](OpenFile &, uint8_t *record, size_t) {
        const uint32_t value = get_register(register_address(record));
        for (unsigned i = 0; i < 4; ++i) {
            record[i] = static_cast<uint8_t>(value >> (8 * i));
        }
        return 4L;
    });
    on_write(cmd_register, fixed_length(register_record),
             [this](OpenFile &, const uint8_t *record, size_t count) {
                 uint32_t value = 0;
                 for (unsigned i = 0; i < 4; ++i) {
                     value |= static_cast<uint32_t>(record[3 + i]) << (8 * i);
                 }
                 const uint16_t address = register_address(record);
                 const auto handler = register_handlers_.find(address);
                 if (handler != register_handlers_.end() && handler->second.second) {
                     handler->second.second(value);
                 } else {
                     registers_[address] = value;
                 }
                 return static_cast<long>(count);
             });
}

void Fpga::add_ram()
{
    on_read(cmd_ram, 1, [this](OpenFile &file, uint8_t *record, size_t count) {
        const size_t begin = std::min(static_cast<size_t>(file.offset), ram_size);
        const size_t moved = std::min(count, ram_size - begin);
        memcpy(record, ram_.data() + begin, moved);
        return static_cast<long>(moved);
    });
    on_write(cmd_ram, nullptr, [this](OpenFile &file, const uint8_t *record, size_t count) {
        const size_t begin = std::min(static_cast<size_t>(file.offset), ram_size);
        const size_t moved = std::min(count - 1, ram_size - begin);
        memcpy(ram_.data() + begin, record + 1, moved);
        return static_cast<long>(moved);
    });
}

uint32_t Fpga::get_register(uint16_t address)
{
    const auto handler = register_handlers_.find(address);
    if (handler != register_handlers_.end() && handler->second.first) {
        return handler->second.first();
    }
    return registers_[address];
}

void Fpga::on_read(uint8_t command, size_t request, ReadHandler handler)
{
    reads_[command] = {request, std::move(handler)};
}

void Fpga::on_write(uint8_t command, Length length, WriteHandler handler)
{
    writes_[command] = {std::move(length), std::move(handler)};
}

void Fpga::on_register(uint16_t address, RegisterRead read, RegisterWrite write)
{
    register_handlers_[address] = {std::move(read), std::move(write)};
}

long Fpga::read(OpenFile &file, void *record, size_t count)
{
    auto *bytes = static_cast<uint8_t *>(record);
    if (count == 0) {
        return 0;
    }
    const auto command = reads_.find(bytes[0]);
    return command == reads_.end() ? -EINVAL : command->second.handler(file, bytes, count);
}

long Fpga::write(OpenFile &file, const void *record, size_t count)
{
    const auto *bytes = static_cast<const uint8_t *>(record);
    if (count == 0) {
        return 0;
    }
    const auto command = writes_.find(bytes[0]);
    return command == writes_.end() ? -EINVAL : command->second.handler(file, bytes, count);
}

long Fpga::answer(const DriverWord &word, void *argument)
{
    memcpy(argument, &word.word, sizeof(word.word));
    return word.result;
}

long Fpga::ioctl(OpenFile &, uint32_t request, void *argument)
{
    switch (request) {
    case driver_read(0):
        return answer(selftest, argument);
    case driver_read(1):
        return answer(version, argument);
    case driver_read(2):
        return answer(ddr_test, argument);
    case driver_read(3):
        return answer(ddr_state, argument);
    case driver_read(4):
        return answer(start, argument);
    case driver_read(5):
        return answer(baud_divisor, argument);
    case driver_read(6):
        return answer({static_cast<int32_t>(clock_.now_us() / jiffy_us), 0}, argument);
    case driver_write(7):
        ++watchdog_kicks_;
        return 0;
    case driver_write(8):
        watchdog_running_ = false;
        return 0;
    case driver_write(9):
        ++jtag_resets_;
        return 0;
    default:
        return -ENOTTY;
    }
}

long long Fpga::seek(OpenFile &file, long long offset, int whence)
{
    if (whence != SEEK_SET || offset < 0) {
        return -EINVAL;
    }
    file.offset = offset;
    return offset;
}

uint32_t Fpga::address_of(const OpenFile &, const void *record, size_t count) const
{
    return count == 0 ? 0 : *static_cast<const uint8_t *>(record);
}

size_t Fpga::request_length(const void *record, size_t count) const
{
    if (count == 0) {
        return 0;
    }
    const auto command = reads_.find(*static_cast<const uint8_t *>(record));
    return command == reads_.end() ? 1 : command->second.request;
}

size_t Fpga::record_length(const void *record, size_t count) const
{
    if (count == 0) {
        return 0;
    }
    const auto *bytes = static_cast<const uint8_t *>(record);
    const auto command = writes_.find(bytes[0]);
    return command == writes_.end() || !command->second.length
               ? count
               : command->second.length(bytes, count);
}

} // namespace virtual_board
