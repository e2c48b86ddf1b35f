// The C library's calls as programs reach them with a virtual board below.
//
// Rules of this file: it calls no function that it defines but through
// `real_…`; it keeps errno unless a call fails; whatever is not the board's
// goes to the real function with the caller's own arguments. It is built
// without sanitizers, because the sanitizers' own start-up runs through it.

#include "virtual_board/shim/shim.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/close_range.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "virtual_board/shim/descriptors.h"
#include "virtual_board/shim/inside.h"
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
Real<int(int, int, int)> real_socket("socket");
Real<int(int, int, ...)> real_fcntl("fcntl64");
Real<void *(void *, size_t, int, int, int, off64_t)> real_mmap64("mmap64");
Real<int(void *, size_t)> real_munmap("munmap");
Real<int(int)> real_dup("dup");
Real<int(int, int)> real_dup2("dup2");
Real<int(int, int, int)> real_dup3("dup3");
Real<int(unsigned, unsigned, int)> real_close_range("close_range");
Real<void(int)> real_closefrom("closefrom");
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
Real<long(long, ...)> real_syscall("syscall");

std::atomic<Bus *> installed{nullptr};
std::atomic<MutexObserver> mutex_observer{nullptr};

// Never destroyed: programs close descriptors after the last destructor ran.
Descriptors &descriptors()
{
    static Descriptors &table = *new Descriptors;
    return table;
}

} // namespace

constinit thread_local int working __attribute__((tls_model("initial-exec"))) = 0;

Bus *board()
{
    return working > 0 ? nullptr : installed.load(std::memory_order_acquire);
}

namespace {

// Takes a number off the table, and closes its file if it was the last one.
void drop(Bus &on, int descriptor)
{
    if (const std::shared_ptr<OpenFile> file = descriptors().remove(descriptor)) {
        on.close(*file);
    }
}

// Puts a number on the table, and closes the file that it led to before, if it was
// the last one.
void enter(Bus &on, int descriptor, std::shared_ptr<OpenFile> file)
{
    if (const std::shared_ptr<OpenFile> before = descriptors().add(descriptor, std::move(file))) {
        on.close(*before);
    }
}

} // namespace

std::shared_ptr<OpenFile> any_file(int descriptor)
{
    if (board() == nullptr) {
        return nullptr;
    }
    Bus *on = board();
    const Working guard;
    std::shared_ptr<OpenFile> file = descriptors().find(descriptor);
    if (file && !on->leads_to(descriptor, *file)) {
        drop(*on, descriptor);
        file = nullptr;
    }
    if (!file && (file = on->adopt(descriptor))) {
        enter(*on, descriptor, file);
    }
    return file;
}

std::shared_ptr<OpenFile> board_file(int descriptor)
{
    const std::shared_ptr<OpenFile> file = any_file(descriptor);
    return file && !file->real_node ? file : nullptr;
}

