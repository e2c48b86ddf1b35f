#include "virtual_board/narrative.h"

#include <algorithm>

#include "board_hal_cpld.h"
#include "virtual_board/ipmi_text.h"
#include "virtual_board/register_names.h"

namespace virtual_board {

namespace {

constexpr int width = 96;
constexpr size_t verb_column = 10;
constexpr size_t byte_column = 24;

// Bits whose changes are no news.
constexpr uint8_t noise(uint32_t offset)
{
    switch (offset) {
    case CPLD_REG_TEST:
        return 0xFF;
    case CPLD_REG_RESET_D:
        return CPLD_HEARTBEAT;
    default:
        return 0;
    }
}

std::string milliseconds(uint64_t duration_us)
{
    return std::to_string((duration_us + 500) / 1000) + " ms";
}

struct Wording {
    const char *change;
    const char *text;
};

constexpr Wording wordings[] = {
    {"button pressed", "the power button goes down"},
    {"power on", "POWER ON: the host starts"},
    {"power off", "POWER OFF: the host stops"},
    {"forced power off", "the button was held so long that the power is cut"},
    {"reset", "RESET: the host starts over"},
    {"nmi", "NMI: the host takes the diagnostic interrupt"},
    {"clear cmos", "CMOS cleared: the host forgets its set-up"},
};

} // namespace

Narrative::Narrative(Board &board, FILE *out) : board_(board), out_(out)
{
    forget_changes();
    board.trace.listen([this](const Event &event) { heard(event); });
}

void Narrative::line(const char *who, const std::string &text)
{
    fprintf(out_, "%-5s | %s\n", who, text.c_str());
}

void Narrative::heading(const std::string &text)
{
    const auto now_ms = static_cast<unsigned long long>(board_.clock.now_us() / 1000);
    const std::string title = "-- " + text + " ";
    const int dashes = std::max(3, width - static_cast<int>(title.size()) - 10);
    fprintf(out_, "\n%s%s %4llu.%03llu s\n", title.c_str(),
            std::string(static_cast<size_t>(dashes), '-').c_str(), now_ms / 1000, now_ms % 1000);
}

void Narrative::message(const char *verb, const Message &bytes, const std::string &meaning)
{
    std::string text = hex_bytes(bytes);
    const bool fits = text.size() < byte_column;
    if (fits && !meaning.empty()) {
        text.resize(byte_column, ' ');
        text += meaning;
    }
    std::string label = verb;
    label.resize(verb_column, ' ');
    host(label + text);
    if (!fits && !meaning.empty()) {
        host(std::string(verb_column + byte_column, ' ') + meaning);
    }
}

void Narrative::host_changed(const std::string &change)
{
    for (uint32_t offset = 0; offset < known_.size(); ++offset) {
        register_changed(offset, known_[offset], board_.cpld().get(offset));
    }
    if (change == "button released") {
        host("the power button comes up again; it was held for " +
             milliseconds(board_.host().last_press_us()));
        return;
    }
    for (const Wording &wording : wordings) {
        if (change == wording.change) {
            host(wording.text);
            return;
        }
    }
    host(change);
}

void Narrative::forget_changes()
{
    for (uint32_t offset = 0; offset < known_.size(); ++offset) {
        known_[offset] = board_.cpld().get(offset);
    }
}

void Narrative::heard(const Event &event)
{
    if (event.operation == Operation::store && event.address < known_.size() &&
        event.bytes.size() == 2) {
        register_changed(event.address, event.bytes[0], event.bytes[1]);
    }
}

void Narrative::register_changed(uint32_t offset, uint8_t before, uint8_t after)
{
    known_[offset] = after;
    const std::string name = register_name(offset);
    if (name.empty() || ((before ^ after) & ~noise(offset)) == 0) {
        return;
    }
    char text[64];
    snprintf(text, sizeof(text), "CPLD %02Xh %-13s %02Xh -> %02Xh   ", offset, name.c_str(), before,
             after);
    board(text + changed_bits(offset, before, after));
}

} // namespace virtual_board
