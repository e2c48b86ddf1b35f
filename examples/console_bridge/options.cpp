#include "console_bridge/options.h"

#include <stdlib.h>

#include <limits>

namespace console_bridge {

namespace {

constexpr uint32_t black_box_size_max = 1048576;

bool parse_number(const std::string &text, uint32_t least, uint32_t most, uint32_t &number)
{
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const unsigned long long value = strtoull(text.c_str(), nullptr, 10);
    if (value < least || value > most) {
        return false;
    }
    number = static_cast<uint32_t>(value);
    return true;
}

bool set_uart(const std::string &value, Options &options)
{
    uint32_t number = 0;
    if (!parse_number(value, 0, std::numeric_limits<int32_t>::max(), number)) {
        return false;
    }
    options.uart = static_cast<int32_t>(number);
    return true;
}

bool set_far_end(const std::string &value, Options &options)
{
    options.far_end = value == "panel" ? FarEnd::panel : FarEnd::host;
    return value == "host" || value == "panel";
}

bool set_black_box(const std::string &value, Options &options)
{
    options.black_box = value;
    return !value.empty();
}

bool set_save_now(const std::string &value, Options &options)
{
    options.save_now = value;
    return !value.empty();
}

bool set_size(const std::string &value, Options &options)
{
    return parse_number(value, 1, black_box_size_max, options.black_box_size);
}

bool set_prefix(const std::string &value, Options &options)
{
    options.prefix = value;
    return true;
}

struct ValueOption {
    const char *name;
    bool (*set)(const std::string &value, Options &options);
};

constexpr ValueOption value_options[] = {
    {"--uart", set_uart},
    {"--uart-to", set_far_end},
    {"--black-box", set_black_box},
    {"--black-box-size", set_size},
    {"--save-black-box", set_save_now},
    {"--prefix", set_prefix},
};

const ValueOption *find(const std::string &name)
{
    for (const ValueOption &option : value_options) {
        if (name == option.name) {
            return &option;
        }
    }
    return nullptr;
}

// A switch without a value; false if it is none.
bool set_switch(const std::string &name, Options &options)
{
    if (name == "--help" || name == "-h") {
        options.help = true;
    } else if (name == "--no-uart") {
        options.use_uart = false;
    } else {
        return false;
    }
    return true;
}

} // namespace

const char usage[] =
    "usage: console_bridge [OPTION...]\n"
    "Carries the host's serial console: what the host prints to standard output,\n"
    "what is typed to the host. Puts the serial switch back at the end.\n"
    "\n"
    "  --uart N              the controller's UART to use; 0 if not given\n"
    "  --uart-to host        the UART leads to the host's serial port and carries\n"
    "                        what is typed there (this if not given)\n"
    "  --uart-to panel       the UART leads to the front panel's serial connector:\n"
    "                        whoever is there sees the host's console, too, and can\n"
    "                        be written to; the host is only watched\n"
    "  --no-uart             touch neither UART nor serial switch; only watch\n"
    "  --black-box FILE      where the black box is saved: when the host crashes, at\n"
    "                        ~b, and at SIGUSR1\n"
    "  --black-box-size N    bytes that a record may have, 1 to 1048576; 16384 if not\n"
    "                        given\n"
    "  --save-black-box FILE save the black box now, and do nothing else\n"
    "  --prefix TEXT         begin each line of the console with TEXT\n"
    "  --help                print this\n"
    "\n"
    "At the start of a line: ~. ends, ~b saves the black box, ~~ is one ~, ~? tells\n"
    "this. SIGTERM, SIGINT and SIGHUP end, too.\n"
    "Results: 0 ended as asked, 1 the board failed or the box was not saved, 2 usage.\n";

std::string parse(const std::vector<std::string> &arguments, Options &options)
{
    bool uart_named = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const size_t equals = arguments[i].find('=');
        const std::string name = arguments[i].substr(0, equals);
        if (equals == std::string::npos && set_switch(name, options)) {
            continue;
        }
        const ValueOption *option = find(name);
        if (option == nullptr) {
            return "there is no option \"" + arguments[i] + "\"";
        }
        if (equals == std::string::npos && ++i == arguments.size()) {
            return name + " needs a value";
        }
        const std::string value =
            equals == std::string::npos ? arguments[i] : arguments[i].substr(equals + 1);
        if (!option->set(value, options)) {
            return name + " cannot be \"" + value + "\"";
        }
        uart_named = uart_named || option->set == set_uart || option->set == set_far_end;
    }
    if (uart_named && !options.use_uart) {
        return "--no-uart contradicts --uart and --uart-to";
    }
    return {};
}

} // namespace console_bridge