namespace {

// A relative path leads where its directory says.
std::string absolute(int directory, const char *path)
{
    char base[PATH_MAX];
    if (path[0] == '/') {
        return path;
    }
    if (directory == AT_FDCWD) {
        if (getcwd(base, sizeof(base)) == nullptr) {
            return path;
        }
    } else {
        const std::string link = "/proc/self/fd/" + std::to_string(directory);
        const ssize_t length = readlink(link.c_str(), base, sizeof(base) - 1);
        base[length < 0 ? 0 : length] = 0;
    }
    return (strcmp(base, "/") == 0 ? base : std::string(base) + "/") + path;
}

void say_unowned(const std::string &path)
{
    const std::string text = "virtual board: no device at " + path + "\n";
    real_write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

std::string board_path(int directory, const char *path)
{
    if (board() == nullptr || path == nullptr) {
        return {};
    }
    const Working guard;
    const int kept = errno;
    std::string full = absolute(directory, path);
    errno = kept;
    return Bus::owns(full) ? full : std::string();
}

int refuse(const std::string &path, long result)
{
    if (result == -ENOENT && !Bus::may_lack(path)) {
        say_unowned(path);
    }
    return static_cast<int>(answer(result));
}

namespace {

// A real descriptor of the program that stands for the open file.
int descriptor_of(OpenFile &file)
{
    if (file.real_node) {
        return real_open(file.real_node->c_str(), file.flags & ~(O_CREAT | O_TRUNC), 0);
    }
    return file.descriptor >= 0 ? std::exchange(file.descriptor, -1)
                                : real_open("/dev/null", O_RDWR | (file.flags & O_CLOEXEC), 0);
}

int open_on_board(Bus &on, const std::string &path, int flags)
{
    const Working guard;
    std::shared_ptr<OpenFile> file;
    const long result = on.open(path, flags, file);
    if (result < 0) {
        return refuse(path, result);
    }
    const int descriptor = descriptor_of(*file);
    if (descriptor < 0) {
        const int kept = errno;
        on.close(*file);
        errno = kept;
        return -1;
    }
    enter(on, descriptor, std::move(file));
    return descriptor;
}

mode_t mode_argument(int flags, va_list args)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(args, int)) : 0;
}

} // namespace

int open_any(const char *path, int flags, mode_t mode)
{
    const std::string own = board_path(AT_FDCWD, path);
    return own.empty() ? real_open(path, flags, mode) : open_on_board(*board(), own, flags);
}

namespace {

int openat_any(int directory, const char *path, int flags, mode_t mode)
{
    const std::string own = board_path(directory, path);
    return own.empty() ? real_openat(directory, path, flags, mode)
                       : open_on_board(*board(), own, flags);
}

// ---- memory ----

void *mmap_any(void *address, size_t length, int protection, int flags, int descriptor,
               off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_mmap64(address, length, protection, flags, descriptor, offset);
    }
    Bus *on = board();
    const Working guard;
    Mapping mapping;
    on->stores_are_watched(can_watch());
    if (answer(on->map(*file, length, mapping)) < 0) {
        return MAP_FAILED;
    }
    if (mapping.forced_address) {
        return reinterpret_cast<void *>(*mapping.forced_address);
    }
    if (mapping.private_copy) {
        flags = (flags & ~MAP_TYPE) | MAP_PRIVATE | MAP_ANONYMOUS;
    }
    void *mapped = real_mmap64(address, length, protection, flags, mapping.descriptor, offset);
    if (mapping.close_when_mapped) {
        real_close(mapping.descriptor);
    }
    if (mapped != MAP_FAILED && mapping.watched) {
        watch(on, mapped, length);
    } else if (mapped != MAP_FAILED) {
        on->mapped_at(mapped, *file);
    }
    return mapped;
}

// ---- transfers ----

} // namespace

ssize_t read_any(int descriptor, void *buffer, size_t count)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return pass(descriptor, Operation::read, 0, count,
                    [&] { return real_read(descriptor, buffer, count); });
    }
    Bus *on = board();
    const Working guard;
    return answer(on->read(*file, buffer, count));
}

ssize_t write_any(int descriptor, const void *buffer, size_t count)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return pass(descriptor, Operation::write, 0, count,
                    [&] { return real_write(descriptor, buffer, count); });
    }
    Bus *on = board();
    const Working guard;
    return answer(on->write(*file, buffer, count));
}

namespace {

ssize_t pread_any(int descriptor, void *buffer, size_t count, off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_pread64(descriptor, buffer, count, offset);
    }
    Bus *on = board();
    const Working guard;
    return answer(on->pread(*file, buffer, count, offset));
}

ssize_t pwrite_any(int descriptor, const void *buffer, size_t count, off64_t offset)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real_pwrite64(descriptor, buffer, count, offset);
    }
    Bus *on = board();
    const Working guard;
    return answer(on->pwrite(*file, buffer, count, offset));
}

