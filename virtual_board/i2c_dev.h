// An I2C bus as the kernel's i2c-dev node shows it: /dev/i2c-0.
#ifndef VIRTUAL_BOARD_I2C_DEV_H
#define VIRTUAL_BOARD_I2C_DEV_H

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <stdint.h>

#include <map>
#include <span>
#include <string>
#include <vector>

#include "virtual_board/device.h"
#include "virtual_board/i2c_bus.h"

namespace virtual_board {

class I2cDev : public Device {
public:
    I2cDev(std::string name, unsigned minor, I2cBus &bus)
        : Device(std::move(name)), minor_(minor), bus_(bus)
    {
    }

    void release(OpenFile &file) override { clients_.erase(&file); }
    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *buffer, size_t count) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    void describe(struct stat &status) const override;
    uint32_t address_of(const OpenFile &file, const void *buffer, size_t count) const override;
    // Of a combined transfer: per message address, flags, length (low byte
    // first), and the bytes of a write. The answer: the bytes of all reads.
    std::vector<uint8_t> request_record(uint32_t request, const void *argument) const override;
    std::vector<uint8_t> answer_record(uint32_t request, const void *argument) const override;

private:
    // What an open of the node has been told with I2C_SLAVE and its kin.
    struct Client {
        uint16_t slave = 0;
        bool ten_bits = false;
        bool checked = false; // SMBus transfers end with a checksum
    };
    // An SMBus transfer as messages: bytes to the chip, then bytes from it.
    struct Exchange {
        std::vector<uint8_t> sent = {};
        size_t wanted = 0;
        bool block = false;   // the answer begins with its length
        bool checked = false; // with a checksum at the end
        std::vector<uint8_t> answer = {};
    };

    static Exchange exchange_for(const i2c_smbus_ioctl_data &data);
    static void give(const Exchange &exchange, const i2c_smbus_ioctl_data &data);
    long transfer(const i2c_rdwr_ioctl_data &data);
    long read_block(i2c_msg &message);
    long smbus(const Client &client, i2c_smbus_ioctl_data &data);
    long exchange(const Client &client, Exchange &exchange);
    long read_answer(uint8_t slave, Exchange &exchange, size_t checksum);
    long write_bytes(uint8_t slave, std::span<const uint8_t> bytes);
    long read_bytes(uint8_t slave, std::span<uint8_t> bytes);
    Client client_of(const OpenFile &file) const;

    unsigned minor_;
    I2cBus &bus_;
    std::map<const OpenFile *, Client> clients_;
};

} // namespace virtual_board

#endif
