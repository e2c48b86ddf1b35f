// Named faults: what goes wrong, where, when and how often.
#ifndef VIRTUAL_BOARD_FAULT_H
#define VIRTUAL_BOARD_FAULT_H

#include <stdint.h>

#include <deque>
#include <optional>
#include <random>
#include <string>

#include "virtual_board/trace.h"

namespace virtual_board {

struct Fault {
    enum class Kind {
        error,       // the call fails with errno `value`; the device sees nothing
        result,      // the call answers `value`; the device sees nothing
        late_result, // the device does its work, the call answers `value`
        short_count, // the device moves `value` bytes only
        lie,         // the call reports success; the device sees nothing
        bit_flip,    // the call succeeds, then bit `value` of what was read or stored is inverted
        delay,       // `value` microseconds pass first
        vanish,      // the device is gone, from this call on
    };

    std::string name;   // free, for counters and messages
    std::string device; // node name
    Operation operation = Operation::read;
    std::optional<uint32_t> address = {}; // command code, ioctl request, offset; any if absent
    std::optional<uint64_t> place = {};   // of an ioctl that has one: the start of an erase
    Kind kind = Kind::error;
    long long value = 0;
    unsigned skip = 0;         // matching calls that pass unharmed first
    unsigned times = 1;        // calls that are hit then; 0: all
    unsigned per_mille = 1000; // chance of a hit, from the plan's seed
    unsigned hits = 0;         // counts how often it struck
};

const char *to_string(Fault::Kind kind);

// The faults of a board. The same seed and the same calls give the same hits.
class FaultPlan {
public:
    explicit FaultPlan(uint32_t seed = 1) : random_(seed) {}

    // The reference stays valid until clear().
    Fault &add(Fault fault);
    void clear() { faults_.clear(); }
    // The fault that strikes this call, counted; null if none does.
    const Fault *strike(const std::string &device, Operation operation, uint32_t address,
                        std::optional<uint64_t> place = {});

    const std::deque<Fault> &faults() const { return faults_; }

private:
    std::deque<Fault> faults_;
    std::minstd_rand random_;
};

} // namespace virtual_board

#endif