long long seek_on_board(const std::shared_ptr<OpenFile> &file, long long offset, int whence)
{
    Bus *on = board();
    const Working guard;
    return answer(on->seek(*file, offset, whence));
}

// ---- the network port ----

// Answers requests to the port's interface; sockets themselves are real.
bool asks_network_port(unsigned long request, void *argument, int &result)
{
    Bus *on = board();
    if (on == nullptr || request != SIOCETHTOOL || argument == nullptr) {
        return false;
    }
    const Working guard;
    const auto *interface = static_cast<const ifreq *>(argument);
    if (on->network_port() !=
        std::string(interface->ifr_name, strnlen(interface->ifr_name, IFNAMSIZ))) {
        return false;
    }
    result = static_cast<int>(answer(on->ethtool(interface->ifr_data)));
    return true;
}

// ---- descriptors ----

// Makes `to`, which the kernel has just made a duplicate, lead where `from`
// does.
void share(int from, int to)
{
    Bus *on = board();
    const std::shared_ptr<OpenFile> file = any_file(from);
    if (file && to >= 0) {
        const Working guard;
        enter(*on, to, file);
    }
}

// Drops what a number leads to.
void forget(int descriptor)
{
    Bus *on = board();
    if (on != nullptr) {
        const Working guard;
        drop(*on, descriptor);
    }
}

void forget_range(unsigned first, unsigned last)
{
    if (board() == nullptr) {
        return;
    }
    for (const int descriptor : descriptors().all()) {
        const auto number = static_cast<unsigned>(descriptor);
        if (number >= first && number <= last) {
            forget(descriptor);
        }
    }
}

} // namespace

int close_any(int descriptor)
{
    forget(descriptor);
    return real_close(descriptor);
}

namespace {

// ---- time ----

uint64_t microseconds(const timespec &time)
{
    return static_cast<uint64_t>(time.tv_sec) * 1000000 +
           static_cast<uint64_t>(time.tv_nsec) / 1000;
}

// Whether the sleep has passed on the board's own clock. In real time the
// caller sleeps for real and reports it afterwards.
bool slept_virtually(Bus *on, uint64_t duration_us)
{
    if (on == nullptr || !on->time_is_virtual()) {
        return false;
    }
    const Working guard;
    on->slept(duration_us);
    return true;
}

void slept_really(Bus *on, uint64_t duration_us)
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
    Bus *on = installed.load(std::memory_order_acquire);
    if (on != nullptr && event == MutexEvent::unlocked && !can_watch()) {
        // A register operation is about to end.
        on->synchronise();
    }
}

// ---- fork ----

// The watch comes first: a step that is under way ends with the board's lock.
void before_fork()
{
    Bus *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        before_fork_of_watch();
        on->before_fork();
        descriptors().before_fork();
    }
}

void after_fork_in_parent()
{
    Bus *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        descriptors().after_fork();
        on->after_fork_in_parent();
        after_fork_of_watch();
    }
}

void after_fork_in_child()
{
    Bus *on = installed.load(std::memory_order_acquire);
    const Working guard;
    if (on != nullptr) {
        descriptors().after_fork();
        on->after_fork_in_child();
        after_fork_of_watch();
    }
}

} // namespace

