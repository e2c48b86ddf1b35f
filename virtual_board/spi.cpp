#include "virtual_board/spi.h"

#include <linux/spi/spidev.h>

#include <utility>

namespace virtual_board {

namespace {

// spidev's own limit of one transfer.
constexpr uint32_t transfer_max = 4096;

} // namespace

Spi::Spi(std::function<void(bool)> done) : Device("spi"), done_(std::move(done)) {}

void Spi::await_bitstream()
{
    stream_.clear();
    transfers_.clear();
    done_(false);
}

long Spi::ioctl(OpenFile &, uint32_t request, void *argument)
{
    switch (request) {
    case SPI_IOC_WR_MODE:
        mode_ = *static_cast<const uint8_t *>(argument);
        return 0;
    case SPI_IOC_WR_BITS_PER_WORD:
        bits_ = *static_cast<const uint8_t *>(argument);
        return 0;
    case SPI_IOC_WR_MAX_SPEED_HZ:
        speed_ = *static_cast<const uint32_t *>(argument);
        return 0;
    case SPI_IOC_MESSAGE(1):
        return transfer(*static_cast<const spi_ioc_transfer *>(argument));
    default:
        return -ENOTTY;
    }
}

long Spi::transfer(const spi_ioc_transfer &request)
{
    if (request.len > transfer_max) {
        return -EMSGSIZE;
    }
    if (request.tx_buf == 0) {
        return -EFAULT;
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(static_cast<uintptr_t>(request.tx_buf));
    stream_.insert(stream_.end(), bytes, bytes + request.len);
    transfers_.push_back({request.len, request.speed_hz, request.delay_usecs, request.bits_per_word,
                          request.cs_change != 0, request.rx_buf != 0});
    if (done_line_works && stream_.size() >= expected) {
        done_(true);
    }
    return static_cast<long>(request.len);
}

} // namespace virtual_board
