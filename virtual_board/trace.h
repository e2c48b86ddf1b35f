// What programs did to the board, in order.
#ifndef VIRTUAL_BOARD_TRACE_H
#define VIRTUAL_BOARD_TRACE_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace virtual_board {

enum class Operation {
    open,
    close,
    read,
    write,
    ioctl,
    seek,
    map,
    unmap,
    load,
    store,
    sleep,
    lock,
    unlock,
    control,  // fcntl on a real node behind a device
    run,      // a program, named by its command line
    set_time, // the system clock
    status,   // stat and its kin; for faults, not traced
};

const char *to_string(Operation operation);
std::optional<Operation> operation_from(std::string_view name);

struct Event {
    uint64_t time_us = 0;
    Operation operation = Operation::open;
    std::string device;   // node name; the mutex's name for locks
    uint32_t address = 0; // register, command code, ioctl request, offset
    uint64_t count = 0;   // bytes asked for; microseconds of a sleep
    long long result = 0; // what the call answered
    // The record as it came in, or an ioctl's argument; old and new value of a store.
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> answer; // what a read or an ioctl gave back
};

class Trace {
public:
    using Listener = std::function<void(const Event &)>;

    void add(Event event);
    // Called for each event as it happens, with the board's lock held. The number
    // is for unlisten(), which no listener may call.
    unsigned listen(Listener listener);
    void unlisten(unsigned number) { listeners_.erase(number); }

    const std::vector<Event> &events() const { return events_; }
    std::vector<Event> of(Operation operation) const;
    std::vector<Event> of(Operation operation, const std::string &device) const;
    size_t count(Operation operation, const std::string &device) const
    {
        return of(operation, device).size();
    }
    void clear() { events_.clear(); }
    // A board that runs for long keeps no events; listeners still see them.
    void keep(bool keep) { keep_ = keep; }

private:
    bool keep_ = true;
    std::vector<Event> events_;
    std::map<unsigned, Listener> listeners_;
    unsigned last_listener_ = 0;
};

} // namespace virtual_board

#endif
