// A board and its power supply.
#ifndef VIRTUAL_BOARD_REMOTE_MACHINE_H
#define VIRTUAL_BOARD_REMOTE_MACHINE_H

#include <stdint.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "virtual_board/board.h"

namespace virtual_board::remote {

// Without power there is no board, only what its flash parts keep: the
// controller's flash, the host's BIOS flash and the environment.
class Machine {
public:
    // What goes with each board that gets power, and lives as long as it.
    using Companion = std::function<std::shared_ptr<void>(Board &)>;

    enum class Part { flash, bios_flash, environment };

    // The faults are those of the first power-on.
    explicit Machine(const Personality &personality, const std::vector<Fault> &faults = {},
                     Clock::Mode mode = Clock::Mode::real_time, Companion companion = {});

    const Personality &personality() const { return personality_; }
    // Null without power.
    std::shared_ptr<Board> board() const;
    // What the companion of the board was made to.
    std::shared_ptr<void> companion() const;

    // Power goes at once, between two accesses. The result is the board that has
    // lost it; null if there was no power.
    std::shared_ptr<Board> cut();
    // Power goes when the part has erased or written that many more bytes, amid
    // whatever it does then. Nothing reaches any part from then on. Who carries
    // out the access sees power_failed(), and lets the rest of the board follow.
    void cut_after(Part part, uint64_t bytes);
    bool power_failed() const { return power_failed_; }
    // As cut(), but only if the power has failed.
    std::shared_ptr<Board> cut_failed();
    // A new board, with the parts' contents as they were left. Nothing happens if
    // there is power.
    void restore();

private:
    struct Powered;

    std::shared_ptr<Powered> power_up();
    static void silence(Board &board);
    std::shared_ptr<Board> power_down();

    Personality personality_;
    Clock::Mode mode_;
    Companion companion_;
    mutable std::mutex lock_;
    std::shared_ptr<Powered> powered_;
    std::atomic<bool> power_failed_ = false;
    std::vector<uint8_t> flash_;
    std::vector<uint8_t> bios_flash_;
    std::vector<uint8_t> environment_;
};

} // namespace virtual_board::remote

#endif
