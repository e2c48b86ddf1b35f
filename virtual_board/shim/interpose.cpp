// The C library's calls as programs reach them with a virtual board below.
//
// Rules of this file: it calls no function that it defines but through
// `real_…`; it keeps errno unless a call fails; whatever is not the board's
// goes to the real function with the caller's own arguments. It is built
// without sanitizers, because the sanitizers' own start-up runs through it.

#include "virtual_board/shim/shim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "virtual_board/shim/descriptors.h"
#include "virtual_board/shim/real.h"
#include "virtual_board/shim/window_watch.h"

namespace virtual_board::shim {

namespace {

Real<int(const char *, int, ...)> real_open("open");
Real<int(int, const char *, int, ...)> real_openat("openat");
Real<int(int)> real_close("close");
Real<ssize_t(int, void *, size_t)> real_read("read");
Real<ssize_t(int, const void *, size_t)> real_write("write");
Real<ssize_t(int, void *, size_t, off64_t)> real_pread64("pread64");
Real<ssize_t(int, const void *, size_t, off64_t)> real_pwrite64("pwrite64");
Real<off_t(int, off_t, int)> real_lseek("lseek");
Real<off64_t(int, off64_t, int)> real_lseek64("lseek64");
Real<int(int, unsigned long, ...)> real_ioctl("ioctl");
Real<int(int, int, ...)> real_fcntl("fcntl64");
Real<void *(void *, size_t, int, int, int, off64_t)> real_mmap64("mmap64");
Real<int(void *, size_t)> real_munmap("munmap");
Real<FILE *(const char *, const char *)> real_fopen("fopen");
Real<int(const char *, struct stat *)> real_stat("stat");
Real<int(const char *, struct stat *)> real_lstat("lstat");
Real<int(const char *, struct stat64 *)> real_stat64("stat64");
Real<int(const char *, struct stat64 *)> real_lstat64("lstat64");
Real<int(int, struct stat *)> real_fstat("fstat");
Real<int(int, struct stat64 *)> real_fstat64("fstat64");
Real<int(const char *, int)> real_access("access");
Real<int(int)> real_dup("dup");
Real<int(int, int)> real_dup2("dup2");
Real<int(int, int, int)> real_dup3("dup3");
Real<int(useconds_t)> real_usleep("usleep");
Real<unsigned(unsigned)> real_sleep("sleep");
Real<int(const timespec *, timespec *)> real_nanosleep("nanosleep");
Real<int(clockid_t, int, const timespec *, timespec *)> real_clock_nanosleep("clock_nanosleep");
Real<int(pthread_mutex_t *)> real_mutex_trylock("pthread_mutex_trylock");

Real<int(const char *)> real_system("system");
Real<int(const char *, char *const[])> real_vos_system("vos_system");
Real<int(timeval *, void *)> real_gettimeofday("gettimeofday");
Real<int(const timeval *, const struct timezone *)> real_settimeofday("settimeofday");
Real<int(clockid_t, const timespec *)> real_clock_settime("clock_settime");

std::atomic<Board *> installed{nullptr};
std::atomic<MutexObserver> mutex_observer{nullptr};

// Never destroyed: programs close descriptors after the last destructor ran.
Descriptors &descriptors()
{
    static Descriptors &table = *new Descriptors;
    return table;
}

// Set while the shim works for a thread: the mutexes and sleeps of the shim and
// the models are not the program's.
thread_local int working __attribute__((tls_model("initial-exec")));

class Working {
public:
    Working() { ++working; }
    ~Working() { --working; }
    Working(const Working &) = delete;
    Working &operator=(const Working &) = delete;
};

Board *board()
{
    return working > 0 ? nullptr : installed.load(std::memory_order_acquire);
}

// Turns a driver's result into a system call's.
template <typename Result> Result answer(Result result)
{
    if (result < 0 && result >= -4095) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return result;
}

std::shared_ptr<OpenFile> any_file(int descriptor)
{
    if (board() == nullptr) {
        return nullptr;
    }
    const Working guard;
    return descriptors().find(descriptor);
}

// The board's open file behind a descriptor; null if it is not the board's, or
// if a real node does its work.
std::shared_ptr<OpenFile> board_file(int descriptor)
{
    const std::shared_ptr<OpenFile> file = any_file(descriptor);
    return file && !file->device->real_path() ? file : nullptr;
}

// A real call, which the board gets to know of if the descriptor leads to the
// real node of one of its devices.
template <typename Call> auto pass(int descriptor, Operation operation, uint32_t address,
                                   uint64_t count, const Call &call) -> decltype(call())
{
    const std::shared_ptr<OpenFile> file = any_file(descriptor);
    if (!file) {
        return call();
    }
    Board *on = board();
    const Working guard;
    const auto transfer = [&call] {
        const auto result = static_cast<long>(call());
        return result < 0 ? -static_cast<long>(errno) : result;
    };
    return static_cast<decltype(call())>(
        answer(on->pass(*file, operation, address, count, transfer)));
}

// The path if it is the board's, empty if not. Paths are matched as programs
// spell them.
std::string board_path(const char *path)
{
    if (board() == nullptr || path == nullptr) {
        return {};
    }
    const Working guard;
    return Board::owns(path) ? path : std::string();
}

void say_unowned(const std::string &path)
{
    const std::string text = "virtual board: no device at " + path + "\n";
    real_write(STDERR_FILENO, text.data(), text.size());
}

int refuse(const std::string &path, long result)
{
    if (result == -ENOENT) {
        say_unowned(path);
    }
    return static_cast<int>(answer(result));
}

int open_on_board(Board &on, const std::string &path, int flags)
{
    const Working guard;
    std::shared_ptr<OpenFile> file;
    const long result = on.open(path, flags, file);
    if (result < 0) {
        return refuse(path, result);
    }
    const std::optional<std::string> real_node = file->device->real_path();
    const int descriptor = real_node
                               ? real_open(real_node->c_str(), flags & ~(O_CREAT | O_TRUNC), 0)
                               : real_open("/dev/null", O_RDWR | (flags & O_CLOEXEC), 0);
    if (descriptor < 0) {
        const int kept = errno;
        on.close(*file);
        errno = kept;
        return -1;
    }
    descriptors().add(descriptor, std::move(file));
    return descriptor;
}

mode_t mode_argument(int flags, va_list args)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(args, int)) : 0;
}

