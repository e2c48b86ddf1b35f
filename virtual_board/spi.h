// The SPI controller with the FPGA's configuration port behind it.
#ifndef VIRTUAL_BOARD_SPI_H
#define VIRTUAL_BOARD_SPI_H

#include <stdint.h>

#include <functional>
#include <optional>
#include <vector>

#include "virtual_board/device.h"

struct spi_ioc_transfer;

namespace virtual_board {

class Spi : public Device {
public:
    // One transfer as the controller was told to make it.
    struct Transfer {
        uint32_t length = 0;
        uint32_t speed_hz = 0;
        uint16_t delay_us = 0;
        uint8_t bits_per_word = 0;
        bool chip_select_change = false;
        bool receives = false;
    };

    // Called with the level of the FPGA's done line.
    explicit Spi(std::function<void(bool)> done);

    // Backend face.
    const std::vector<uint8_t> &stream() const { return stream_; }
    const std::vector<Transfer> &transfers() const { return transfers_; }
    std::optional<uint8_t> mode() const { return mode_; }
    std::optional<uint8_t> bits_per_word() const { return bits_; }
    std::optional<uint32_t> speed_hz() const { return speed_; }
    // The FPGA is put back to where it waits for a bitstream.
    void await_bitstream();
    // How long a bitstream is that the FPGA starts with; 0 takes any.
    size_t expected = 0;
    // A broken FPGA never starts.
    bool done_line_works = true;

    // Bus face. The word order of the requests is that of Linux's spidev.
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *data, size_t count) override;
    void describe(struct stat &status) const override;

private:
    uint8_t mode_bits() const;
    void set_least_first(bool on);
    long message(uint32_t request, const void *argument);
    void transfer(const spi_ioc_transfer &request);
    long simple_transfer(const void *sent, void *received, size_t count);

    std::function<void(bool)> done_;
    std::vector<uint8_t> stream_;
    std::vector<Transfer> transfers_;
    std::optional<uint8_t> mode_;
    std::optional<uint8_t> bits_;
    std::optional<uint32_t> speed_;
};

} // namespace virtual_board

#endif
