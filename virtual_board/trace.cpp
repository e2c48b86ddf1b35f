#include "virtual_board/trace.h"

namespace virtual_board {

const char *to_string(Operation operation)
{
    static constexpr const char *names[] = {
        "open",  "close", "read", "write",  "ioctl",   "seek", "map",      "unmap", "load",
        "store", "sleep", "lock", "unlock", "control", "run",  "set_time", "status"};
    return names[static_cast<size_t>(operation)];
}

void Trace::add(Event event)
{
    for (const Listener &listener : listeners_) {
        listener(event);
    }
    if (keep_) {
        events_.push_back(std::move(event));
    }
}

std::vector<Event> Trace::of(Operation operation) const
{
    std::vector<Event> found;
    for (const Event &event : events_) {
        if (event.operation == operation) {
            found.push_back(event);
        }
    }
    return found;
}

std::vector<Event> Trace::of(Operation operation, const std::string &device) const
{
    std::vector<Event> found;
    for (const Event &event : events_) {
        if (event.operation == operation && event.device == device) {
            found.push_back(event);
        }
    }
    return found;
}

} // namespace virtual_board
