#include "virtual_board/remote/machine.h"

#include <algorithm>
#include <utility>

namespace virtual_board::remote {

// The companion goes first.
struct Machine::Powered {
    Powered(const Personality &personality, Clock::Mode mode) : board(personality, mode) {}

    Board board;
    std::shared_ptr<void> companion;
};

Machine::Machine(const Personality &personality, const std::vector<Fault> &faults, Clock::Mode mode,
                 Companion companion)
    : personality_(personality), mode_(mode), companion_(std::move(companion)), powered_(power_up())
{
    for (const Fault &fault : faults) {
        powered_->board.faults.add(fault);
    }
}

std::shared_ptr<Machine::Powered> Machine::power_up()
{
    auto powered = std::make_shared<Powered>(personality_, mode_);
    Board &board = powered->board;
    board.trace.keep(false);
    const auto fails = [this, &board] {
        silence(board);
        power_failed_ = true;
    };
    board.flash().on_power_failure(fails);
    board.bios_flash().on_power_failure(fails);
    board.environment().on_power_failure(fails);
    powered->companion = companion_ ? companion_(board) : nullptr;
    return powered;
}

void Machine::silence(Board &board)
{
    board.flash().cut_power();
    board.bios_flash().cut_power();
    board.environment().cut_power();
}

std::shared_ptr<Board> Machine::board() const
{
    const std::lock_guard guard(lock_);
    return powered_ ? std::shared_ptr<Board>(powered_, &powered_->board) : nullptr;
}

std::shared_ptr<void> Machine::companion() const
{
    const std::lock_guard guard(lock_);
    return powered_ ? std::shared_ptr<void>(powered_, powered_->companion.get()) : nullptr;
}

std::shared_ptr<Board> Machine::power_down()
{
    const std::shared_ptr<Powered> gone = std::exchange(powered_, nullptr);
    Board &board = gone->board;
    board.act([&] {
        silence(board);
        flash_ = board.flash().contents();
        bios_flash_ = board.bios_flash().contents();
        environment_ = board.environment().bytes();
    });
    power_failed_ = false;
    return {gone, &board};
}

std::shared_ptr<Board> Machine::cut()
{
    const std::lock_guard guard(lock_);
    return powered_ ? power_down() : nullptr;
}

std::shared_ptr<Board> Machine::cut_failed()
{
    const std::lock_guard guard(lock_);
    return powered_ && power_failed_ ? power_down() : nullptr;
}

void Machine::cut_after(Part part, uint64_t bytes)
{
    const std::shared_ptr<Board> on = board();
    if (!on) {
        return;
    }
    on->act([&] {
        switch (part) {
        case Part::flash:
            return on->flash().cut_power_after(bytes);
        case Part::bios_flash:
            return on->bios_flash().cut_power_after(bytes);
        case Part::environment:
            return on->environment().cut_power_after(
                static_cast<size_t>(std::min<uint64_t>(bytes, EnvironmentPartition::size)),
                EnvironmentPartition::Medium::overwritten);
        }
    });
}

void Machine::restore()
{
    const std::lock_guard guard(lock_);
    if (powered_) {
        return;
    }
    powered_ = power_up();
    Board &board = powered_->board;
    board.act([&] {
        board.flash().put(0, flash_);
        board.bios_flash().put(0, bios_flash_);
        board.environment().set_bytes(environment_);
    });
}

} // namespace virtual_board::remote
