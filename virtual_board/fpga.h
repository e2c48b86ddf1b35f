// The FPGA character device: command records, registers, reserved RAM and the
// driver's ioctls. Buses and buffers inside the FPGA attach to it by command.
#ifndef VIRTUAL_BOARD_FPGA_H
#define VIRTUAL_BOARD_FPGA_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "virtual_board/clock.h"
#include "virtual_board/device.h"

namespace virtual_board {

// A driver's word and the result of the request that asks for it.
struct DriverWord {
    int32_t word = 0;
    int result = 0;
};

class Fpga : public Device {
public:
    // Answers into the record; the result is the call's.
    using ReadHandler = std::function<long(OpenFile &file, uint8_t *record, size_t count)>;
    using WriteHandler = std::function<long(OpenFile &file, const uint8_t *record, size_t count)>;
    // How many bytes of a record there are; by the call's count if absent.
    using Length = std::function<size_t(const uint8_t *record, size_t count)>;
    using RegisterRead = std::function<uint32_t()>;
    using RegisterWrite = std::function<void(uint32_t value)>;

    static constexpr size_t ram_size = 1024;

    explicit Fpga(Clock &clock);

    // Backend face.
    DriverWord selftest;
    DriverWord version{0x21, 0};
    DriverWord ddr_test;
    DriverWord ddr_state;
    DriverWord start;
    DriverWord baud_divisor{1, 0};
    std::optional<uint8_t> communication_state() const { return communication_state_; }
    uint32_t get_register(uint16_t address);
    void set_register(uint16_t address, uint32_t value) { registers_[address] = value; }
    // The registers that somebody has touched and no block has taken over.
    const std::map<uint16_t, uint32_t> &plain_registers() const { return registers_; }
    bool is_plain(uint16_t address) const { return !register_handlers_.contains(address); }
    std::array<uint8_t, ram_size> &ram() { return ram_; }
    bool watchdog_running() const { return watchdog_running_; }
    unsigned watchdog_kicks() const { return watchdog_kicks_; }
    unsigned jtag_resets() const { return jtag_resets_; }

    // Attaching blocks. `request` is how many bytes a read takes in.
    void on_read(uint8_t command, size_t request, ReadHandler handler);
    void on_write(uint8_t command, Length length, WriteHandler handler);
    void on_register(uint16_t address, RegisterRead read, RegisterWrite write);

    // Bus face.
    long read(OpenFile &file, void *record, size_t count) override;
    long write(OpenFile &file, const void *record, size_t count) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    uint32_t address_of(const OpenFile &file, const void *record, size_t count) const override;
    size_t request_length(const void *record, size_t count) const override;
    size_t record_length(const void *record, size_t count) const override;

private:
    void add_registers();
    void add_ram();
    long answer(const DriverWord &word, void *argument);

    struct ReadCommand {
        size_t request;
        ReadHandler handler;
    };
    struct WriteCommand {
        Length length;
        WriteHandler handler;
    };

    Clock &clock_;
    std::map<uint8_t, ReadCommand> reads_;
    std::map<uint8_t, WriteCommand> writes_;
    std::map<uint16_t, uint32_t> registers_;
    std::map<uint16_t, std::pair<RegisterRead, RegisterWrite>> register_handlers_;
    std::array<uint8_t, ram_size> ram_{};
    std::optional<uint8_t> communication_state_;
    bool watchdog_running_ = true;
    unsigned watchdog_kicks_ = 0;
    unsigned jtag_resets_ = 0;
};

} // namespace virtual_board

#endif