int open_any(const char *path, int flags, mode_t mode)
{
    const std::string own = board_path(path);
    return own.empty() ? real_open(path, flags, mode) : open_on_board(*board(), own, flags);
}

int openat_any(int directory, const char *path, int flags, mode_t mode)
{
    const std::string own = board_path(path);
    return own.empty() ? real_openat(directory, path, flags, mode)
                       : open_on_board(*board(), own, flags);
}

// ---- streams ----

struct Stream {
    Board *board;
    std::shared_ptr<OpenFile> file;
};

ssize_t stream_read(void *cookie, char *buffer, size_t size)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    return answer(stream.board->read(*stream.file, buffer, size));
}

// The library's convention for a cookie that fails to write is 0, not -1.
ssize_t stream_write(void *cookie, const char *data, size_t size)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    const long result = answer(stream.board->write(*stream.file, data, size));
    return result < 0 ? 0 : result;
}

int stream_seek(void *cookie, off64_t *offset, int whence)
{
    const Working guard;
    auto &stream = *static_cast<Stream *>(cookie);
    const long long result = answer(stream.board->seek(*stream.file, *offset, whence));
    *offset = result;
    return result < 0 ? -1 : 0;
}

int stream_close(void *cookie)
{
    const Working guard;
    const std::unique_ptr<Stream> stream(static_cast<Stream *>(cookie));
    stream->board->close(*stream->file);
    return 0;
}

int open_flags(const char *mode)
{
    const bool update = strchr(mode, '+') != nullptr;
    switch (mode[0]) {
    case 'r':
        return update ? O_RDWR : O_RDONLY;
    case 'w':
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    default:
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    }
}

