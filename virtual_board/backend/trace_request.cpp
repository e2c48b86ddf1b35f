// The decoded trace of what programs do to the board, as it happens.
#include <chrono>
#include <condition_variable>
#include <deque>
#include <nlohmann/json.hpp>
#include <set>

#include "virtual_board/backend/arguments.h"
#include "virtual_board/backend/at_end.h"
#include "virtual_board/backend/backend.h"
#include "virtual_board/backend/event_text.h"
#include "virtual_board/backend/text.h"

namespace virtual_board {

using nlohmann::json;

namespace {

// What a slow client may be behind before it loses events.
constexpr size_t queue_max = 10000;
constexpr std::chrono::milliseconds look_around{100};

struct Filter {
    std::set<std::string> devices; // all if empty
    std::set<Operation> operations;

    bool lets_through(const Event &event) const
    {
        return (devices.empty() || devices.contains(event.device)) &&
               (operations.empty() || operations.contains(event.operation));
    }
};

// Between the board, which never waits, and one client.
class Queue {
public:
    struct Batch {
        std::deque<Event> events;
        uint64_t lost = 0; // behind the events
    };

    void put(const Event &event)
    {
        const std::lock_guard guard(lock_);
        if (batch_.events.size() >= queue_max) {
            ++batch_.lost;
            return;
        }
        batch_.events.push_back(event);
        news_.notify_one();
    }

    // What has come; maybe nothing after a while.
    Batch take()
    {
        std::unique_lock guard(lock_);
        news_.wait_for(guard, look_around, [this] { return !batch_.events.empty(); });
        return std::exchange(batch_, {});
    }

private:
    std::mutex lock_;
    std::condition_variable news_;
    Batch batch_;
};

Filter filter_of(Arguments &arguments)
{
    Filter filter;
    for (const std::string &device : arguments.texts("devices")) {
        filter.devices.insert(device);
    }
    for (const std::string &name : arguments.texts("operations")) {
        const std::optional<Operation> operation = operation_from(name);
        if (!operation) {
            throw RequestError("no operation \"" + name + "\"");
        }
        filter.operations.insert(*operation);
    }
    return filter;
}

} // namespace

json Backend::trace(Arguments &arguments, Channel &channel)
{
    const Filter filter = filter_of(arguments);
    const int64_t count = arguments.number("count", 0, 1000000000, 0);
    arguments.end();
    Queue queue;
    const unsigned listener = act([&] {
        return board_.trace.listen([&](const Event &event) {
            if (filter.lets_through(event)) {
                queue.put(event);
            }
        });
    });
    const AtEnd unlisten([&] { act([&] { board_.trace.unlisten(listener); }); });
    int64_t sent = 0;
    uint64_t lost = 0;
    const auto wanted = [&] { return count == 0 || sent < count; };
    // From this line on the client misses nothing.
    bool there = channel.send({{"following", true}});
    while (there && wanted() && !channel.gone()) {
        const Queue::Batch batch = queue.take();
        for (auto event = batch.events.begin(); event != batch.events.end() && there && wanted();
             ++event) {
            there = channel.send({{"event", event_json(*event)}});
            ++sent;
        }
        lost += batch.lost;
        there = there && (batch.lost == 0 || channel.send({{"lost", batch.lost}}));
    }
    if (wanted()) {
        throw RequestError("the board has gone");
    }
    return {{"ok", true}, {"events", sent}, {"lost", lost}};
}

} // namespace virtual_board
