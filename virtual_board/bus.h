// The board as the shim sees it: in the program itself, or in a process of its
// own.
#ifndef VIRTUAL_BOARD_BUS_H
#define VIRTUAL_BOARD_BUS_H

#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/open_file.h"
#include "virtual_board/trace.h"

namespace virtual_board {

// Results are a driver's: a negative errno, or what the system call returns.
class Bus {
public:
    virtual ~Bus() = default;

    // Whether the path is in the board's name space: no such path ever reaches
    // the machine that the board runs on.
    static bool owns(std::string_view path);
    // Whether programs look there to learn what a system has: none needs to be
    // told that it is missing.
    static bool may_lack(std::string_view path);

    virtual long open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file) = 0;
    // The last descriptor of this process that leads to the file goes.
    virtual long close(OpenFile &file) = 0;
    // The open file behind a descriptor that the program did not open itself, but
    // inherited or received; null if it is none of the board's. Keeps errno.
    virtual std::shared_ptr<OpenFile> adopt(int) { return nullptr; }
    // Whether a descriptor that led to the file still does, as far as it tells: the
    // program may have closed it on a way that nobody watches. Keeps errno.
    virtual bool leads_to(int, const OpenFile &) { return true; }
    virtual long read(OpenFile &file, void *buffer, size_t count) = 0;
    virtual long write(OpenFile &file, const void *buffer, size_t count) = 0;
    // At a place of their own; the file's offset stays.
    virtual long pread(OpenFile &file, void *buffer, size_t count, long long offset) = 0;
    virtual long pwrite(OpenFile &file, const void *buffer, size_t count, long long offset) = 0;
    // A call on a device with a real node behind it: `transfer` makes it, and may
    // wait. A fault here is an error or, of any other kind, a result.
    virtual long pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
                      const std::function<long()> &transfer) = 0;
    virtual long ioctl(OpenFile &file, uint32_t request, void *argument) = 0;
    virtual long long seek(OpenFile &file, long long offset, int whence) = 0;
    virtual long status(const std::string &path, struct stat &status) = 0;
    virtual long status(const OpenFile &file, struct stat &status) = 0;

    // Whether each load and store of a mapped register is reported; if not, the
    // board looks for changes whenever it is synchronised. Told before a map.
    virtual void stores_are_watched(bool watched) = 0;
    virtual long map(OpenFile &file, size_t length, Mapping &mapping) = 0;
    virtual void unmapped(const std::string &device, size_t length) = 0;
    // Where in the program a device's memory lies, and that it goes. Of the
    // program's other memory the board knows nothing.
    virtual void mapped_at(const void *address, const OpenFile &file) = 0;
    virtual void unmapped_at(const void *address, size_t length) = 0;
    // A load or a store is about to happen in a watched window, which the program
    // sees at `window`, and whose bytes may be written now. One at a time.
    virtual void access_begins(uint8_t *, size_t, uint32_t, bool) {}
    // It has happened; the window may still be read.
    virtual void access_ends() {}
    // A load or a store of a mapped register, as it happens.
    virtual void loaded(uint32_t offset) = 0;
    virtual void stored(uint32_t offset, uint8_t before) = 0;
    // Finds stores that were not reported one by one.
    virtual void find_stores() = 0;
    // Finds unwatched stores and runs what is due; called between the program's
    // accesses.
    virtual void synchronise() = 0;

    // The network port's name, and a control socket for it; the result is 0 or an
    // error.
    virtual const std::string &network_port() const = 0;
    virtual long control_socket() = 0;
    virtual long ethtool(void *record) = 0;

    // Whether sleeps pass on the board's own clock and no program waits.
    virtual bool time_is_virtual() const = 0;
    // A sleep; in real time the caller has slept.
    virtual void slept(uint64_t duration_us) = 0;
    virtual long get_time(timeval *time, struct timezone *zone) = 0;
    virtual long set_time(const timeval *time, const struct timezone *zone) = 0;

    // A program that is started: the board's own runs here, others through
    // `really`. The result is a wait status, or -1 if it cannot be started.
    virtual int run(const std::vector<std::string> &command,
                    const std::function<int()> &really) = 0;

    // For fork: what must not be amid a call over it, and is free in both
    // processes afterwards.
    virtual void before_fork() = 0;
    virtual void after_fork_in_parent() = 0;
    virtual void after_fork_in_child() = 0;
};

} // namespace virtual_board

#endif
