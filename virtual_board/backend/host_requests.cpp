// Requests of the host's side: its power, its system interfaces, its console,
// and the far ends of the board's lines.
#include <poll.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <nlohmann/json.hpp>

#include "virtual_board/backend/arguments.h"
#include "virtual_board/backend/at_end.h"
#include "virtual_board/backend/backend.h"
#include "virtual_board/backend/text.h"
#include "virtual_board/ipmi_text.h"

namespace virtual_board {

using nlohmann::json;

namespace {

using Time = std::chrono::steady_clock::time_point;
using std::chrono::milliseconds;

constexpr int64_t patience_max_ms = 600000;
constexpr int64_t patience_ms = 5000;
// How soon it is noticed that a client has gone.
constexpr milliseconds look_around{100};

constexpr size_t message_max = 254;
constexpr size_t text_max = 4096;
constexpr size_t record_max = 65536;

// The end of a wait, for the client's patience.
class Patience {
public:
    Patience(Channel &channel, int64_t timeout_ms)
        : channel_(channel), end_(std::chrono::steady_clock::now() + milliseconds(timeout_ms))
    {
    }

    // Until when to wait in one go.
    Time next() const { return std::min(end_, std::chrono::steady_clock::now() + look_around); }
    int next_ms() const
    {
        const auto left = next() - std::chrono::steady_clock::now();
        return static_cast<int>(
            std::max<int64_t>(std::chrono::ceil<milliseconds>(left).count(), 0));
    }
    bool over() const { return std::chrono::steady_clock::now() >= end_ || channel_.gone(); }

private:
    Channel &channel_;
    Time end_;
};

// Answers as they arrive at the host.
class Answers {
public:
    void arrived(const Message &answer)
    {
        const std::lock_guard guard(lock_);
        answers_.push_back(answer);
        news_.notify_one();
    }

    // The first one that answers the request; empty if patience is over.
    Message wait_for(const Message &request, const Patience &patience)
    {
        // The client is asked without the lock: the board waits for it.
        for (bool over = false; !over; over = patience.over()) {
            std::unique_lock guard(lock_);
            news_.wait_until(guard, patience.next(), [this] { return !answers_.empty(); });
            for (; !answers_.empty(); answers_.pop_front()) {
                if (IpmiText::answers(request, answers_.front())) {
                    return answers_.front();
                }
            }
        }
        return {};
    }

private:
    std::mutex lock_;
    std::condition_variable news_;
    std::deque<Message> answers_;
};

json text_json(const std::string &text)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());
    return {{"ok", true},
            {"text", printable(text)},
            {"bytes", hexadecimal(std::span(bytes, text.size()))}};
}

// A wait that ended early has nothing else to tell.
void require_board(Channel &channel)
{
    if (channel.gone()) {
        throw RequestError("the board has gone");
    }
}

bool lock_patiently(std::unique_lock<std::timed_mutex> &lock, const Patience &patience)
{
    do {
        if (lock.try_lock_until(patience.next())) {
            return true;
        }
    } while (!patience.over());
    return false;
}

} // namespace

json Backend::send_message(Arguments &arguments, Channel &channel)
{
    const std::string name = arguments.text("interface", "kcs");
    const Message request = arguments.bytes("bytes", 2, message_max);
    const int64_t timeout_ms = arguments.number("timeout_ms", 0, patience_max_ms, patience_ms);
    arguments.end();
    if (name != "kcs" && name != "bt") {
        throw RequestError("no interface \"" + name + "\"; there are kcs and bt");
    }
    HostInterface &side = name == "kcs" ? board_.host().kcs : board_.host().bt;
    const Patience patience(channel, timeout_ms);
    std::unique_lock turn(name == "kcs" ? kcs_ : bt_, std::defer_lock);
    if (!lock_patiently(turn, patience)) {
        throw RequestError("the interface is busy with another client's message");
    }
    Answers answers;
    const unsigned listener = act([&] {
        side.send(request);
        return side.listen([&answers](const Message &answer) { answers.arrived(answer); });
    });
    const AtEnd unlisten([&] { act([&] { side.unlisten(listener); }); });
    const Message answer = answers.wait_for(request, patience);
    if (answer.empty()) {
        const bool fetched = !act([&] { return side.withdraw(request); });
        require_board(channel);
        throw RequestError(fetched ? "the controller took the message and did not answer"
                                   : "the controller did not take the message");
    }
    const IpmiText words;
    return {{"ok", true},
            {"request", hexadecimal(request)},
            {"request_text", words.request(request)},
            {"answer", hexadecimal(answer)},
            {"answer_text", words.answer(request, answer)}};
}

