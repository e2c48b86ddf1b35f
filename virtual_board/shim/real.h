// The C library's own functions behind the ones that the shim defines.
#ifndef VIRTUAL_BOARD_SHIM_REAL_H
#define VIRTUAL_BOARD_SHIM_REAL_H

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>

namespace virtual_board::shim {

// Looked up at first use and constant-initialised: the shim's functions are
// called before any constructor has run.
template <typename Function> class Real {
public:
    constexpr explicit Real(const char *name) : name_(name) {}

    template <typename... Arguments> auto operator()(Arguments... arguments)
    {
        return get()(arguments...);
    }

private:
    Function *get()
    {
        void *found = found_.load(std::memory_order_acquire);
        if (found == nullptr) {
            found = dlsym(RTLD_NEXT, name_);
            found_.store(found, std::memory_order_release);
        }
        return reinterpret_cast<Function *>(found);
    }

    const char *name_;
    std::atomic<void *> found_{nullptr};
};

inline constinit Real<int(pthread_mutex_t *)> real_mutex_lock("pthread_mutex_lock");
inline constinit Real<int(pthread_mutex_t *)> real_mutex_unlock("pthread_mutex_unlock");

// The shim's own mutex: std::mutex would come by the functions that the shim
// defines.
class RealMutex {
public:
    void lock() { real_mutex_lock(&mutex_); }
    void unlock() { real_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

} // namespace virtual_board::shim

#endif
