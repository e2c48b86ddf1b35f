// The board CPLD: 256 registers in a 4 KiB window behind /dev/ipmc_cpld.
#ifndef VIRTUAL_BOARD_CPLD_H
#define VIRTUAL_BOARD_CPLD_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <functional>
#include <vector>

#include "virtual_board/cpld_programmer.h"
#include "virtual_board/device.h"

namespace virtual_board {

// The registers are memory that programs map. On machines where the shim can
// watch the mapping, each load and store reaches the model by itself
// (loaded, stored); elsewhere the model compares the memory with what it
// last saw whenever the board is synchronised.
class Cpld : public Device {
public:
    using StoreObserver = std::function<void(uint8_t before, uint8_t after)>;
    using LoadObserver = std::function<void()>;

    Cpld();
    ~Cpld() override;

    // Backend face: registers as the hardware drives them. No observer runs and
    // neither read-only nor stuck bits get in the way.
    uint8_t get(uint32_t offset) const { return window_[offset]; }
    void set(uint32_t offset, uint8_t value);
    void set_bits(uint32_t offset, uint8_t mask);
    void clear_bits(uint32_t offset, uint8_t mask);
    // Bits that hold their level whatever is stored.
    void stick(uint32_t offset, uint8_t mask, uint8_t level);
    void unstick(uint32_t offset);
    // Called after a program's store has taken effect, also if nothing changed.
    void on_store(uint32_t offset, StoreObserver observer);
    CpldProgrammer &programmer() { return programmer_; }
    // Called after a program's load, where single loads are seen.
    void on_load(uint32_t offset, LoadObserver observer);

    // Bus face.
    long map(OpenFile &file, size_t length, Mapping &mapping) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    // A program has loaded, or has stored, a byte of the window.
    void loaded(uint32_t offset);
    void stored(uint32_t offset, uint8_t before);
    // Finds stores that were not watched; calls `found` with the offset and the
    // byte before for each.
    void find_stores(const std::function<void(uint32_t, uint8_t)> &found);

private:
    struct Rule {
        uint8_t fixed = 0; // bits that programs cannot change
        uint8_t stuck = 0; // bits that hold stuck_level
        uint8_t stuck_level = 0;
        std::vector<StoreObserver> observers;
        std::vector<LoadObserver> load_observers;
    };

    int memory_ = -1;
    uint8_t *window_ = nullptr;
    std::vector<uint8_t> seen_; // the window as the model last left it
    std::array<Rule, 256> rules_;
    CpldProgrammer programmer_;
};

} // namespace virtual_board

#endif
