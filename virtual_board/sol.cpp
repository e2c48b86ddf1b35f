#include "virtual_board/sol.h"

#include <algorithm>

namespace virtual_board {

namespace {

constexpr uint16_t reg_offset = 320;
constexpr uint16_t reg_word = 322;
constexpr uint16_t reg_ready = 323;
constexpr uint16_t reg_done = 324;
constexpr uint16_t reg_enable = 328;
constexpr uint16_t reg_fetch_offset = 329;
constexpr uint16_t reg_length = 332;

constexpr size_t word_size = 4;

} // namespace

Sol::Sol(Clock &clock, Fpga &fpga, size_t size) : clock_(clock), ring_(size)
{
    const auto ignore = [](uint32_t) {};
    fpga.on_register(
        reg_offset, [this] { return static_cast<uint32_t>(begin_); }, ignore);
    fpga.on_register(
        reg_length, [this] { return static_cast<uint32_t>(pending_); }, ignore);
    fpga.on_register(
        reg_ready, [this] { return ready(); }, ignore);
    fpga.on_register(
        reg_word, [this] { return next_word(); }, ignore);
    fpga.on_register(reg_done, nullptr, [this](uint32_t value) {
        if (value == 1) {
            release();
        }
    });
    fpga.on_register(reg_fetch_offset, nullptr, [this](uint32_t value) { fetch_offset_ = value; });
    fpga.on_register(reg_enable, nullptr, [this](uint32_t value) {
        if (value == 1) {
            start();
        }
    });
}

void Sol::print(std::string_view text)
{
    const size_t taken = std::min(text.size(), ring_.size() - pending_);
    for (const char c : text.substr(0, taken)) {
        ring_[(begin_ + pending_) % ring_.size()] = static_cast<uint8_t>(c);
        ++pending_;
    }
    lost_ += text.size() - taken;
}

std::string Sol::text() const
{
    std::string pending;
    for (size_t i = 0; i < pending_; ++i) {
        pending += static_cast<char>(ring_[(begin_ + i) % ring_.size()]);
    }
    return pending;
}

void Sol::release()
{
    if (fetching_) {
        const size_t taken = std::min(fetched_, pending_);
        begin_ = (begin_ + taken) % ring_.size();
        pending_ -= taken;
    }
    fetching_ = false;
}

void Sol::start()
{
    fetching_ = true;
    fetched_ = 0;
    started_at_us_ = clock_.now_us();
    fetch_fails_ = not_ready > 0 || fetch_offset_ != begin_;
    not_ready -= not_ready > 0 ? 1 : 0;
}

uint32_t Sol::ready() const
{
    return fetching_ && !fetch_fails_ && clock_.now_us() - started_at_us_ >= settle_us ? 1 : 0;
}

// Past the end of what is there, a word's bytes are 0.
uint32_t Sol::next_word()
{
    uint32_t word = 0;
    if (ready() != 0) {
        for (size_t i = 0; i < word_size && fetched_ < pending_; ++i, ++fetched_) {
            word |= uint32_t{ring_[(begin_ + fetched_) % ring_.size()]} << (8 * i);
        }
    }
    return word;
}

} // namespace virtual_board
