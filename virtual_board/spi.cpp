#include "virtual_board/spi.h"

#include <linux/spi/spidev.h>
#include <string.h>
#include <sys/sysmacros.h>

#include <utility>

namespace virtual_board {

namespace {

// spidev's own limit of one message.
constexpr uint32_t message_max = 4096;
constexpr unsigned spidev_major = 153;
constexpr uint8_t default_bits = 8;
constexpr uint32_t default_speed_hz = 50000000;
// The configuration port never drives the line back, which is pulled up.
constexpr uint8_t idle = 0xFF;

// How many transfers a request is a message of; 0 if it is none.
size_t transfers_of(uint32_t request)
{
    const bool message = _IOC_TYPE(request) == SPI_IOC_MAGIC && _IOC_NR(request) == 0 &&
                         _IOC_DIR(request) == _IOC_WRITE &&
                         _IOC_SIZE(request) % sizeof(spi_ioc_transfer) == 0;
    return message ? _IOC_SIZE(request) / sizeof(spi_ioc_transfer) : 0;
}

template <typename Value> long tell(void *argument, Value value)
{
    memcpy(argument, &value, sizeof(value));
    return 0;
}

template <typename Value> Value told(const void *argument)
{
    Value value;
    memcpy(&value, argument, sizeof(value));
    return value;
}

uint8_t *memory(uint64_t pointer)
{
    return reinterpret_cast<uint8_t *>(static_cast<uintptr_t>(pointer));
}

} // namespace

Spi::Spi(std::function<void(bool)> done) : Device("spi"), done_(std::move(done)) {}

void Spi::await_bitstream()
{
    stream_.clear();
    transfers_.clear();
    done_(false);
}

uint8_t Spi::mode_bits() const
{
    return mode_.value_or(0);
}

void Spi::set_least_first(bool on)
{
    mode_ = static_cast<uint8_t>(on ? mode_bits() | SPI_LSB_FIRST : mode_bits() & ~SPI_LSB_FIRST);
}

long Spi::ioctl(OpenFile &, uint32_t request, void *argument)
{
    switch (request) {
    case SPI_IOC_RD_MODE:
        return tell(argument, mode_bits());
    case SPI_IOC_RD_MODE32:
        return tell(argument, uint32_t{mode_bits()});
    case SPI_IOC_RD_LSB_FIRST:
        return tell(argument, static_cast<uint8_t>((mode_bits() & SPI_LSB_FIRST) != 0 ? 1 : 0));
    case SPI_IOC_RD_BITS_PER_WORD:
        return tell(argument, bits_.value_or(default_bits));
    case SPI_IOC_RD_MAX_SPEED_HZ:
        return tell(argument, speed_.value_or(default_speed_hz));
    case SPI_IOC_WR_MODE:
        mode_ = told<uint8_t>(argument);
        return 0;
    case SPI_IOC_WR_MODE32:
        mode_ = static_cast<uint8_t>(told<uint32_t>(argument));
        return 0;
    case SPI_IOC_WR_LSB_FIRST:
        set_least_first(told<uint8_t>(argument) != 0);
        return 0;
    case SPI_IOC_WR_BITS_PER_WORD:
        bits_ = told<uint8_t>(argument);
        return 0;
    case SPI_IOC_WR_MAX_SPEED_HZ:
        speed_ = told<uint32_t>(argument);
        return 0;
    default:
        return message(request, argument);
    }
}

// Nothing is sent of a message that is too long as a whole.
long Spi::message(uint32_t request, const void *argument)
{
    const size_t count = transfers_of(request);
    if (count == 0) {
        return -ENOTTY;
    }
    std::vector<spi_ioc_transfer> transfers(count);
    memcpy(transfers.data(), argument, count * sizeof(spi_ioc_transfer));
    uint64_t total = 0;
    for (const spi_ioc_transfer &one : transfers) {
        total += one.len;
    }
    if (total > message_max) {
        return -EMSGSIZE;
    }
    for (const spi_ioc_transfer &one : transfers) {
        transfer(one);
    }
    return static_cast<long>(total);
}

// Who only receives sends zeros.
void Spi::transfer(const spi_ioc_transfer &request)
{
    if (request.tx_buf == 0) {
        stream_.insert(stream_.end(), request.len, 0);
    } else {
        stream_.insert(stream_.end(), memory(request.tx_buf), memory(request.tx_buf) + request.len);
    }
    if (request.rx_buf != 0) {
        memset(memory(request.rx_buf), idle, request.len);
    }
    transfers_.push_back({request.len, request.speed_hz, request.delay_usecs, request.bits_per_word,
                          request.cs_change != 0, request.rx_buf != 0});
    if (done_line_works && stream_.size() >= expected) {
        done_(true);
    }
}

long Spi::read(OpenFile &, void *buffer, size_t count)
{
    return simple_transfer(nullptr, buffer, count);
}

long Spi::write(OpenFile &, const void *data, size_t count)
{
    return simple_transfer(data, nullptr, count);
}

long Spi::simple_transfer(const void *sent, void *received, size_t count)
{
    if (count > message_max) {
        return -EMSGSIZE;
    }
    spi_ioc_transfer one = {};
    one.tx_buf = reinterpret_cast<uintptr_t>(sent);
    one.rx_buf = reinterpret_cast<uintptr_t>(received);
    one.len = static_cast<uint32_t>(count);
    transfer(one);
    return static_cast<long>(count);
}

void Spi::describe(struct stat &status) const
{
    Device::describe(status);
    status.st_rdev = makedev(spidev_major, 0);
}

} // namespace virtual_board
