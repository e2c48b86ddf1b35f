#include "virtual_board/trace.h"

namespace virtual_board {

namespace {

constexpr const char *operation_names[] = {"open",   "close",   "read", "write",    "ioctl", "seek",
                                           "map",    "unmap",   "load", "store",    "sleep", "lock",
                                           "unlock", "control", "run",  "set_time", "status"};

} // namespace

const char *to_string(Operation operation)
{
    return operation_names[static_cast<size_t>(operation)];
}

std::optional<Operation> operation_from(std::string_view name)
{
    for (size_t i = 0; i < std::size(operation_names); ++i) {
        if (name == operation_names[i]) {
            return static_cast<Operation>(i);
        }
    }
    return {};
}

unsigned Trace::listen(Listener listener)
{
    listeners_[++last_listener_] = std::move(listener);
    return last_listener_;
}

void Trace::add(Event event)
{
    for (const auto &[number, listener] : listeners_) {
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
