// Tells what happens on the board to someone who reads along.
#ifndef VIRTUAL_BOARD_NARRATIVE_H
#define VIRTUAL_BOARD_NARRATIVE_H

#include <stdint.h>
#include <stdio.h>

#include <array>
#include <string>

#include "virtual_board/board.h"

namespace virtual_board {

// Each line begins with whom it concerns: "host  |", "panel |" or "board |". Stores of
// programs to named registers are told as they happen, with the bits that
// change; heartbeats, the register test and stores that change nothing are not.
class Narrative {
public:
    Narrative(Board &board, FILE *out);

    Narrative(const Narrative &) = delete;
    Narrative &operator=(const Narrative &) = delete;

    // Begins a paragraph.
    void heading(const std::string &text);
    void host(const std::string &text) { line("host", text); }
    void panel(const std::string &text) { line("panel", text); }
    void board(const std::string &text) { line("board", text); }
    // A message of the host's side and what it means.
    void message(const char *verb, const Message &bytes, const std::string &meaning);
    // One word of the host's, as Host::on_change gives it, after what the
    // hardware changed in the registers with it.
    void host_changed(const std::string &change);
    // Takes the registers as they are now for known.
    void forget_changes();

private:
    void line(const char *who, const std::string &text);
    void heard(const Event &event);
    void register_changed(uint32_t offset, uint8_t before, uint8_t after);

    Board &board_;
    FILE *out_;
    std::array<uint8_t, 256> known_{};
};

} // namespace virtual_board

#endif
