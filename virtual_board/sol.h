// The host's serial console as the FPGA's LPC side buffers it.
#ifndef VIRTUAL_BOARD_SOL_H
#define VIRTUAL_BOARD_SOL_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/clock.h"
#include "virtual_board/fpga.h"

namespace virtual_board {

// A ring of bytes. A fetch starts at the offset that the controller gives and
// yields words of four bytes, lowest first; the release takes out of the ring
// what was fetched.
class Sol {
public:
    static constexpr size_t default_size = 1024;

    Sol(Clock &clock, Fpga &fpga, size_t size = default_size);

    // Backend face: what the host prints. Bytes that find no room are lost.
    void print(std::string_view text);
    size_t lost() const { return lost_; }
    // Bytes that the controller has not taken, and where they begin.
    size_t pending() const { return pending_; }
    std::string text() const;
    size_t offset() const { return begin_; }
    bool fetching() const { return fetching_; }
    // From the start of a fetch to the ready flag.
    uint64_t settle_us = 10;
    // So many further fetches do not get ready.
    unsigned not_ready = 0;

private:
    void release();
    void start();
    uint32_t ready() const;
    uint32_t next_word();

    Clock &clock_;
    std::vector<uint8_t> ring_;
    size_t begin_ = 0;
    size_t pending_ = 0;
    size_t lost_ = 0;
    bool fetching_ = false;
    bool fetch_fails_ = false;
    uint64_t started_at_us_ = 0;
    size_t fetch_offset_ = 0;
    size_t fetched_ = 0;
};

} // namespace virtual_board

#endif
