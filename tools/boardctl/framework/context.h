// What a running command has at hand.
#ifndef BOARDCTL_CONTEXT_H
#define BOARDCTL_CONTEXT_H

#include <string>
#include <vector>

#include "boardctl/framework/arguments.h"
#include "boardctl/framework/describe.h"
#include "boardctl/framework/json.h"
#include "boardctl/framework/options.h"
#include "boardctl/framework/output.h"

namespace boardctl {

class Context {
public:
    Context(const Family &family, const Command &command, const Arguments &arguments,
            const Options &options, Output &output);

    const Arguments &arguments() const { return arguments_; }
    bool has(const std::string &name) const { return arguments_.has(name); }
    int64_t number(const std::string &name) const { return arguments_.number(name); }
    template <typename T> T as(const std::string &name) const { return arguments_.as<T>(name); }
    std::string text(const std::string &name) const { return arguments_.text(name); }
    std::vector<uint8_t> bytes(const std::string &name) const { return arguments_.bytes(name); }
    bool flag(const std::string &name) const { return arguments_.flag(name); }

    bool json() const { return options_.json; }
    const Output &output() const { return output_; }
    // "power on"
    std::string command_name() const { return full_name(family_, command_); }

    // Ends the command as failed unless the operation's result is 0.
    void check(const std::string &operation, int result) const;
    // Ends it as failed if the result is negative; else it is a byte count.
    int count(const std::string &operation, int result) const;

    // Answers now, before the command ends. In a table's place stands the line,
    // if there is one. False: nobody reads on, the command ought to end.
    bool emit(const Result &result, const std::string &line = {});
    // The result as people see it.
    std::string rendered(const Result &result) const;
    // To standard output as it is; only for a screen that is redrawn.
    bool draw(const std::string &text);
    // A JSON document of the progress (Progress does this).
    void emit_progress(const std::string &stage, int64_t current, int64_t total);

    // The library's messages so far, and no longer.
    Messages take_messages();
    // Shows messages to people, on standard error.
    static void show(const Messages &messages);

private:
    const Family &family_;
    const Command &command_;
    const Arguments &arguments_;
    const Options &options_;
    Output &output_;
};

} // namespace boardctl

#endif
