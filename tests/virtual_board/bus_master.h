// What the chips' tests say on a bus.
#ifndef TESTS_VIRTUAL_BOARD_I2C_BUS_MASTER_H
#define TESTS_VIRTUAL_BOARD_I2C_BUS_MASTER_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <memory>
#include <vector>

#include "virtual_board/i2c_bus.h"

namespace board_test {

using Bytes = std::vector<uint8_t>;

// One chip alone on a bus.
class BusMaster {
public:
    explicit BusMaster(std::shared_ptr<virtual_board::I2cChip> chip)
    {
        bus.plug(address, std::move(chip));
    }

    // Bytes that were acknowledged.
    size_t write(const Bytes &bytes)
    {
        const size_t moved = write_on(bytes);
        bus.stop();
        return moved;
    }

    // The same without the stop: a read follows with a repeated start.
    size_t write_on(const Bytes &bytes) { return bus.write(address, bytes).moved; }

    Bytes read(size_t count)
    {
        Bytes bytes(count, 0xEE);
        EXPECT_TRUE(bus.read(address, bytes).addressed);
        bus.stop();
        return bytes;
    }

    Bytes write_read(const Bytes &bytes, size_t count)
    {
        EXPECT_EQ(write_on(bytes), bytes.size());
        return read(count);
    }

    bool acknowledges()
    {
        const bool addressed = bus.write(address, {}).addressed;
        bus.stop();
        return addressed;
    }

    static constexpr uint8_t address = 0x50;
    virtual_board::I2cBus bus;
};

} // namespace board_test

#endif
