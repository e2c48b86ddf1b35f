#include "console_bridge/serial_line.h"

#include <board_hal.h>
#include <errno.h>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>

namespace console_bridge {

namespace {

constexpr int cannot_be_set_up = -5;
constexpr unsigned finish_attempts = 100;
constexpr unsigned finish_pause_us = 10000;
constexpr size_t receive_max = 4096;

} // namespace

int SerialLine::open(int32_t channel)
{
    const int result = uart_init(channel, 0);
    if (result < 0) {
        // The library leaves this one open, and no longer its own.
        if (result == cannot_be_set_up) {
            ::close(serial_handle[channel]);
            serial_handle[channel] = -1;
        }
        return result;
    }
    channel_ = channel;
    open_ = true;
    // A line that takes nothing must not hold the console up.
    fcntl(serial_handle[channel_], F_SETFL, O_NONBLOCK);
    rate_ = get_current_baud(channel_);
    return 0;
}

void SerialLine::finish()
{
    for (unsigned attempt = 0; open_ && !waiting_.empty() && attempt < finish_attempts; ++attempt) {
        push();
        usleep(finish_pause_us);
    }
    if (open_ && waiting_.empty()) {
        tcdrain(serial_handle[channel_]);
    }
}

void SerialLine::close()
{
    if (open_) {
        uart_close(channel_);
    }
    open_ = false;
    waiting_.clear();
}

void SerialLine::send(std::string_view text)
{
    const size_t taken = std::min(text.size(), waiting_max - waiting_.size());
    waiting_ += text.substr(0, taken);
    lost_ += text.size() - taken;
    push();
}

void SerialLine::push()
{
    if (!open_ || waiting_.empty()) {
        return;
    }
    const int count = uart_write(channel_, reinterpret_cast<const uint8_t *>(waiting_.data()),
                                 static_cast<uint32_t>(waiting_.size()));
    if (count > 0) {
        waiting_.erase(0, static_cast<size_t>(count));
    } else if (count < 0 && errno != EAGAIN && errno != EINTR) {
        lost_ += waiting_.size();
        waiting_.clear();
    }
}

std::string SerialLine::receive()
{
    uint8_t bytes[receive_max];
    const int count = open_ ? uart_read(channel_, bytes, sizeof(bytes)) : 0;
    return count > 0 ? std::string(bytes, bytes + count) : std::string();
}

bool SerialLine::follow()
{
    if (!open_) {
        return false;
    }
    update_uart_baud(channel_);
    const int now = get_current_baud(channel_);
    const bool changed = now != rate_;
    rate_ = now;
    return changed;
}

} // namespace console_bridge
