#include "tools/virtual_board/commands.h"

#include <stdio.h>

#include <nlohmann/json.hpp>

#include "tools/virtual_board/board_choice.h"
#include "tools/virtual_board/values.h"

namespace virtual_board {

using nlohmann::json;

namespace {

using Lines = std::function<void(const json &line)>;

// One command line: its request, and how the answer is shown.
class Command {
public:
    Command(CLI::App &app, const Connect &connect) : connect_(connect)
    {
        add_board_option(app, board_);
        app.add_flag("--json", json_, "Print the answer as JSON, one object per line");
    }

    // What a request asks for; the options of the command line fill it.
    json request;

    // Asks, and shows the lines as they come: events with `show`, and the last one.
    void run(const Lines &show) const
    {
        try {
            const std::unique_ptr<BackendConnection> board = connect_(board_);
            board->send(request);
            while (const std::optional<json> line = board->receive()) {
                if (json_) {
                    puts(line->dump().c_str());
                    fflush(stdout);
                }
                if (line->contains("error")) {
                    fail(exit_refused, (*line)["error"].get<std::string>());
                }
                if (!json_) {
                    show(*line);
                    fflush(stdout);
                }
                if (line->contains("ok")) {
                    return;
                }
            }
        } catch (const CLI::Error &) {
            throw;
        } catch (const std::exception &error) {
            fail(exit_no_board, error.what());
        }
        fail(exit_no_board, "the board has gone");
    }
    void run_silently() const
    {
        run([](const json &) {});
    }

private:
    [[noreturn]] static void fail(ExitCode code, const std::string &text)
    {
        fprintf(stderr, "virtual-board: %s\n", text.c_str());
        throw CLI::RuntimeError(code);
    }