FILE *fopen_on_board(Board &on, const std::string &path, const char *mode)
{
    const Working guard;
    auto stream = std::make_unique<Stream>();
    stream->board = &on;
    const long result = on.open(path, open_flags(mode), stream->file);
    if (result < 0) {
        refuse(path, result);
        return nullptr;
    }
    const cookie_io_functions_t functions = {stream_read, stream_write, stream_seek, stream_close};
    FILE *opened = fopencookie(stream.get(), mode, functions);
    if (opened == nullptr) {
        const int kept = errno;
        on.close(*stream->file);
        errno = kept;
        return nullptr;
    }
    stream.release();
    return opened;
}

// ---- status ----

void widen(const struct stat &from, struct stat64 *to)
{
    *to = {};
    to->st_mode = from.st_mode;
    to->st_size = from.st_size;
    to->st_rdev = from.st_rdev;
    to->st_nlink = 1;
}

int status_of(Board &on, const std::string &path, struct stat &status)
{
    const Working guard;
    struct stat found = {};
    const long result = on.status(path, found);
    if (result >= 0) {
        status = found;
        status.st_nlink = 1;
    }
    return static_cast<int>(answer(result));
}

int status_of(const OpenFile &file, struct stat &status)
{
    const Working guard;
    status = {};
    file.device->describe(status);
    status.st_nlink = 1;
    return 0;
}

template <typename Function> int stat_any(const char *path, struct stat *status, Function &real)
{
    const std::string own = board_path(path);
    return own.empty() ? real(path, status) : status_of(*board(), own, *status);
}

template <typename Function> int stat64_any(const char *path, struct stat64 *status, Function &real)
{
    const std::string own = board_path(path);
    if (own.empty()) {
        return real(path, status);
    }
    struct stat narrow = {};
    const int result = status_of(*board(), own, narrow);
    if (result == 0) {
        widen(narrow, status);
    }
    return result;
}

// ---- memory ----

void *mmap_any(void *address, size_t length, int protection, int flags, int descriptor,
               off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_mmap64(address, length, protection, flags, descriptor, offset);
    }
    Board *on = board();
    const Working guard;
    Mapping mapping;
    if (answer(on->map(*file, length, mapping)) < 0) {
        return MAP_FAILED;
    }
    if (mapping.forced_address) {
        return reinterpret_cast<void *>(*mapping.forced_address);
    }
    void *mapped = real_mmap64(address, length, protection, flags, mapping.descriptor, offset);
    if (mapped != MAP_FAILED && mapping.watched) {
        on->stores_are_watched(can_watch());
        watch(on, mapped, length);
    }
    return mapped;
}

// ---- transfers ----

ssize_t read_any(int descriptor, void *buffer, size_t count)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return pass(descriptor, Operation::read, 0, count,
                    [&] { return real_read(descriptor, buffer, count); });
    }
    Board *on = board();
    const Working guard;
    return answer(on->read(*file, buffer, count));
}

ssize_t pread_any(int descriptor, void *buffer, size_t count, off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_pread64(descriptor, buffer, count, offset);
    }
    Board *on = board();
    const Working guard;
    OpenFile elsewhere = *file;
    elsewhere.offset = offset;
    return answer(on->read(elsewhere, buffer, count));
}

ssize_t pwrite_any(int descriptor, const void *buffer, size_t count, off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_pwrite64(descriptor, buffer, count, offset);
    }
    Board *on = board();
    const Working guard;
    OpenFile elsewhere = *file;
    elsewhere.offset = offset;
    return answer(on->write(elsewhere, buffer, count));
}

long long seek_on_board(const std::shared_ptr<OpenFile> &file, long long offset, int whence)
{
    Board *on = board();
    const Working guard;
    return answer(on->seek(*file, offset, whence));
}

// ---- descriptors ----

// Makes `to`, which the kernel has just made a duplicate, lead where `from`
// does.
void share(int from, int to)
{
    const std::shared_ptr<OpenFile> file = any_file(from);
    if (file && to >= 0) {
        const Working guard;
        descriptors().add(to, file);
    }
}

// Drops what a number leads to.
void forget(int descriptor)
{
    Board *on = board();
    if (on == nullptr) {
        return;
    }
    const Working guard;
    bool last = false;
    const std::shared_ptr<OpenFile> file = descriptors().remove(descriptor, last);
    if (file && last) {
        on->close(*file);
    }
}

