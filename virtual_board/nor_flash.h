// A NOR flash chip: programming clears bits, only an erase sets them again.
#ifndef VIRTUAL_BOARD_NOR_FLASH_H
#define VIRTUAL_BOARD_NOR_FLASH_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "virtual_board/clock.h"

namespace virtual_board {

struct NorGeometry {
    uint32_t size;
    uint32_t erase_size; // a power of two

    bool operator==(const NorGeometry &) const = default;
};

// What the chip's work takes on the board's clock. 0 is at once.
struct NorTiming {
    uint64_t erase_block_us = 0;
    uint64_t program_kib_us = 0;
};

class NorFlash {
public:
    static constexpr uint8_t erased = 0xFF;

    NorFlash(Clock &clock, const NorGeometry &geometry);

    const NorGeometry &geometry() const { return geometry_; }

    // Backend face: the chip on a bench. None of it wears, takes time or looks
    // at protection.
    const std::vector<uint8_t> &contents() { return cells(); }
    void put(uint32_t offset, const std::vector<uint8_t> &bytes);
    // Zeros there when the chip comes to the board.
    void comes_with_zeros(uint32_t offset, uint32_t length) { zeros_ = {offset, length}; }
    void flip_bit(uint32_t offset, unsigned bit);
    // Erases that the block has seen.
    uint32_t wear(uint32_t block) const { return wear_.at(block); }
    const std::vector<uint32_t> &wear() const { return wear_; }
    void set_timing(const NorTiming &timing) { timing_ = timing; }
    // While protected nothing is erased or programmed: by the bench, or by
    // whatever drives the chip's protect pin.
    void protect(bool on) { protected_ = on; }
    bool is_protected() const { return protected_; }
    void wire_protect(std::function<bool()> pin) { protect_pin_ = std::move(pin); }
    // Power fails once the chip has erased or programmed that many more bytes,
    // in the middle of whatever it does then. A chip without power answers
    // nothing.
    void cut_power_after(std::optional<uint64_t> bytes) { bytes_left_ = bytes; }
    std::optional<uint64_t> power_lasts_for() const { return bytes_left_; }
    void cut_power() { powered_ = false; }
    // Called when the power fails that way, amid the chip's work.
    void on_power_failure(std::function<void()> told) { power_failure_ = std::move(told); }
    void restore_power();
    bool powered() const { return powered_; }

    // Bus face; results are a driver's. The ranges lie within the chip.
    long read(uint32_t offset, void *buffer, size_t count);
    // All or nothing, but for a power cut.
    long program(uint32_t offset, const void *data, size_t count);
    // Whole blocks.
    long erase(uint32_t offset, uint32_t length);
    long lock(uint32_t offset, uint32_t length, bool locked);

private:
    std::vector<uint8_t> &cells();
    bool refuses(uint32_t offset, size_t count) const;
    size_t powered_part(size_t count);
    void spend(uint64_t duration_us);
    long erase_block(uint32_t block);

    Clock &clock_;
    NorGeometry geometry_;
    NorTiming timing_;
    std::vector<uint8_t> cells_; // empty until somebody looks
    std::pair<uint32_t, uint32_t> zeros_ = {};
    std::vector<uint32_t> wear_;
    std::vector<bool> locked_;
    bool protected_ = false;
    std::function<bool()> protect_pin_;
    bool powered_ = true;
    std::optional<uint64_t> bytes_left_;
    std::function<void()> power_failure_;
};

} // namespace virtual_board

#endif
