#include "virtual_board/black_box.h"

#include <algorithm>
#include <utility>

namespace virtual_board {

namespace {

constexpr uint16_t reg_control = 292;
constexpr uint16_t reg_fetch_strobe = 416;
constexpr uint16_t reg_second = 417;
constexpr uint16_t reg_first = 418;
constexpr uint16_t reg_ready = 419;
constexpr uint16_t reg_done_strobe = 420;
constexpr uint16_t reg_word = 421;

constexpr uint32_t control_present = 0x10;
constexpr size_t word_size = 4;

} // namespace

BlackBox::BlackBox(Fpga &fpga)
{
    const auto ignore = [](uint32_t) {};
    fpga.on_register(
        reg_control, [this] { return control(); }, [this](uint32_t value) { control_ = value; });
    fpga.on_register(reg_first, nullptr, [this](uint32_t value) { first_ = value; });
    fpga.on_register(reg_second, nullptr, [this](uint32_t value) { second_ = value; });
    fpga.on_register(reg_fetch_strobe, nullptr, [this](uint32_t value) {
        if (falls(fetch_strobe_, value)) {
            start();
        }
    });
    fpga.on_register(
        reg_ready, [this] { return fetching_ ? 1U : 0U; }, ignore);
    fpga.on_register(reg_done_strobe, nullptr, [this](uint32_t value) {
        if (falls(done_strobe_, value)) {
            fetching_ = false;
            ++releases_;
        }
    });
    fpga.on_register(
        reg_word, [this] { return next_word(); }, ignore);
}

void BlackBox::crash(std::vector<uint8_t> record)
{
    if (enabled()) {
        record_ = std::move(record);
        taken_ = 0;
    }
}

bool BlackBox::falls(bool &level, uint32_t value)
{
    const bool before = std::exchange(level, value == 1);
    return before && value == 0;
}

void BlackBox::start()
{
    position_ = std::min<size_t>(first_, record_.size());
    const size_t rest = record_.size() - position_;
    end_ = position_ + (second_ == 0 ? rest : std::min<size_t>(second_, rest));
    fetching_ = not_ready == 0 && present();
    not_ready -= not_ready > 0 ? 1 : 0;
}

// The flag is the FPGA's own: it does not take part in writes.
uint32_t BlackBox::control() const
{
    return (control_ & ~control_present) | (present() ? control_present : 0);
}

// Past the end, a word's bytes are 0.
uint32_t BlackBox::next_word()
{
    uint32_t word = 0;
    const size_t from = position_;
    for (size_t i = 0; fetching_ && i < word_size && position_ < end_; ++i, ++position_) {
        word |= uint32_t{record_[position_]} << (8 * i);
    }
    if (from <= taken_) {
        taken_ = std::max(taken_, position_);
    }
    return word;
}

} // namespace virtual_board