// ---- time ----

uint64_t microseconds(const timespec &time)
{
    return static_cast<uint64_t>(time.tv_sec) * 1000000 +
           static_cast<uint64_t>(time.tv_nsec) / 1000;
}

// Whether the sleep has passed on the board's own clock. In real time the
// caller sleeps for real and reports it afterwards.
bool slept_virtually(Board *on, uint64_t duration_us)
{
    if (on == nullptr || on->clock.mode() != Clock::Mode::virtual_time) {
        return false;
    }
    const Working guard;
    on->slept(duration_us);
    return true;
}

void slept_really(Board *on, uint64_t duration_us)
{
    if (on != nullptr) {
        const Working guard;
        on->slept(duration_us);
    }
}

// ---- programs ----

std::vector<std::string> words_of(const char *line)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// As the platform's program runner reports how a program ended.
int runner_result(int status)
{
    if (status < 0) {
        return -1;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// ---- mutexes ----

void tell_mutex(MutexEvent event, pthread_mutex_t *mutex)
{
    const MutexObserver observer = mutex_observer.load(std::memory_order_acquire);
    if (working > 0) {
        return;
    }
    const Working guard;
    if (observer != nullptr) {
        observer(event, mutex);
    }
    Board *on = installed.load(std::memory_order_acquire);
    if (on != nullptr && event == MutexEvent::unlocked && !can_watch()) {
        // A register operation is about to end.
        on->synchronise();
    }
}

// ---- fork ----

// The watch comes first: a step that is under way ends with the board's lock.
void before_fork()
{
    Board *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        before_fork_of_watch();
        on->before_fork();
        descriptors().before_fork();
    }
}

void after_fork_in_parent()
{
    Board *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        descriptors().after_fork();
        on->after_fork_in_parent();
        after_fork_of_watch();
    }
}

void after_fork_in_child()
{
    Board *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        descriptors().after_fork();
        on->after_fork_in_child();
        after_fork_of_watch();
    }
}

} // namespace

void install(Board *new_board)
{
    static const int fork_handlers =
        pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
    static_cast<void>(fork_handlers);
    if (new_board == nullptr && installed.load() != nullptr) {
        for (const int descriptor : descriptors().all()) {
            forget(descriptor);
            real_close(descriptor);
        }
    }
    installed.store(new_board, std::memory_order_release);
}

void observe_mutexes(MutexObserver observer)
{
    mutex_observer.store(observer, std::memory_order_release);
}

} // namespace virtual_board::shim

using namespace virtual_board::shim;
using virtual_board::Board;
using virtual_board::OpenFile;
using virtual_board::Operation;

#if !defined(__clang__)
// The checks for null arguments are needed: programs do pass them.
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif

extern "C" {

int open(const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return open_any(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return open_any(path, flags | O_LARGEFILE, mode);
}

int __open_2(const char *path, int flags)
{
    return open_any(path, flags, 0);
}

int __open64_2(const char *path, int flags)
{
    return open_any(path, flags | O_LARGEFILE, 0);
}

int openat(int directory, const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return openat_any(directory, path, flags, mode);
}

int openat64(int directory, const char *path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return openat_any(directory, path, flags | O_LARGEFILE, mode);
}

int __openat_2(int directory, const char *path, int flags)
{
    return openat_any(directory, path, flags, 0);
}

int __openat64_2(int directory, const char *path, int flags)
{
    return openat_any(directory, path, flags | O_LARGEFILE, 0);
}

int close(int descriptor)
{
    forget(descriptor);
    return real_close(descriptor);
}

ssize_t read(int descriptor, void *buffer, size_t count)
{
    return read_any(descriptor, buffer, count);
}

ssize_t __read_chk(int descriptor, void *buffer, size_t count, size_t)
{
    return read_any(descriptor, buffer, count);
}

ssize_t write(int descriptor, const void *buffer, size_t count)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return pass(descriptor, Operation::write, 0, count,
                    [&] { return real_write(descriptor, buffer, count); });
    }
    Board *on = board();
    const Working guard;
    return answer(on->write(*file, buffer, count));
}

ssize_t pread(int descriptor, void *buffer, size_t count, off_t offset)
{
    return pread_any(descriptor, buffer, count, offset);
}

