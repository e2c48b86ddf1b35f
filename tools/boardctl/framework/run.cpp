#include "boardctl/framework/run.h"

#include <board_hal.h>
#include <signal.h>
#include <stdio.h>

#include "boardctl/framework/confirm.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/parse.h"
#include "boardctl/framework/virtual_board.h"

namespace boardctl {

namespace {

const char *opening_failure(int result)
{
    switch (result) {
    case -1:
        return "its CPLD cannot be opened";
    case -4:
        return "its GPIO lines cannot be set up";
    default:
        return "its FPGA or I2C device cannot be opened";
    }
}

// The board is open for as long as this lives.
class OpenBoard {
public:
    explicit OpenBoard(bool wanted) : open_(wanted)
    {
        const int result = wanted ? ipmc_driver_init() : 0;
        if (result != 0) {
            throw NoBoard(std::string("the board is not reachable: ") + opening_failure(result),
                          result);
        }
    }
    ~OpenBoard()
    {
        if (open_) {
            ipmc_driver_clean();
        }
    }
    OpenBoard(const OpenBoard &) = delete;
    OpenBoard &operator=(const OpenBoard &) = delete;

private:
    bool open_;
};

class Runner {
public:
    explicit Runner(const Call &call)
        : call_(call), context_(*call.family, *call.command, call_.arguments, call.options, output_)
    {
    }

    int run()
    {
        interrupt::begin([this](const char *signal, const std::string &state) {
            report_interruption(signal, state);
        });
        try {
            work();
        } catch (const Declined &declined) {
            return report({exit_refused, declined.what()});
        } catch (const NoBoard &error) {
            return report({exit_no_board, error.what(), "ipmc_driver_init", error.code});
        } catch (const Failed &error) {
            return report({exit_failed, error.what(), error.operation, error.code});
        } catch (const Trouble &error) {
            return report({exit_failed, error.what()});
        }
        if (call_.options.verbose && !call_.options.json) {
            Context::show(context_.take_messages());
        }
        return output_.lost() ? exit_no_output : exit_ok;
    }

private:
    void work()
    {
        const Command &command = *call_.command;
        if (command.asks && !call_.options.yes) {
            const std::string question = command.asks(call_.arguments);
            if (!question.empty()) {
                confirm(question);
            }
        }
        const OpenBoard board(command.needs_board);
        interrupt::set_state(command.streams ? "the board was only watched"
                                             : "what was done so far stays done");
        const Result result = command.run(context_);
        if (!command.streams) {
            context_.emit(result);
        }
    }

    int report(const ErrorReport &error)
    {
        const Messages messages = context_.take_messages();
        Context::show(messages);
        std::string answered;
        if (!error.operation.empty()) {
            answered = error.operation + " answered " + std::to_string(error.code) + ": ";
        }
        fprintf(stderr, "boardctl %s: %s%s\n", context_.command_name().c_str(), answered.c_str(),
                error.meaning.c_str());
        if (call_.options.json) {
            output_.write(error_document(context_.command_name(), error, messages));
        }
        return error.exit;
    }

    void report_interruption(const char *signal, const std::string &state)
    {
        fprintf(stderr, "\nboardctl %s: interrupted: %s\n", context_.command_name().c_str(),
                state.c_str());
        if (call_.options.json) {
            output_.write(interrupted_document(context_.command_name(), signal, state));
        }
    }

    const Call &call_;
    Output output_;
    Context context_;
};

// A reader or a terminal that goes away must not end a flash write. What only
// watches ends with its terminal.
void outlive_readers(const Command &command)
{
    signal(SIGPIPE, SIG_IGN);
    if (!command.streams) {
        signal(SIGHUP, SIG_IGN);
    }
}

} // namespace

int run(const std::vector<Family> &families, int argc, char **argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        const Parsed parsed = parse(families, words);
        if (!parsed.call) {
            return fputs(parsed.text.c_str(), stdout) < 0 || fflush(stdout) != 0 ? exit_no_output
                                                                                 : exit_ok;
        }
        enter_virtual_board(parsed.call->options, argv);
        outlive_readers(*parsed.call->command);
        // Never destroyed: an interruption may still look at it.
        static Runner *const runner = new Runner(*new Call(*parsed.call));
        return runner->run();
    } catch (const UsageError &error) {
        fprintf(stderr, "boardctl: %s\nusage: %s\n", error.what(),
                usage_for(families, words).c_str());
        return exit_usage;
    } catch (const Trouble &error) {
        fprintf(stderr, "boardctl: %s\n", error.what());
        return exit_no_board;
    }
}

} // namespace boardctl
