// Waiting for descriptors. The board's drivers have no way to wait for them: to
// the kernel, such a descriptor is always ready.
//
// The rules of interpose.cpp hold here too.

#include <poll.h>
#include <signal.h>
#include <sys/select.h>
#include <time.h>

#include <algorithm>
#include <vector>

#include "virtual_board/shim/inside.h"
#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

namespace {

Real<int(pollfd *, nfds_t, int)> real_poll("poll");
Real<int(pollfd *, nfds_t, const timespec *, const sigset_t *)> real_ppoll("ppoll");
Real<int(int, fd_set *, fd_set *, fd_set *, timeval *)> real_select("select");
Real<int(int, fd_set *, fd_set *, fd_set *, const timespec *, const sigset_t *)>
    real_pselect("pselect");

constexpr short always = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;

bool on_board(const pollfd &waited)
{
    return waited.fd >= 0 && board_file(waited.fd) != nullptr;
}

// `wait` polls what it is given, and does not wait if told so.
template <typename Wait> int poll_any(pollfd *waited, nfds_t count, const Wait &wait)
{
    if (board() == nullptr || std::none_of(waited, waited + count, on_board)) {
        return wait(waited, false);
    }
    std::vector<pollfd> others(waited, waited + count);
    int ready = 0;
    for (nfds_t i = 0; i < count; ++i) {
        if (on_board(waited[i])) {
            others[i].fd = -1;
            waited[i].revents = static_cast<short>(waited[i].events & always);
            ready += waited[i].revents != 0 ? 1 : 0;
        }
    }
    const int result = wait(others.data(), ready > 0);
    for (nfds_t i = 0; i < count && result >= 0; ++i) {
        if (others[i].fd >= 0 || waited[i].fd < 0) {
            waited[i].revents = others[i].revents;
        }
    }
    return result < 0 ? result : result + ready;
}

// The board's descriptors of a set, which are taken out of it.
fd_set take_out(int count, fd_set *set, int &taken)
{
    fd_set own;
    FD_ZERO(&own);
    for (int descriptor = 0; set != nullptr && descriptor < count; ++descriptor) {
        if (FD_ISSET(descriptor, set) && board_file(descriptor)) {
            FD_CLR(descriptor, set);
            FD_SET(descriptor, &own);
            ++taken;
        }
    }
    return own;
}

void put_in(int count, const fd_set &own, fd_set *set)
{
    for (int descriptor = 0; set != nullptr && descriptor < count; ++descriptor) {
        if (FD_ISSET(descriptor, &own)) {
            FD_SET(descriptor, set);
        }
    }
}

// Nothing exceptional ever happens to the board's descriptors.
template <typename Wait>
int select_any(int count, fd_set *reading, fd_set *writing, fd_set *exceptional, const Wait &wait)
{
    if (board() == nullptr) {
        return wait(false);
    }
    int ready = 0;
    int waited_in_vain = 0;
    count = std::min(count, FD_SETSIZE);
    const fd_set readable = take_out(count, reading, ready);
    const fd_set writable = take_out(count, writing, ready);
    take_out(count, exceptional, waited_in_vain);
    const int result = wait(ready > 0);
    if (result < 0) {
        return result;
    }
    put_in(count, readable, reading);
    put_in(count, writable, writing);
    return result + ready;
}

constexpr timespec at_once = {};

} // namespace

} // namespace virtual_board::shim

using namespace virtual_board::shim;

extern "C" {

int poll(pollfd *waited, nfds_t count, int timeout)
{
    return poll_any(waited, count, [&](pollfd *others, bool ready) {
        return real_poll(others, count, ready ? 0 : timeout);
    });
}

int __poll_chk(pollfd *waited, nfds_t count, int timeout, size_t)
{
    return poll_any(waited, count, [&](pollfd *others, bool ready) {
        return real_poll(others, count, ready ? 0 : timeout);
    });
}

int ppoll(pollfd *waited, nfds_t count, const timespec *timeout, const sigset_t *mask)
{
    return poll_any(waited, count, [&](pollfd *others, bool ready) {
        return real_ppoll(others, count, ready ? &at_once : timeout, mask);
    });
}

int select(int count, fd_set *reading, fd_set *writing, fd_set *exceptional, timeval *timeout)
{
    return select_any(count, reading, writing, exceptional, [&](bool ready) {
        timeval none = {};
        return real_select(count, reading, writing, exceptional, ready ? &none : timeout);
    });
}

int pselect(int count, fd_set *reading, fd_set *writing, fd_set *exceptional,
            const timespec *timeout, const sigset_t *mask)
{
    return select_any(count, reading, writing, exceptional, [&](bool ready) {
        return real_pselect(count, reading, writing, exceptional, ready ? &at_once : timeout, mask);
    });
}

} // extern "C"