ssize_t pread64(int descriptor, void *buffer, size_t count, off64_t offset)
{
    return pread_any(descriptor, buffer, count, offset);
}

ssize_t __pread_chk(int descriptor, void *buffer, size_t count, off_t offset, size_t)
{
    return pread_any(descriptor, buffer, count, offset);
}

ssize_t __pread64_chk(int descriptor, void *buffer, size_t count, off64_t offset, size_t)
{
    return pread_any(descriptor, buffer, count, offset);
}

ssize_t pwrite(int descriptor, const void *buffer, size_t count, off_t offset)
{
    return pwrite_any(descriptor, buffer, count, offset);
}

ssize_t pwrite64(int descriptor, const void *buffer, size_t count, off64_t offset)
{
    return pwrite_any(descriptor, buffer, count, offset);
}

off_t lseek(int descriptor, off_t offset, int whence)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    return file ? static_cast<off_t>(seek_on_board(file, offset, whence))
                : real_lseek(descriptor, offset, whence);
}

off64_t lseek64(int descriptor, off64_t offset, int whence)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    return file ? seek_on_board(file, offset, whence) : real_lseek64(descriptor, offset, whence);
}

int ioctl(int descriptor, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void *argument = va_arg(args, void *);
    va_end(args);
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_ioctl(descriptor, request, argument);
    }
    Board *on = board();
    const Working guard;
    // Request numbers are 32 bits; callers sign-extend some of them.
    return static_cast<int>(answer(on->ioctl(*file, static_cast<uint32_t>(request), argument)));
}

int fcntl(int descriptor, int command, ...)
{
    va_list args;
    va_start(args, command);
    void *argument = va_arg(args, void *);
    va_end(args);
    const int result = pass(descriptor, Operation::control, static_cast<uint32_t>(command), 0,
                            [&] { return real_fcntl(descriptor, command, argument); });
    if (command == F_DUPFD || command == F_DUPFD_CLOEXEC) {
        share(descriptor, result);
    }
    return result;
}

int fcntl64(int descriptor, int command, ...) __attribute__((alias("fcntl")));

int dup(int descriptor)
{
    const int result = real_dup(descriptor);
    share(descriptor, result);
    return result;
}

int dup2(int from, int to)
{
    const int result = real_dup2(from, to);
    if (result >= 0 && from != to) {
        forget(to);
        share(from, to);
    }
    return result;
}

int dup3(int from, int to, int flags)
{
    const int result = real_dup3(from, to, flags);
    if (result >= 0) {
        forget(to);
        share(from, to);
    }
    return result;
}

void *mmap(void *address, size_t length, int protection, int flags, int descriptor, off_t offset)
{
    return mmap_any(address, length, protection, flags, descriptor, offset);
}

void *mmap64(void *address, size_t length, int protection, int flags, int descriptor,
             off64_t offset)
{
    return mmap_any(address, length, protection, flags, descriptor, offset);
}

int munmap(void *address, size_t length)
{
    Board *on = board();
    if (on == nullptr) {
        return real_munmap(address, length);
    }
    const Working guard;
    // A window that a program drops twice, or never had, must not take other
    // memory of the process with it.
    if (address == nullptr || retire(address, length) || is_retired(address)) {
        on->unmapped("cpld", length);
        return 0;
    }
    return real_munmap(address, length);
}

FILE *fopen(const char *path, const char *mode)
{
    const std::string own = board_path(path);
    return own.empty() ? real_fopen(path, mode) : fopen_on_board(*board(), own, mode);
}

FILE *fopen64(const char *path, const char *mode) __attribute__((alias("fopen")));

int stat(const char *path, struct stat *status)
{
    return stat_any(path, status, real_stat);
}

int lstat(const char *path, struct stat *status)
{
    return stat_any(path, status, real_lstat);
}

int stat64(const char *path, struct stat64 *status)
{
    return stat64_any(path, status, real_stat64);
}

int lstat64(const char *path, struct stat64 *status)
{
    return stat64_any(path, status, real_lstat64);
}

int fstat(int descriptor, struct stat *status)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    return file ? status_of(*file, *status) : real_fstat(descriptor, status);
}

