#include "virtual_board/backend/backend.h"

#include <nlohmann/json.hpp>

#include "board_hal_cpld.h"
#include "virtual_board/backend/arguments.h"
#include "virtual_board/backend/leaves.h"
#include "virtual_board/backend/parts.h"
#include "virtual_board/backend/text.h"
#include "virtual_board/fault_text.h"

namespace virtual_board {

using nlohmann::json;

namespace {

constexpr int64_t hold_max_ms = 60000;
constexpr int64_t hold_default_ms = 200;

json done()
{
    return {{"ok", true}};
}

[[noreturn]] void unknown(const std::string &what, const std::string &given)
{
    throw RequestError("no " + what + " \"" + printable(given) + "\"");
}

json described(const Leaf &leaf)
{
    return {{"ok", true},
            {"name", leaf.name},
            {"value", leaf.get()},
            {"settable", leaf.set != nullptr},
            {"accepts", leaf.domain.words()}};
}

} // namespace

void Backend::serve(const json &request, Channel &channel)
{
    json last;
    try {
        last = answer(request, channel);
    } catch (const RequestError &error) {
        last = {{"error", printable(error.what())}};
    } catch (const std::exception &error) {
        last = {{"error", std::string("internal error: ") + printable(error.what())}};
    }
    channel.send(last);
}

json Backend::answer(const json &request, Channel &channel)
{
    using Handler = json (Backend::*)(Arguments &, Channel &);
    static constexpr struct {
        const char *name;
        Handler handle;
    } requests[] = {
        {"host", &Backend::host},   {"press", &Backend::press}, {"pull", &Backend::pull},
        {"seat", &Backend::seat},   {"set", &Backend::set},     {"get", &Backend::get},
        {"fault", &Backend::fault}, {"state", &Backend::state}, {"trace", &Backend::trace},
    };
    Arguments arguments(request);
    const std::string name = arguments.text("request");
    for (const auto &row : requests) {
        if (name == row.name) {
            return (this->*row.handle)(arguments, channel);
        }
    }
    unknown("request", name);
}

// The press is begun; its end is on the board's clock.
json Backend::press(Arguments &arguments, Channel &)
{
    const std::string button = arguments.text("button");
    const int64_t hold_ms = arguments.number("hold_ms", 1, hold_max_ms, hold_default_ms);
    arguments.end();
    if (button == "power") {
        const bool works = act(
            [&] { return board_.host().press_front_panel(static_cast<uint64_t>(hold_ms) * 1000); });
        if (!works) {
            throw RequestError("the power button is locked");
        }
        return done();
    }
    // The CPLD latches its presses, however long they are.
    if (button == "event_1") {
        act([&] { board_.cpld().set_bits(CPLD_REG_BUTTON_EVENT_B, CPLD_BUTTON_EVENT_1); });
        return done();
    }
    unknown("button", button);
}

json Backend::move_part(Arguments &arguments, bool seated)
{
    const std::string name = arguments.text("part");
    arguments.end();
    return act([&]() -> json {
        for (const Part &part : parts_of(board_)) {
            if (part.name != name) {
                continue;
            }
            if (part.seated == seated) {
                throw RequestError(name + (seated ? " is seated already" : " is not seated"));
            }
            part.seat(seated);
            return done();
        }
        unknown("part", name);
    });
}

json Backend::pull(Arguments &arguments, Channel &)
{
    return move_part(arguments, false);
}

json Backend::seat(Arguments &arguments, Channel &)
{
    return move_part(arguments, true);
}

json Backend::set(Arguments &arguments, Channel &)
{
    const std::string name = arguments.text("name");
    const json &value = arguments.value("value");
    arguments.end();
    return act([&]() -> json {
        touch(board_, name);
        const Leaves before = leaves_of(board_);
        const Leaf *leaf = before.find(name);
        if (leaf == nullptr) {
            unknown("value", name);
        }
        if (leaf->set == nullptr) {
            throw RequestError(leaf->name + " can only be read");
        }
        leaf->set(value);
        return described(*leaves_of(board_).find(name));
    });
}

json Backend::get(Arguments &arguments, Channel &)
{
    const std::string name = arguments.text("name");
    arguments.end();
    return act([&]() -> json {
        const Leaves leaves = leaves_of(board_);
        if (const Leaf *leaf = leaves.find(name)) {
            return described(*leaf);
        }
        const json tree = leaves.tree(name);
        if (name.empty() || tree.is_null()) {
            unknown("value", name);
        }
        return {{"ok", true}, {"name", name}, {"value", tree}};
    });
}

json Backend::state(Arguments &arguments, Channel &)
{
    arguments.end();
    return act([&]() -> json { return {{"ok", true}, {"state", leaves_of(board_).tree("")}}; });
}

json Backend::fault(Arguments &arguments, Channel &)
{
    const std::string action = arguments.text("action");
    const std::string text = action == "add" ? arguments.text("text") : "";
    arguments.end();
    if (action == "add") {
        try {
            const Fault fault = parse_fault(text);
            return act([&]() -> json {
                return {{"ok", true}, {"fault", fault_json(board_.faults.add(fault))}};
            });
        } catch (const FaultError &error) {
            throw RequestError(error.what());
        }
    }
    if (action == "list") {
        return act([&]() -> json {
            return {{"ok", true}, {"faults", leaves_of(board_).tree("")["faults"]}};
        });
    }
    if (action == "clear") {
        act([&] { board_.faults.clear(); });
        return done();
    }
    unknown("action", action);
}

} // namespace virtual_board
