#include "virtual_board/nor_flash.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <stdexcept>

namespace virtual_board {

NorFlash::NorFlash(Clock &clock, const NorGeometry &geometry)
    : clock_(clock), geometry_(geometry), wear_(geometry.size / geometry.erase_size),
      locked_(geometry.size / geometry.erase_size)
{
    if (geometry.size % geometry.erase_size != 0) {
        throw std::invalid_argument("a flash consists of whole erase blocks");
    }
}

// Most programs on a board never touch its flash, which is large.
std::vector<uint8_t> &NorFlash::cells()
{
    if (cells_.empty()) {
        cells_.assign(geometry_.size, erased);
        std::fill_n(cells_.begin() + zeros_.first, zeros_.second, uint8_t{0});
    }
    return cells_;
}

void NorFlash::put(uint32_t offset, const std::vector<uint8_t> &bytes)
{
    if (offset > geometry_.size || bytes.size() > geometry_.size - offset) {
        throw std::out_of_range("behind the end of the flash");
    }
    std::copy(bytes.begin(), bytes.end(), cells().begin() + offset);
}

void NorFlash::flip_bit(uint32_t offset, unsigned bit)
{
    uint8_t &cell = cells().at(offset);
    cell = static_cast<uint8_t>(cell ^ 1U << bit);
}

void NorFlash::restore_power()
{
    powered_ = true;
    bytes_left_.reset();
}

bool NorFlash::refuses(uint32_t offset, size_t count) const
{
    if (!powered_ || protected_ || (protect_pin_ && protect_pin_())) {
        return true;
    }
    const size_t end = offset + count;
    for (size_t block = offset / geometry_.erase_size; block * geometry_.erase_size < end;
         ++block) {
        if (locked_[block]) {
            return true;
        }
    }
    return false;
}

// As many of the bytes as the power lasts for.
size_t NorFlash::powered_part(size_t count)
{
    if (!bytes_left_) {
        return count;
    }
    const auto part = static_cast<size_t>(std::min<uint64_t>(count, *bytes_left_));
    *bytes_left_ -= part;
    if (part < count) {
        powered_ = false;
        bytes_left_.reset();
        if (power_failure_) {
            power_failure_();
        }
    }
    return part;
}

void NorFlash::spend(uint64_t duration_us)
{
    if (duration_us > 0) {
        clock_.wait_us(duration_us);
    }
}

long NorFlash::read(uint32_t offset, void *buffer, size_t count)
{
    if (!powered_) {
        return -EIO;
    }
    memcpy(buffer, cells().data() + offset, count);
    return static_cast<long>(count);
}

long NorFlash::program(uint32_t offset, const void *data, size_t count)
{
    if (refuses(offset, count)) {
        return -EIO;
    }
    spend((count + 1023) / 1024 * timing_.program_kib_us);
    const auto *bytes = static_cast<const uint8_t *>(data);
    const size_t part = powered_part(count);
    uint8_t *const cell = cells().data() + offset;
    for (size_t i = 0; i < part; ++i) {
        cell[i] &= bytes[i];
    }
    return part == count ? static_cast<long>(count) : -EIO;
}

long NorFlash::erase_block(uint32_t block)
{
    spend(timing_.erase_block_us);
    ++wear_[block];
    const size_t part = powered_part(geometry_.erase_size);
    memset(cells().data() + size_t{block} * geometry_.erase_size, erased, part);
    return part == geometry_.erase_size ? 0 : -EIO;
}

long NorFlash::erase(uint32_t offset, uint32_t length)
{
    if (refuses(offset, length)) {
        return -EIO;
    }
    long result = 0;
    const uint32_t first = offset / geometry_.erase_size;
    for (uint32_t i = 0; i < length / geometry_.erase_size && result == 0; ++i) {
        result = erase_block(first + i);
    }
    return result;
}

long NorFlash::lock(uint32_t offset, uint32_t length, bool locked)
{
    if (!powered_) {
        return -EIO;
    }
    const uint32_t first = offset / geometry_.erase_size;
    for (uint32_t i = 0; i < length / geometry_.erase_size; ++i) {
        locked_[first + i] = locked;
    }
    return 0;
}

} // namespace virtual_board
