// The I2C masters inside the FPGA: channels 0 and 1.
#ifndef VIRTUAL_BOARD_FPGA_I2C_H
#define VIRTUAL_BOARD_FPGA_I2C_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <span>

#include "virtual_board/clock.h"
#include "virtual_board/fpga.h"
#include "virtual_board/i2c_bus.h"

namespace virtual_board {

class FpgaI2c {
public:
    static constexpr size_t channel_count = 2;
    static constexpr size_t data_max = 64;

    // Results of transfers that failed.
    enum Error : long {
        not_addressed = 10010, // no chip acknowledged the address
        not_taken = 10011,     // a chip refused a byte
        bad_record = 10022,    // no such channel, or more bytes than fit
    };
    // Status bits that go with them; the next good transfer clears them.
    enum Status : uint8_t { status_not_addressed = 0x10, status_not_taken = 0x08 };

    // Backend face of a channel.
    struct Channel {
        I2cBus *bus = nullptr;
        uint8_t status = 0;
        uint8_t bus_status = 0;
        unsigned resets = 0;
    };

    FpgaI2c(Fpga &fpga, Clock &clock, std::array<I2cBus *, channel_count> buses);

    Channel &channel(size_t number) { return channels_.at(number); }

private:
    Channel *find(uint8_t number);
    long read(uint8_t *record);
    long write(const uint8_t *record);
    long send(Channel &channel, uint8_t address, std::span<const uint8_t> bytes);
    long finish(Channel &channel, long result);

    Clock &clock_;
    std::array<Channel, channel_count> channels_;
};

} // namespace virtual_board

#endif