    const Connect connect_;
    std::string board_;
    bool json_ = false;
};

using Shared = std::shared_ptr<Command>;

void show_table(const std::vector<std::vector<std::string>> &rows)
{
    fputs(table(rows).c_str(), stdout);
}

// A subcommand with an example that works as it stands.
CLI::App *add(CLI::App &parent, const std::string &name, const std::string &what,
              const std::string &example)
{
    CLI::App *command = parent.add_subcommand(name, what);
    command->footer("Example:\n  virtual-board " + example);
    return command;
}

// One at the top: with a board.
std::pair<CLI::App *, Shared> add_top(CLI::App &app, const Connect &connect,
                                      const std::string &name, const std::string &what,
                                      const std::string &example)
{
    CLI::App *command = add(app, name, what, example);
    const auto shared = std::make_shared<Command>(*command, connect);
    shared->request = {{"request", name}};
    return {command, shared};
}

// One below: the board's options may stand behind it.
CLI::App *add_action(CLI::App &parent, const std::string &name, const std::string &what,
                     const std::string &example)
{
    CLI::App *action = add(parent, name, what, example);
    action->fallthrough();
    action->footer(action->get_footer() + "\n\n--board and --json are as in \"virtual-board " +
                   parent.get_name() + " --help\".");
    return action;
}

// Options that go into the request as they are.
void text_option(CLI::App &app, const Shared &command, const std::string &name,
                 const std::string &key, const std::string &what)
{
    app.add_option_function<std::string>(
           name, [command, key](const std::string &text) { command->request[key] = text; }, what)
        ->required(name.front() != '-');
}

CLI::Option *number_option(CLI::App &app, const Shared &command, const std::string &name,
                           const std::string &key, int64_t min, int64_t max,
                           const std::string &what)
{
    return app
        .add_option_function<int64_t>(
            name, [command, key](int64_t number) { command->request[key] = number; }, what)
        ->check(CLI::Range(min, max))
        ->required(name.front() != '-');
}

void bytes_option(CLI::App &app, const Shared &command, const std::string &what)
{
    const auto byte = [](const std::string &word) -> std::string {
        const bool digits = word.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
        return digits && !word.empty() && word.size() <= 2 ? "" : word + " is no hexadecimal byte";
    };
    app.add_option_function<std::vector<std::string>>(
           "bytes",
           [command](const std::vector<std::string> &words) {
               std::string text;
               for (const std::string &word : words) {
                   text += (text.empty() ? "" : " ") + word;
               }
               command->request["bytes"] = text;
           },
           what)
        ->check(CLI::Validator(byte, "BYTE"))
        ->required();
}

void timeout_option(CLI::App &app, const Shared &command)
{
    number_option(app, command, "--timeout", "timeout_ms", 0, 600000,
                  "How long to wait, in milliseconds; 5000 if not given");
}

void show_exchange(const json &answer)
{
    std::vector<std::vector<std::string>> rows = {
        {"request", text_of(answer["request"]), text_of(answer["request_text"])},
        {"answer", text_of(answer["answer"])}};
    for (const json &line : answer["answer_text"]) {
        rows.size() == 2 && rows[1].size() == 2 ? rows[1].push_back(text_of(line))
                                                : rows.push_back({"", "", text_of(line)});
    }
    show_table(rows);
}

void show_bytes(const json &answer)
{
    fputs(answer["text"].get<std::string>().c_str(), stdout);
}

void add_host_power(CLI::App &host, const Shared &command)
{
    const struct {
        const char *name;
        const char *what;
        const char *example;
    } actions[] = {
        {"on", "The host's power comes by itself", "host on"},
        {"off", "The host's power goes by itself", "host off"},
        {"reset", "The host starts over by itself", "host reset"},
    };
    for (const auto &row : actions) {
        add_action(host, row.name, row.what, row.example)->callback([command, name = row.name] {
            command->request["action"] = name;
            command->run([](const json &answer) {
                puts(answer.value("changed", true) ? "done" : "nothing to do");
            });
        });
    }
    CLI::App *crash =
        add_action(host, "crash", "The host crashes and leaves a record in the black box",
                   "host crash de ad be ef");
    bytes_option(*crash, command, "The record, in hexadecimal bytes");
    crash->callback([command] {
        command->request["action"] = "crash";
        command->run([](const json &answer) {
            puts(answer["kept"] == true ? "the black box has the record"
                                        : "the black box is disabled: the record is lost");
        });
    });
    CLI::App *post =
        add_action(host, "post", "The host writes a POST code to port 80", "host post 165");
    number_option(*post, command, "code", "code", 0, 255, "The code, 0 to 255");
    post->callback([command] {
        command->request["action"] = "post";
        command->run_silently();
    });
}

void add_host_messages(CLI::App &host, const Shared &command)
{
    CLI::App *send =
        add_action(host, "send", "Send an IPMI request as the host and wait for the answer",
                   "host send 18 01");
    bytes_option(*send, command, "Network function and LUN, command, data, in hexadecimal bytes");
    send->add_option_function<std::string>(
            "--interface",
            [command](const std::string &name) { command->request["interface"] = name; },
            "kcs (if not given) or bt")
        ->check(CLI::IsMember({"kcs", "bt"}));
    timeout_option(*send, command);
    send->callback([command] {
        command->request["action"] = "send";
        command->run(show_exchange);
    });

    CLI::App *ipmb = add_action(host, "ipmb", "The neighbour on an IPMB channel sends a message",
                                "host ipmb 0 20 18 c8 72 04 01 89");
    number_option(*ipmb, command, "channel", "channel", 0, 2, "The channel, 0 to 2");
    bytes_option(*ipmb, command, "The message, in hexadecimal bytes");
    ipmb->callback([command] {
        command->request["action"] = "ipmb";
        command->run_silently();
    });
}

void add_host_lines(CLI::App &host, const Shared &command)
{
    CLI::App *print =
        add_action(host, "print", "The host prints on its console", "host print 'login: '");
    text_option(*print, command, "text", "text", "What it prints");
    print->callback([command] {
        command->request["action"] = "print";
        command->run([](const json &answer) {
            if (answer["lost"] != 0) {
                printf("%s bytes found no room\n", text_of(answer["lost"]).c_str());
            }
        });
    });
    add_action(host, "console", "Show what the host printed and nobody has taken", "host console")
        ->callback([command] {
            command->request["action"] = "console";
            command->run(show_bytes);
        });
    CLI::App *send =
        add_action(host, "uart-send", "The far end of the controller's serial port sends",
                   "host uart-send ping");
    text_option(*send, command, "text", "text", "What it sends");
    timeout_option(*send, command);
    send->callback([command] {
        command->request["action"] = "uart_send";
        command->run_silently();
    });
    CLI::App *receive = add_action(host, "uart-receive", "Show what the far end of that port gets",
                                   "host uart-receive --at-least 4 --timeout 100");
    number_option(*receive, command, "--at-least", "at_least", 0, 4096,
                  "Wait for so many bytes; 1 if not given");
    timeout_option(*receive, command);
    receive->callback([command] {
        command->request["action"] = "uart_receive";
        command->run(show_bytes);
    });
}

void add_host(CLI::App &app, const Connect &connect)
{
    const auto [host, command] =
        add_top(app, connect, "host", "Act as the host server: power, IPMI messages, console",
                "host send 18 01");
    host->require_subcommand(1);
    add_host_power(*host, command);
    add_host_messages(*host, command);
    add_host_lines(*host, command);
}

void add_press(CLI::App &app, const Connect &connect)
{
    const auto [press, command] =
        add_top(app, connect, "press", "Press a button", "press power --for 4500");
    text_option(*press, command, "button", "button", "power or event_1");
    number_option(*press, command, "--for", "hold_ms", 1, 60000,
                  "How long, in milliseconds; 200 if not given");
    press->callback([command = command] { command->run_silently(); });
}

void add_parts(CLI::App &app, const Connect &connect)
{
    const struct {
        const char *name;
        const char *what;
        const char *example;
    } commands[] = {{"pull", "Pull a disk, a CPU, a card or a chip", "pull disk.1"},
                    {"seat", "Seat what was pulled", "seat disk.3"}};
    for (const auto &row : commands) {
        const auto [app_of, command] = add_top(app, connect, row.name, row.what, row.example);
        text_option(*app_of, command, "part", "part",
                    "A part; \"virtual-board state parts\" lists them");
        app_of->callback([command = command] { command->run_silently(); });
    }
}

void show_value(const json &answer)
{
    if (answer["value"].is_object()) {
        std::vector<std::vector<std::string>> rows;
        for (const auto &[name, value] : rows_of(answer["name"], answer["value"])) {
            rows.push_back({name, text_of(value)});
        }
        show_table(rows);
        return;
    }
    const std::string accepts = answer.value("accepts", "");
    std::vector<std::string> row = {text_of(answer["name"]), text_of(answer["value"])};
    row.push_back(accepts.empty() ? "(can only be read)" : "(takes " + accepts + ")");
    show_table({row});
}

void add_values(CLI::App &app, const Connect &connect)
{
    const auto [set, set_command] = add_top(
        app, connect, "set", "Set a value of the board's state: a temperature, a line, a register",
        "set inlet_sensor.celsius 41.5");
    text_option(*set, set_command, "name", "name", "Its name, as \"virtual-board state\" shows it");
    set->add_option_function<std::string>(
           "value",
           [command = set_command](const std::string &word) {
               command->request["value"] = value_of(word);
           },
           "A number, on or off, a date, or null")
        ->required();
    set->callback([command = set_command] { command->run(show_value); });

    const auto [get, get_command] =
        add_top(app, connect, "get", "Show a value of the board's state, or a group of them",
                "get cpld.POWER_BUTTON");
    text_option(*get, get_command, "name", "name", "Its name, as \"virtual-board state\" shows it");
    get->callback([command = get_command] { command->run(show_value); });
}

void show_faults(const json &answer)
{
    std::vector<std::vector<std::string>> rows = {
        {"HITS", "DEVICE", "OPERATION", "KIND", "VALUE", "SKIP", "TIMES", "NAME"}};
    for (const json &fault : answer["faults"]) {
        std::vector<std::string> row;
        for (const char *key :
             {"hits", "device", "operation", "kind", "value", "skip", "times", "name"}) {
            row.push_back(text_of(fault[key]));
        }
        rows.push_back(row);
    }
    show_table(rows);
}

void add_fault(CLI::App &app, const Connect &connect)
{
    const auto [fault, command] =
        add_top(app, connect, "fault", "Inject named faults into what programs do",
                "fault add rtc:ioctl:error=EBUSY,times=3");
    fault->require_subcommand(1);
    CLI::App *add = add_action(*fault, "add", "Add a fault",
                               "fault add fpga:write:short_count=3,address=0x31,skip=2");
    text_option(*add, command, "fault", "text", "DEVICE:OPERATION:KIND[=VALUE][,FIELD=VALUE]...");
    add->callback([command = command] {
        command->request["action"] = "add";
        command->run_silently();
    });
    add_action(*fault, "list", "Show the faults and how often each has struck", "fault list")
        ->callback([command = command] {
            command->request["action"] = "list";
            command->run(show_faults);
        });
    add_action(*fault, "clear", "Take all faults away", "fault clear")
        ->callback([command = command] {
            command->request["action"] = "clear";
            command->run_silently();
        });
}

// Registers without a name that hold nothing are left out.
bool worth_showing(const std::string &name, const json &value)
{
    const bool nameless = name.starts_with("cpld.0x");
    return !(nameless && value == 0) && !(name.starts_with("cpld.") && name.ends_with(".offset"));
}

void show_state(const json &answer)
{
    std::vector<std::vector<std::string>> rows;
    for (const auto &[name, value] : rows_of("", answer["state"])) {
        if (worth_showing(name, value)) {
            rows.push_back({name, text_of(value)});
        }
    }
    show_table(rows);
}

void add_state(CLI::App &app, const Connect &connect)
{
    const auto [state, command] = add_top(
        app, connect, "state", "Show the whole board, or a group of values", "state disks.0");
    const auto group = std::make_shared<std::string>();
    state->add_option("group", *group, "Only what is below this name");
    state->callback([command = command, group] {
        if (group->empty()) {
            command->run(show_state);
            return;
        }
        command->request = {{"request", "get"}, {"name", *group}};
        command->run(show_value);
    });
}

void show_event(const json &line)
{
    if (line.contains("event")) {
        puts(line["event"]["text"].get<std::string>().c_str());
    } else if (line.contains("lost") && !line.contains("ok")) {
        printf("... %s events are missing here\n", text_of(line["lost"]).c_str());
    }
}

void add_trace(CLI::App &app, const Connect &connect)
{
    const auto [trace, command] =
        add_top(app, connect, "trace", "Follow what programs do to the board, decoded",
                "trace --device fpga --operation read --count 1");
    const auto list = [&, trace = trace, command = command](const char *name, const char *key,
                                                            const char *what) {
        trace
            ->add_option_function<std::vector<std::string>>(
                name,
                [command, key](const std::vector<std::string> &words) {
                    command->request[key] = words;
                },
                what)
            ->allow_extra_args(false);
    };
    list("--device", "devices", "Only this device; can be given several times");
    list("--operation", "operations", "Only this operation; can be given several times");
    number_option(*trace, command, "--count", "count", 1, 1000000000, "End after so many events");
    trace->callback([command = command] { command->run(show_event); });
}

} // namespace

void add_backend_commands(CLI::App &app, const Connect &connect)
{
    add_host(app, connect);
    add_press(app, connect);
    add_parts(app, connect);
    add_values(app, connect);
    add_fault(app, connect);
    add_state(app, connect);
    add_trace(app, connect);
}

} // namespace virtual_board
