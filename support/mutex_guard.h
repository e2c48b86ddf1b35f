// Scoped hold of a POSIX mutex.
#ifndef SUPPORT_MUTEX_GUARD_H
#define SUPPORT_MUTEX_GUARD_H

#include <pthread.h>

namespace board_hal {

// Holds a mutex from construction to the end of the scope. The library's
// mutexes are pthread_mutex_t, not std::mutex: open locks are taken by one
// thread and released by another, and some operations return what the unlock
// answered.
class MutexGuard {
public:
    explicit MutexGuard(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~MutexGuard() { pthread_mutex_unlock(&mutex_); }

    MutexGuard(const MutexGuard &) = delete;
    MutexGuard &operator=(const MutexGuard &) = delete;

private:
    pthread_mutex_t &mutex_;
};

} // namespace board_hal

#endif