void install(Bus *new_board)
{
    static const int fork_handlers =
        pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
    static_cast<void>(fork_handlers);
    // Made here, before any thread needs it: a sanitizer does not see the guard that
    // would let the first of several threads make it.
    Descriptors &table = descriptors();
    if (new_board == nullptr && installed.load() != nullptr) {
        for (const int descriptor : table.all()) {
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
using virtual_board::Bus;
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

int creat(const char *path, mode_t mode)
{
    return open_any(path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

int creat64(const char *path, mode_t mode)
{
    return open_any(path, O_CREAT | O_WRONLY | O_TRUNC | O_LARGEFILE, mode);
}

int close(int descriptor)
{
    return close_any(descriptor);
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
    return write_any(descriptor, buffer, count);
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
        int result = 0;
        return asks_network_port(request, argument, result)
                   ? result
                   : real_ioctl(descriptor, request, argument);
    }
    Bus *on = board();
    const Working guard;
    // Request numbers are 32 bits; callers sign-extend some of them.
    return static_cast<int>(answer(on->ioctl(*file, static_cast<uint32_t>(request), argument)));
}

int socket(int domain, int type, int protocol) noexcept
{
    Bus *on = board();
    if (on != nullptr && domain == AF_INET &&
        (type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK)) == SOCK_DGRAM) {
        const Working guard;
        if (answer(on->control_socket()) < 0) {
            return -1;
        }
    }
    return real_socket(domain, type, protocol);
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

int close_range(unsigned first, unsigned last, int flags) noexcept
{
    if ((static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0) {
        forget_range(first, last);
    }
    return real_close_range(first, last, flags);
}

void closefrom(int first) noexcept
{
    forget_range(static_cast<unsigned>(std::max(first, 0)), UINT_MAX);
    real_closefrom(first);
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
    Bus *on = board();
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
    on->unmapped_at(address, length);
    return real_munmap(address, length);
}

int usleep(useconds_t duration)
{
    Bus *on = board();
    if (slept_virtually(on, duration)) {
        return 0;
    }
    const int result = real_usleep(duration);
    slept_really(on, duration);
    return result;
}

unsigned sleep(unsigned seconds)
{
    Bus *on = board();
    if (slept_virtually(on, uint64_t{seconds} * 1000000)) {
        return 0;
    }
    const unsigned result = real_sleep(seconds);
    slept_really(on, uint64_t{seconds} * 1000000);
    return result;
}

int nanosleep(const timespec *duration, timespec *left)
{
    Bus *on = board();
    if (slept_virtually(on, microseconds(*duration))) {
        return 0;
    }
    const int result = real_nanosleep(duration, left);
    slept_really(on, microseconds(*duration));
    return result;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *duration, timespec *left)
{
    Bus *on = board();
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
    Bus *on = board();
    if (on == nullptr) {
        return real_gettimeofday(time, zone);
    }
    const Working guard;
    return static_cast<int>(on->get_time(time, static_cast<struct timezone *>(zone)));
}

int settimeofday(const timeval *time, const struct timezone *zone)
{
    Bus *on = board();
    if (on == nullptr) {
        return real_settimeofday(time, zone);
    }
    const Working guard;
    return static_cast<int>(answer(on->set_time(time, zone)));
}

// Programs set the time zone past the C library, which refuses it without a
// time. Nothing else of the board is reached that way.
long syscall(long number, ...) noexcept
{
    va_list args;
    va_start(args, number);
    long words[6];
    for (long &word : words) {
        word = va_arg(args, long);
    }
    va_end(args);
    Bus *on = board();
    if (on == nullptr || number != SYS_settimeofday) {
        return real_syscall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }
    const Working guard;
    return answer(on->set_time(reinterpret_cast<const timeval *>(words[0]),
                               reinterpret_cast<const struct timezone *>(words[1])));
}

int clock_settime(clockid_t clock, const timespec *time)
{
    Bus *on = board();
    if (on == nullptr || clock != CLOCK_REALTIME) {
        return real_clock_settime(clock, time);
    }
    const Working guard;
    const timeval date = {time->tv_sec, static_cast<suseconds_t>(time->tv_nsec / 1000)};
    return static_cast<int>(answer(on->set_time(&date, nullptr)));
}

int system(const char *line)
{
    Bus *on = board();
    if (on == nullptr || line == nullptr) {
        return real_system(line);
    }
    const Working guard;
    return on->run(words_of(line), [line] { return real_system(line); });
}

// The platform's program runner, which programs load as a library of its own.
int vos_system(const char *program, char *const argv[])
{
    Bus *on = board();
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
