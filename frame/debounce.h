// The small memories that decide when a polled line is believed.
//
// Each is a plain value that starts as zero bytes, knows nothing of registers
// or locks, and is fed once per poll.
#ifndef FRAME_DEBOUNCE_H
#define FRAME_DEBOUNCE_H

#include <stdint.h>

namespace board_hal {

// The last polls of one line, the newest in bit 0.
template <typename Word> struct ShiftHistory {
    Word bits = 0;

    constexpr void push(bool level)
    {
        bits = static_cast<Word>(static_cast<uint32_t>(bits) << 1 | (level ? 1U : 0U));
    }

    constexpr bool newest_all_set(unsigned polls) const
    {
        return (bits & newest(polls)) == newest(polls);
    }

    constexpr bool newest_all_clear(unsigned polls) const { return (bits & newest(polls)) == 0; }

    constexpr bool any_set() const { return bits != 0; }

private:
    static constexpr uint32_t newest(unsigned polls) { return (1U << polls) - 1; }
};

// Believes a value that ten polls in a row have seen.
struct StableCount {
    static constexpr uint32_t polls_needed = 10;

    uint32_t count = 0; // polls in a row that saw the value, held at polls_needed
    uint32_t last_value = 0;

    // Takes one poll; whether the value is believed.
    constexpr bool settled(uint32_t value)
    {
        // The very first poll has nothing to differ from.
        if (count == 0 || value != last_value) {
            count = 0;
            last_value = value;
        }
        if (count < polls_needed) {
            ++count;
        }
        return count == polls_needed;
    }
};

// A level that rises after ten good polls in a row and falls after ten bad ones.
struct LevelHistory {
    static constexpr unsigned polls_needed = 10;

    ShiftHistory<uint32_t> history;
    uint32_t level = 0;

    // Takes one poll and returns the level.
    constexpr uint32_t push(bool good)
    {
        history.push(good);
        if (!good) {
            history.bits &= 0xFFFF; // a good poll keeps the older bits
        }
        if (history.newest_all_clear(polls_needed)) {
            level = 0;
        } else if (history.newest_all_set(polls_needed)) {
            level = 1;
        }
        return level;
    }
};

// Tells when a line rises from one poll to the next.
struct RisingEdge {
    uint8_t last = 0;

    constexpr bool rose(bool level)
    {
        const bool edge = level && last == 0;
        last = level ? 1 : 0;
        return edge;
    }
};

// Counts events and tells every nth of them.
struct EventCount {
    uint8_t count = 0;

    constexpr bool reached(uint8_t nth)
    {
        count = static_cast<uint8_t>(count + 1);
        if (count < nth) {
            return false;
        }
        count = 0;
        return true;
    }
};

} // namespace board_hal

#endif
