#include "tests/support/library_seam.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>

#include "platform/vos.h"
#include "tests/support/import_table.h"

namespace board_test {

namespace {

constexpr const char *library = "libboard_hal.so";

constexpr unsigned plain = bit(Failure::error);
constexpr unsigned waiting = plain | bit(Failure::interrupted);
constexpr unsigned answering = waiting | bit(Failure::zero) | bit(Failure::above_9999);
constexpr unsigned program =
    plain | bit(Failure::zero) | bit(Failure::exit_status) | bit(Failure::killed);
constexpr unsigned no_failure = 0;

constexpr long long error_number = 10001;

struct State {
    bool counting = false;
    std::vector<SeamCall> calls;
    std::optional<size_t> number;
    Failure failure = Failure::error;
    bool struck = false;
    std::optional<long long> injected;
    size_t stray_closes = 0;
    std::set<void *> memory;
    std::set<int> descriptors;
    std::set<FILE *> streams;
    std::set<void *> mappings;
};

State &state()
{
    static State &instance = *new State;
    return instance;
}

// Notes a call; the failure if it is this one's turn.
std::optional<Failure> turn(const char *function, unsigned failures)
{
    State &seam = state();
    if (!seam.counting) {
        return {};
    }
    seam.calls.push_back({function, failures});
    if (seam.number != seam.calls.size() - 1 || (failures & bit(seam.failure)) == 0) {
        return {};
    }
    seam.struck = true;
    return seam.failure;
}

template <typename Result> Result answer(Result result, int error = 0)
{
    state().injected = static_cast<long long>(result);
    if (error != 0) {
        errno = error;
    }
    return result;
}

// The functions behind the seam, in the order of the hooks.
template <typename Function> struct Behind {
    Function *function = nullptr;
    template <typename... Arguments> auto operator()(Arguments... arguments) const
    {
        return function(arguments...);
    }
};

// What a system call answers that fails; most failures are alike.
template <typename Result> Result failed(Failure failure, int error)
{
    switch (failure) {
    case Failure::interrupted:
        return answer<Result>(-1, EINTR);
    case Failure::zero:
        return answer<Result>(0);
    case Failure::above_9999:
        return answer<Result>(static_cast<Result>(error_number));
    default:
        return answer<Result>(-1, error);
    }
}

// ---- descriptors ----

Behind<int(const char *, int, ...)> real_open;
int seam_open(const char *path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list args;
        va_start(args, flags);
        mode = static_cast<mode_t>(va_arg(args, int));
        va_end(args);
    }
    if (const auto failure = turn("open", waiting)) {
        return failed<int>(*failure, EIO);
    }
    const int descriptor = real_open(path, flags, mode);
    if (descriptor >= 0) {
        state().descriptors.insert(descriptor);
    }
    return descriptor;
}

// The descriptor is gone, whatever the call answers, as on Linux.
Behind<int(int)> real_close;
int seam_close(int descriptor)
{
    const auto failure = turn("close", waiting);
    state().stray_closes += 1 - state().descriptors.erase(descriptor);
    const int result = real_close(descriptor);
    return failure ? failed<int>(*failure, EIO) : result;
}

unsigned transfer_failures(size_t count)
{
    return answering | (count >= 2 ? bit(Failure::short_count) : 0);
}

Behind<ssize_t(int, void *, size_t)> real_read;
ssize_t seam_read(int descriptor, void *buffer, size_t count)
{
    const auto failure = turn("read", transfer_failures(count));
    if (failure == Failure::short_count) {
        return answer(real_read(descriptor, buffer, count / 2));
    }
    return failure ? failed<ssize_t>(*failure, EIO) : real_read(descriptor, buffer, count);
}

Behind<ssize_t(int, const void *, size_t)> real_write;
ssize_t seam_write(int descriptor, const void *buffer, size_t count)
{
    const auto failure = turn("write", transfer_failures(count));
    if (failure == Failure::short_count) {
        return answer(real_write(descriptor, buffer, count / 2));
    }
    return failure ? failed<ssize_t>(*failure, EIO) : real_write(descriptor, buffer, count);
}

Behind<int(int, unsigned long, ...)> real_ioctl;
int seam_ioctl(int descriptor, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    const auto failure = turn("ioctl", answering);
    return failure ? failed<int>(*failure, EIO) : real_ioctl(descriptor, request, argument);
}

Behind<int(int, int, ...)> real_fcntl;
int seam_fcntl(int descriptor, int command, ...)
{
    va_list args;
    va_start(args, command);
    void *argument = va_arg(args, void *);
    va_end(args);
    const auto failure = turn("fcntl", waiting);
    return failure ? failed<int>(*failure, EIO) : real_fcntl(descriptor, command, argument);
}

Behind<off_t(int, off_t, int)> real_lseek;
off_t seam_lseek(int descriptor, off_t offset, int whence)
{
    const auto failure = turn("lseek", answering);
    return failure ? failed<off_t>(*failure, EIO) : real_lseek(descriptor, offset, whence);
}

Behind<int(int, int, int)> real_socket;
int seam_socket(int domain, int type, int protocol)
{
    if (const auto failure = turn("socket", waiting)) {
        return failed<int>(*failure, EMFILE);
    }
    const int descriptor = real_socket(domain, type, protocol);
    if (descriptor >= 0) {
        state().descriptors.insert(descriptor);
    }
    return descriptor;
}

Behind<int(const char *, struct stat *)> real_stat;
int seam_stat(const char *path, struct stat *status)
{
    const auto failure = turn("stat", plain);
    return failure ? failed<int>(*failure, EIO) : real_stat(path, status);
}

Behind<int(int, struct stat *)> real_fstat;
int seam_fstat(int descriptor, struct stat *status)
{
    const auto failure = turn("fstat", plain);
    return failure ? failed<int>(*failure, EIO) : real_fstat(descriptor, status);
}

Behind<int(int)> real_isatty;
int seam_isatty(int descriptor)
{
    const auto failure = turn("isatty", bit(Failure::zero));
    return failure ? failed<int>(*failure, ENOTTY) : real_isatty(descriptor);
}

Behind<int(int, termios *)> real_tcgetattr;
int seam_tcgetattr(int descriptor, termios *attributes)
{
    const auto failure = turn("tcgetattr", waiting);
    return failure ? failed<int>(*failure, EIO) : real_tcgetattr(descriptor, attributes);
}

Behind<int(int, int, const termios *)> real_tcsetattr;
int seam_tcsetattr(int descriptor, int when, const termios *attributes)
{
    const auto failure = turn("tcsetattr", waiting);
    return failure ? failed<int>(*failure, EIO) : real_tcsetattr(descriptor, when, attributes);
}

Behind<int(int, int)> real_tcflush;
int seam_tcflush(int descriptor, int queue)
{
    const auto failure = turn("tcflush", waiting);
    return failure ? failed<int>(*failure, EIO) : real_tcflush(descriptor, queue);
}

// ---- memory ----

Behind<void *(void *, size_t, int, int, int, off_t)> real_mmap;
void *seam_mmap(void *address, size_t length, int protection, int flags, int descriptor,
                off_t offset)
{
    if (const auto failure = turn("mmap", plain | bit(Failure::zero))) {
        errno = ENOMEM;
        return failure == Failure::zero ? nullptr : MAP_FAILED;
    }
    void *const mapped = real_mmap(address, length, protection, flags, descriptor, offset);
    if (mapped != MAP_FAILED) {
        state().mappings.insert(mapped);
    }
    return mapped;
}

// The window is gone, whatever the call answers.
Behind<int(void *, size_t)> real_munmap;
int seam_munmap(void *address, size_t length)
{
    const auto failure = turn("munmap", plain);
    state().mappings.erase(address);
    const int result = real_munmap(address, length);
    return failure ? failed<int>(*failure, EINVAL) : result;
}

Behind<void *(size_t)> real_malloc;
void *seam_malloc(size_t size)
{
    if (turn("malloc", plain)) {
        errno = ENOMEM;
        return nullptr;
    }
    void *const memory = real_malloc(size);
    if (memory != nullptr) {
        memset(memory, 0x5A, size); // never zero by chance
        state().memory.insert(memory);
    }
    return memory;
}

// Optimisers make one call of an allocation that is zeroed.
Behind<void *(size_t, size_t)> real_calloc;
void *seam_calloc(size_t count, size_t size)
{
    if (turn("malloc", plain)) {
        errno = ENOMEM;
        return nullptr;
    }
    void *const memory = real_calloc(count, size);
    if (memory != nullptr) {
        state().memory.insert(memory);
    }
    return memory;
}

Behind<void(void *)> real_free;
void seam_free(void *memory)
{
    if (memory != nullptr && state().memory.erase(memory) == 0) {
        fprintf(stderr, "the library frees what it does not hold\n");
        abort();
    }
    real_free(memory);
}

// ---- streams ----

Behind<FILE *(const char *, const char *)> real_fopen;
FILE *seam_fopen(const char *path, const char *mode)
{
    if (const auto failure = turn("fopen", waiting)) {
        errno = failure == Failure::interrupted ? EINTR : EIO;
        return nullptr;
    }
    FILE *const file = real_fopen(path, mode);
    if (file != nullptr) {
        state().streams.insert(file);
    }
    return file;
}

Behind<int(FILE *)> real_fclose;
int seam_fclose(FILE *file)
{
    const auto failure = turn("fclose", plain);
    state().streams.erase(file);
    const int result = real_fclose(file);
    return failure ? failed<int>(*failure, EIO) : result;
}

// A stream's error is a short count, down to 0.
unsigned stream_failures(size_t bytes)
{
    return bit(Failure::zero) | (bytes >= 2 ? bit(Failure::short_count) : 0);
}

template <typename Real, typename Data>
size_t half_of(const Real &real, Data *data, size_t size, size_t count, FILE *file)
{
    const size_t half = size * count / 2;
    return answer(real(data, size_t{1}, half, file) / size);
}

Behind<size_t(void *, size_t, size_t, FILE *)> real_fread;
size_t seam_fread(void *data, size_t size, size_t count, FILE *file)
{
    const auto failure = turn("fread", stream_failures(size * count));
    if (failure == Failure::short_count) {
        return half_of(real_fread, data, size, count, file);
    }
    return failure ? answer<size_t>(0) : real_fread(data, size, count, file);
}

Behind<size_t(const void *, size_t, size_t, FILE *)> real_fwrite;
size_t seam_fwrite(const void *data, size_t size, size_t count, FILE *file)
{
    const auto failure = turn("fwrite", stream_failures(size * count));
    if (failure == Failure::short_count) {
        return half_of(real_fwrite, data, size, count, file);
    }
    return failure ? answer<size_t>(0) : real_fwrite(data, size, count, file);
}

Behind<int(FILE *, long, int)> real_fseek;
int seam_fseek(FILE *file, long offset, int whence)
{
    const auto failure = turn("fseek", plain);
    return failure ? failed<int>(*failure, EIO) : real_fseek(file, offset, whence);
}

// Standard output is the library's mouth, not the seam.
Behind<int(FILE *)> real_fflush;
int seam_fflush(FILE *file)
{
    if (file == stdout) {
        return real_fflush(file);
    }
    const auto failure = turn("fflush", plain);
    return failure ? failed<int>(*failure, ENOSPC) : real_fflush(file);
}

// ---- programs, locks and time ----

int wait_status(Failure failure)
{
    switch (failure) {
    case Failure::exit_status:
        return answer(1 << 8);
    case Failure::killed:
        return answer(SIGKILL);
    default:
        return failed<int>(failure, EAGAIN);
    }
}

Behind<int(const char *)> real_system;
int seam_system(const char *line)
{
    const auto failure = turn("system", program);
    return failure ? wait_status(*failure) : real_system(line);
}

Behind<int(const char *, char *const[])> real_vos_system;
int seam_vos_system(const char *name, char *const argv[])
{
    const auto failure = turn("vos_system", program);
    if (!failure) {
        return real_vos_system(name, argv);
    }
    const int status = wait_status(*failure);
    return *failure == Failure::killed ? 128 + status : status >> 8;
}

Behind<int(pthread_mutex_t *)> real_trylock;
int seam_trylock(pthread_mutex_t *mutex)
{
    return turn("pthread_mutex_trylock", bit(Failure::refused)) ? answer(EBUSY)
                                                                : real_trylock(mutex);
}

Behind<int(pthread_mutex_t *)> real_lock;
int seam_lock(pthread_mutex_t *mutex)
{
    turn("pthread_mutex_lock", no_failure);
    return real_lock(mutex);
}

Behind<int(pthread_mutex_t *)> real_unlock;
int seam_unlock(pthread_mutex_t *mutex)
{
    turn("pthread_mutex_unlock", no_failure);
    return real_unlock(mutex);
}

Behind<int(timeval *, void *)> real_gettimeofday;
int seam_gettimeofday(timeval *now, void *zone)
{
    const auto failure = turn("gettimeofday", plain);
    return failure ? failed<int>(*failure, EFAULT) : real_gettimeofday(now, zone);
}

Behind<int(const timeval *, const struct timezone *)> real_settimeofday;
int seam_settimeofday(const timeval *now, const struct timezone *zone)
{
    const auto failure = turn("settimeofday", plain);
    return failure ? failed<int>(*failure, EPERM) : real_settimeofday(now, zone);
}

Behind<tm *(const time_t *, tm *)> real_localtime_r;
tm *seam_localtime_r(const time_t *t, tm *local)
{
    if (turn("localtime_r", plain)) {
        errno = EOVERFLOW;
        return nullptr;
    }
    return real_localtime_r(t, local);
}

Behind<time_t(tm *)> real_mktime;
time_t seam_mktime(tm *local)
{
    const auto failure = turn("mktime", plain);
    return failure ? failed<time_t>(*failure, EOVERFLOW) : real_mktime(local);
}

Behind<int(useconds_t)> real_usleep;
int seam_usleep(useconds_t duration)
{
    const auto failure = turn("usleep", bit(Failure::interrupted));
    return failure ? failed<int>(*failure, EINTR) : real_usleep(duration);
}

Behind<unsigned(unsigned)> real_sleep;
unsigned seam_sleep(unsigned seconds)
{
    return turn("sleep", bit(Failure::interrupted)) ? answer(seconds) : real_sleep(seconds);
}

struct Hook {
    std::string_view name;
    void *hook;
    void **behind;
};

template <typename Function, typename Hooked>
Hook hook(std::string_view name, Hooked *hooked, Behind<Function> &behind)
{
    return {name, reinterpret_cast<void *>(hooked), reinterpret_cast<void **>(&behind.function)};
}

const auto &hooks()
{
    static const auto &table = *new std::array{
        hook("open", seam_open, real_open),
        hook("close", seam_close, real_close),
        hook("read", seam_read, real_read),
        hook("write", seam_write, real_write),
        hook("ioctl", seam_ioctl, real_ioctl),
        hook("fcntl", seam_fcntl, real_fcntl),
        hook("lseek", seam_lseek, real_lseek),
        hook("socket", seam_socket, real_socket),
        hook("stat", seam_stat, real_stat),
        hook("fstat", seam_fstat, real_fstat),
        hook("isatty", seam_isatty, real_isatty),
        hook("tcgetattr", seam_tcgetattr, real_tcgetattr),
        hook("tcsetattr", seam_tcsetattr, real_tcsetattr),
        hook("tcflush", seam_tcflush, real_tcflush),
        hook("mmap", seam_mmap, real_mmap),
        hook("munmap", seam_munmap, real_munmap),
        hook("malloc", seam_malloc, real_malloc),
        hook("calloc", seam_calloc, real_calloc),
        hook("free", seam_free, real_free),
        hook("fopen", seam_fopen, real_fopen),
        hook("fclose", seam_fclose, real_fclose),
        hook("fread", seam_fread, real_fread),
        hook("fwrite", seam_fwrite, real_fwrite),
        hook("fseek", seam_fseek, real_fseek),
        hook("fflush", seam_fflush, real_fflush),
        hook("system", seam_system, real_system),
        hook("vos_system", seam_vos_system, real_vos_system),
        hook("pthread_mutex_trylock", seam_trylock, real_trylock),
        hook("pthread_mutex_lock", seam_lock, real_lock),
        hook("pthread_mutex_unlock", seam_unlock, real_unlock),
        hook("gettimeofday", seam_gettimeofday, real_gettimeofday),
        hook("settimeofday", seam_settimeofday, real_settimeofday),
        hook("localtime_r", seam_localtime_r, real_localtime_r),
        hook("mktime", seam_mktime, real_mktime),
        hook("usleep", seam_usleep, real_usleep),
        hook("sleep", seam_sleep, real_sleep),
    };
    return table;
}

// Reach nothing outside of the process, and cannot fail.
constexpr std::string_view harmless[] = {
    "__errno_location",
    "strerror",
    "puts",
    "printf",
    "perror",
    "stdout",
    "rewind", // on the stream
    "bcmp",
    "memchr",
    "memcmp",
    "memcpy",
    "memmove",
    "memset",
    "strcmp",
    "strlen",
    "strnlen", //
    "cfgetispeed",
    "cfsetispeed",
    "cfsetospeed", // on a record
    "time",
    "tzset", // no more than a glance at the clock
    "vos_memcpy",
    "vos_memset",
    "vos_snprintf",
    "vos_strncpy",
    "raise", // by a division by zero, where the processor has no instruction for it
};
// What compilers and sanitizers add.
constexpr std::string_view added[] = {
    "__asan_",        "__ubsan_",       "__tsan_",      "__sanitizer_",   "_ITM_",
    "__cxa_finalize", "__gmon_start__", "__stack_chk_", "__interceptor_", "__sancov"};

bool is_known(const std::string &name)
{
    const auto is = [&](std::string_view known) { return name == known; };
    const auto begins = [&](std::string_view known) { return name.starts_with(known); };
    return std::any_of(hooks().begin(), hooks().end(),
                       [&](const Hook &row) { return row.name == name; }) ||
           std::any_of(std::begin(harmless), std::end(harmless), is) ||
           std::any_of(std::begin(added), std::end(added), begins);
}

} // namespace

