#include "console_bridge/escapes.h"

#include <utility>

namespace console_bridge {

namespace {

constexpr char escape = '~';

} // namespace

Escapes::Command Escapes::take(char typed, std::string &passed)
{
    if (std::exchange(pending_, false)) {
        return command(typed, passed);
    }
    if (at_line_start_ && typed == escape) {
        pending_ = true;
        return Command::none;
    }
    at_line_start_ = typed == '\r' || typed == '\n';
    passed += typed;
    return Command::none;
}

// After a command the line still begins.
Escapes::Command Escapes::command(char typed, std::string &passed)
{
    switch (typed) {
    case '.':
        return Command::end;
    case 'b':
        return Command::save;
    case '?':
        return Command::help;
    case escape:
        break;
    default:
        passed += escape;
    }
    at_line_start_ = typed == '\r' || typed == '\n';
    passed += typed;
    return Command::none;
}

} // namespace console_bridge
