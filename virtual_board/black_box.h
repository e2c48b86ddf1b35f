// The black box: the FPGA's record of the host's last moments.
#ifndef VIRTUAL_BOARD_BLACK_BOX_H
#define VIRTUAL_BOARD_BLACK_BOX_H

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "virtual_board/fpga.h"

namespace virtual_board {

class BlackBox {
public:
    explicit BlackBox(Fpga &fpga);

    // Backend face.

    // The host crashes and leaves a record; nothing is kept while the box is
    // disabled.
    void crash(std::vector<uint8_t> record);
    bool present() const { return !record_.empty(); }
    size_t size() const { return record_.size(); }
    // Whether both control bits are set.
    bool enabled() const { return (control_ & 3) == 3; }
    bool fetching() const { return fetching_; }
    // Whether every byte of the record has been fetched at least once.
    bool taken() const { return taken_ == record_.size(); }
    // Parameters of the last fetch: the byte where it starts, and how many
    // bytes it yields, 0 for all that follow.
    uint32_t first() const { return first_; }
    uint32_t second() const { return second_; }
    // Ended fetches.
    unsigned releases() const { return releases_; }
    // So many further fetches do not get ready.
    unsigned not_ready = 0;

private:
    // A strobe acts when it falls.
    static bool falls(bool &level, uint32_t value);
    void start();
    uint32_t control() const;
    uint32_t next_word();

    std::vector<uint8_t> record_;
    uint32_t control_ = 0;
    uint32_t first_ = 0;
    uint32_t second_ = 0;
    bool fetch_strobe_ = false;
    bool done_strobe_ = false;
    bool fetching_ = false;
    unsigned releases_ = 0;
    size_t position_ = 0;
    size_t end_ = 0;
    size_t taken_ = 0;
};

} // namespace virtual_board

#endif