const char *to_string(Failure failure)
{
    constexpr const char *names[] = {"error",      "interrupted", "zero",        "short count",
                                     "above 9999", "refused",     "exit status", "killed"};
    return names[static_cast<unsigned>(failure)];
}

const std::vector<Failure> &all_failures()
{
    static const std::vector<Failure> all = {
        Failure::error,      Failure::interrupted, Failure::zero,        Failure::short_count,
        Failure::above_9999, Failure::refused,     Failure::exit_status, Failure::killed};
    return all;
}

namespace seam {

void attach()
{
    const bool loaded = for_each_import(library, [](const Import &import) {
        for (const Hook &row : hooks()) {
            if (row.name == import.name && !import.own && *import.place != row.hook) {
                *row.behind = *import.place;
                *import.place = row.hook;
            }
        }
    });
    if (!loaded) {
        throw std::runtime_error("the library is not loaded");
    }
}

std::vector<std::string> imports()
{
    std::set<std::string> names;
    for_each_import(library, [&](const Import &import) {
        if (!import.own) {
            names.insert(import.name);
        }
    });
    return {names.begin(), names.end()};
}

std::vector<std::string> unknown_imports()
{
    std::vector<std::string> unknown = imports();
    std::erase_if(unknown, is_known);
    return unknown;
}

void start()
{
    State &seam = state();
    seam.calls.clear();
    seam.number.reset();
    seam.struck = false;
    seam.injected.reset();
    seam.stray_closes = 0;
    seam.counting = true;
}

void start(size_t number, Failure failure)
{
    start();
    state().number = number;
    state().failure = failure;
}

void stop()
{
    state().counting = false;
}

const std::vector<SeamCall> &calls()
{
    return state().calls;
}

std::optional<long long> injected()
{
    return state().injected;
}

bool struck()
{
    return state().struck;
}

size_t stray_closes()
{
    return state().stray_closes;
}

SeamHoldings held()
{
    const State &seam = state();
    return {seam.memory.size(), seam.descriptors.size(), seam.streams.size(), seam.mappings.size()};
}

} // namespace seam

} // namespace board_test