int fstat64(int descriptor, struct stat64 *status)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_fstat64(descriptor, status);
    }
    struct stat narrow = {};
    status_of(*file, narrow);
    widen(narrow, status);
    return 0;
}

int access(const char *path, int mode)
{
    const std::string own = board_path(path);
    if (own.empty()) {
        return real_access(path, mode);
    }
    struct stat status = {};
    return status_of(*board(), own, status);
}

int usleep(useconds_t duration)
{
    Board *on = board();
    if (slept_virtually(on, duration)) {
        return 0;
    }
    const int result = real_usleep(duration);
    slept_really(on, duration);
    return result;
}

unsigned sleep(unsigned seconds)
{
    Board *on = board();
    if (slept_virtually(on, uint64_t{seconds} * 1000000)) {
        return 0;
    }
    const unsigned result = real_sleep(seconds);
    slept_really(on, uint64_t{seconds} * 1000000);
    return result;
}

int nanosleep(const timespec *duration, timespec *left)
{
    Board *on = board();
    if (slept_virtually(on, microseconds(*duration))) {
        return 0;
    }
    const int result = real_nanosleep(duration, left);
    slept_really(on, microseconds(*duration));
    return result;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *duration, timespec *left)
{
    Board *on = board();
    // A wake-up time is a date of the machine, not of the board.
    if (flags == 0 && slept_virtually(on, microseconds(*duration))) {
        return 0;
    }
    const int result = real_clock_nanosleep(clock, flags, duration, left);
    slept_really(on, flags == 0 ? microseconds(*duration) : 0);
    return result;
}

int gettimeofday(timeval *__restrict time, void *__restrict zone)
{
    Board *on = board();
    if (on == nullptr) {
        return real_gettimeofday(time, zone);
    }
    const Working guard;
    return static_cast<int>(on->get_time(time, static_cast<struct timezone *>(zone)));
}

int settimeofday(const timeval *time, const struct timezone *zone)
{
    Board *on = board();
    if (on == nullptr) {
        return real_settimeofday(time, zone);
    }
    const Working guard;
    return static_cast<int>(answer(on->set_time(time, zone)));
}

int clock_settime(clockid_t clock, const timespec *time)
{
    Board *on = board();
    if (on == nullptr || clock != CLOCK_REALTIME) {
        return real_clock_settime(clock, time);
    }
    const Working guard;
    const timeval date = {time->tv_sec, static_cast<suseconds_t>(time->tv_nsec / 1000)};
    return static_cast<int>(answer(on->set_time(&date, nullptr)));
}

int system(const char *line)
{
    Board *on = board();
    if (on == nullptr || line == nullptr) {
        return real_system(line);
    }
    const Working guard;
    return on->run(words_of(line), [line] { return real_system(line); });
}

// The platform's program runner, which programs load as a library of its own.
int vos_system(const char *program, char *const argv[])
{
    Board *on = board();
    if (on == nullptr || program == nullptr || argv == nullptr) {
        return real_vos_system(program, argv);
    }
    const Working guard;
    std::vector<std::string> command = {program};
    for (size_t i = 1; argv[0] != nullptr && argv[i] != nullptr; ++i) {
        command.emplace_back(argv[i]);
    }
    // What ran for real keeps the runner's own answer, as an exit status.
    return runner_result(on->run(command, [program, argv] {
        const int result = real_vos_system(program, argv);
        return result < 0 ? result : result << 8;
    }));
}

int pthread_mutex_lock(pthread_mutex_t *mutex)
{
    const int result = real_mutex_lock(mutex);
    if (result == 0) {
        tell_mutex(MutexEvent::locked, mutex);
    }
    return result;
}

int pthread_mutex_trylock(pthread_mutex_t *mutex)
{
    const int result = real_mutex_trylock(mutex);
    tell_mutex(result == 0 ? MutexEvent::locked : MutexEvent::refused, mutex);
    return result;
}

int pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    // Told while it is still held: the next holder comes later in every trace.
    tell_mutex(MutexEvent::unlocked, mutex);
    return real_mutex_unlock(mutex);
}

} // extern "C"
