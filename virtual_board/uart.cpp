#include "virtual_board/uart.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace virtual_board {

namespace {

constexpr int patience_ms = 1000;

bool wait_for(int descriptor, short events)
{
    pollfd waited = {descriptor, events, 0};
    return poll(&waited, 1, patience_ms) == 1 && (waited.revents & events) != 0;
}

} // namespace

Uart::Uart(unsigned number) : Device("ttyS" + std::to_string(number))
{
    char name[64] = {};
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0 || fcntl(master_, F_SETFL, O_NONBLOCK) != 0 || grantpt(master_) != 0 ||
        unlockpt(master_) != 0 || ptsname_r(master_, name, sizeof(name)) != 0) {
        return;
    }
    path_ = name;
    slave_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
}

Uart::~Uart()
{
    if (slave_ >= 0) {
        close(slave_);
    }
    if (master_ >= 0) {
        close(master_);
    }
}

void Uart::send(std::string_view text)
{
    while (!text.empty() && wait_for(master_, POLLOUT)) {
        const ssize_t sent = ::write(master_, text.data(), text.size());
        if (sent < 0) {
            return;
        }
        text.remove_prefix(static_cast<size_t>(sent));
    }
}

std::string Uart::receive(size_t at_least)
{
    std::string text;
    char piece[256];
    while (at_least == 0 || (text.size() < at_least && wait_for(master_, POLLIN))) {
        const ssize_t got = ::read(master_, piece, sizeof(piece));
        if (got <= 0) {
            break;
        }
        text.append(piece, static_cast<size_t>(got));
    }
    return text;
}

size_t Uart::unread() const
{
    // The kernel hands bytes over when it gets to it; a poll makes it do so.
    pollfd waited = {slave_, POLLIN, 0};
    poll(&waited, 1, 0);
    int count = 0;
    return ::ioctl(slave_, FIONREAD, &count) == 0 ? static_cast<size_t>(count) : 0;
}

size_t Uart::offer(std::string_view text)
{
    const ssize_t sent = ::write(master_, text.data(), text.size());
    return sent < 0 ? 0 : static_cast<size_t>(sent);
}

std::string Uart::take()
{
    std::string text;
    char piece[256];
    for (ssize_t got = 0; (got = ::read(master_, piece, sizeof(piece))) > 0;) {
        text.append(piece, static_cast<size_t>(got));
    }
    return text;
}

termios Uart::attributes() const
{
    termios now = {};
    tcgetattr(slave_, &now);
    return now;
}

// A machine without pseudo-terminals has no port to offer.
long Uart::open(OpenFile &)
{
    return slave_ < 0 ? -ENXIO : 0;
}

} // namespace virtual_board
