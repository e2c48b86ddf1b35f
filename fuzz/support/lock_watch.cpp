#include "fuzz/support/lock_watch.h"

#include <pthread.h>

#include <algorithm>
#include <array>

#include "fuzz/support/input.h"

namespace {

// Fixed: nothing is allocated in the middle of a lock.
struct Held {
    bool watched = false;
    std::array<pthread_mutex_t *, 16> mutexes = {};
};

thread_local Held held;

void replace(pthread_mutex_t *from, pthread_mutex_t *to)
{
    const auto place = std::find(held.mutexes.begin(), held.mutexes.end(), from);
    if (place != held.mutexes.end()) {
        *place = to;
    }
}

} // namespace

extern "C" {

int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    static const auto real = fuzz::next_of(&pthread_mutex_lock, "pthread_mutex_lock");
    if (held.watched) {
        fuzz::require(std::count(held.mutexes.begin(), held.mutexes.end(), mutex) == 0,
                      "a lock is taken once");
        replace(nullptr, mutex);
    }
    return real(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept
{
    static const auto real = fuzz::next_of(&pthread_mutex_unlock, "pthread_mutex_unlock");
    if (held.watched) {
        replace(mutex, nullptr);
    }
    return real(mutex);
}

} // extern "C"

namespace fuzz {

void watch_locks()
{
    held.watched = true;
}

void require_unlocked()
{
    require(std::count(held.mutexes.begin(), held.mutexes.end(), nullptr) ==
                static_cast<long>(held.mutexes.size()),
            "every lock is let go");
}

} // namespace fuzz