// The port is the kernel's: the board need not stand still while it is full.
json Backend::uart_send(Arguments &arguments, Channel &channel)
{
    std::string text = arguments.text("text");
    const int64_t timeout_ms = arguments.number("timeout_ms", 0, patience_max_ms, patience_ms);
    arguments.end();
    const Patience patience(channel, timeout_ms);
    while (true) {
        text.erase(0, act([&] { return board_.uart().offer(text); }));
        if (text.empty()) {
            return {{"ok", true}};
        }
        if (patience.over()) {
            throw RequestError(std::to_string(text.size()) + " bytes found no room in the port");
        }
        pollfd port = {board_.uart().master(), POLLOUT, 0};
        poll(&port, 1, patience.next_ms());
    }
}

json Backend::uart_receive(Arguments &arguments, Channel &channel)
{
    const auto wanted = static_cast<size_t>(arguments.number("at_least", 0, text_max, 1));
    const int64_t timeout_ms = arguments.number("timeout_ms", 0, patience_max_ms, patience_ms);
    arguments.end();
    const Patience patience(channel, timeout_ms);
    std::string text;
    while (true) {
        text += act([&] { return board_.uart().take(); });
        if (text.size() >= wanted || patience.over()) {
            require_board(channel);
            return text_json(text);
        }
        pollfd port = {board_.uart().master(), POLLIN, 0};
        poll(&port, 1, patience.next_ms());
    }
}

json Backend::host(Arguments &arguments, Channel &channel)
{
    const std::string action = arguments.text("action");
    if (action == "send") {
        return send_message(arguments, channel);
    }
    if (action == "uart_send") {
        return uart_send(arguments, channel);
    }
    if (action == "uart_receive") {
        return uart_receive(arguments, channel);
    }
    if (action == "on" || action == "off") {
        arguments.end();
        return act([&]() -> json {
            const bool changes = board_.host().powered() != (action == "on");
            board_.host().set_power(action == "on");
            return {{"ok", true}, {"changed", changes}};
        });
    }
    if (action == "reset") {
        arguments.end();
        if (!act([&] { return board_.host().reset(); })) {
            throw RequestError("the host is off");
        }
        return {{"ok", true}};
    }
    if (action == "crash") {
        const Message record = arguments.bytes("bytes", 1, record_max);
        arguments.end();
        return act([&]() -> json {
            const bool kept = board_.black_box().enabled();
            board_.black_box().crash(record);
            return {{"ok", true}, {"kept", kept}};
        });
    }
    if (action == "post") {
        const auto code = static_cast<uint8_t>(arguments.number("code", 0, 0xFF));
        arguments.end();
        act([&] { board_.slot().post(code); });
        return {{"ok", true}};
    }
    if (action == "print") {
        const std::string text = arguments.text("text");
        arguments.end();
        return act([&]() -> json {
            const size_t before = board_.sol().lost();
            board_.sol().print(text);
            return {{"ok", true}, {"lost", board_.sol().lost() - before}};
        });
    }
    if (action == "console") {
        arguments.end();
        return text_json(act([&] { return board_.sol().text(); }));
    }
    if (action == "ipmb") {
        const auto number =
            static_cast<unsigned>(arguments.number("channel", 0, Ipmb::channel_count - 1));
        Message message = arguments.bytes("bytes", 1, Ipmb::message_max);
        arguments.end();
        act([&] { board_.ipmb().send(number, std::move(message)); });
        return {{"ok", true}};
    }
    throw RequestError("no action \"" + action + "\"");
}

} // namespace virtual_board
