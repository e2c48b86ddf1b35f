#include "boardctl/framework/context.h"

#include <stdio.h>

#include "boardctl/framework/meanings.h"
#include "boardctl/framework/render.h"

namespace boardctl {

Context::Context(const Family &family, const Command &command, const Arguments &arguments,
                 const Options &options, Output &output)
    : family_(family), command_(command), arguments_(arguments), options_(options), output_(output)
{
}

void Context::check(const std::string &operation, int result) const
{
    if (result != 0) {
        throw Failed(operation, result, meaning_of(family_, operation, result));
    }
}

int Context::count(const std::string &operation, int result) const
{
    if (result < 0) {
        check(operation, result);
    }
    return result;
}

bool Context::emit(const Result &result, const std::string &line)
{
    check_shape(command_, result);
    const Messages messages = take_messages();
    if (options_.json) {
        output_.write(result_document(command_name(), command_, result, messages));
        return !output_.lost();
    }
    if (options_.verbose) {
        show(messages);
    }
    output_.write(line.empty() ? rendered(result) : line + '\n');
    return !output_.lost();
}

std::string Context::rendered(const Result &result) const
{
    return as_text(command_, result, output_.colours());
}

bool Context::draw(const std::string &text)
{
    output_.write(text);
    return !output_.lost();
}

void Context::emit_progress(const std::string &stage, int64_t current, int64_t total)
{
    output_.write(progress_document(command_name(), stage, current, total));
}

Messages Context::take_messages()
{
    return output_.take_messages();
}

void Context::show(const Messages &messages)
{
    for (const std::string &message : messages) {
        fprintf(stderr, "board_hal: %s\n", message.c_str());
    }
}

} // namespace boardctl
