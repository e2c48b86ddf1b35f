// The boot loader's environment.

#include <board_hal.h>

#include <optional>

#include "boardctl/families/env_text.h"
#include "boardctl/families/families.h"
#include "boardctl/families/files.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/progress.h"

namespace boardctl {

namespace {

constexpr size_t block_size = 8192;
// The library does not tell whether a variable exists: then the mark stays.
constexpr char mark = '\x01';

std::optional<std::string> value_of(const Context &context, const std::string &name)
{
    std::vector<char> buffer(block_size, mark);
    buffer.back() = '\0';
    context.check("get_uboot_env", get_uboot_env(name.c_str(), buffer.data(), block_size));
    if (buffer.front() == mark && buffer.at(block_size - 2) == mark) {
        return {};
    }
    return std::string(buffer.data());
}

// The library prints the variables. A value's further lines may look like
// variables: who has no value is none.
Variables all_variables(Context &context)
{
    context.take_messages();
    context.check("print_uboot_env", print_uboot_env(nullptr));
    Variables variables;
    for (const std::string &line : context.take_messages()) {
        const std::string name = line.substr(0, line.find('='));
        const std::optional<std::string> value =
            name == line || name.empty() ? std::nullopt : value_of(context, name);
        if (value) {
            variables[name] = *value;
        }
    }
    return variables;
}

// Flash is written only if there is something to change.
bool put(const Context &context, const std::string &name, const std::optional<std::string> &value)
{
    if (value_of(context, name) == value) {
        return false;
    }
    interrupt::set_state("the block of variables is being written; read it again");
    context.check("set_uboot_env", set_uboot_env(name.c_str(), value ? value->c_str() : nullptr));
    interrupt::set_state("\"" + name + "\" is written");
    return true;
}

Result get(Context &context)
{
    const std::string name = context.text("NAME");
    const std::optional<std::string> value = value_of(context, name);
    if (!value && !context.has("--default")) {
        throw Trouble("there is no variable \"" + name + "\"");
    }
    return Result().set("value", text(value ? *value : context.text("--default")));
}

Result set(Context &context)
{
    return Result().set("changed",
                        yes_no(put(context, context.text("NAME"), context.text("VALUE"))));
}

Result remove(Context &context)
{
    return Result().set("changed", yes_no(put(context, context.text("NAME"), {})));
}

Result list(Context &context)
{
    Result result;
    for (const auto &[name, value] : all_variables(context)) {
        result.row("variables", {text(name), text(value)});
    }
    return result;
}

Result export_file(Context &context)
{
    const Variables variables = all_variables(context);
    const std::string all = text_of(variables);
    write_file(context.text("FILE"), {all.begin(), all.end()});
    return Result().set("exported", number(static_cast<int64_t>(variables.size())));
}

Variables variables_in(const std::string &path)
{
    const std::vector<uint8_t> bytes = read_file(path);
    try {
        return variables_of(std::string(bytes.begin(), bytes.end()));
    } catch (const Trouble &trouble) {
        throw Trouble(path + ": " + trouble.what());
    }
}

Result import_file(Context &context)
{
    const Variables variables = variables_in(context.text("FILE"));
    const auto total = static_cast<int64_t>(variables.size());
    Progress progress(context);
    progress.stage("import", "no variable is written yet");
    int64_t done = 0;
    int64_t changed = 0;
    for (const auto &[name, value] : variables) {
        changed += put(context, name, value) ? 1 : 0;
        progress.update(++done, total);
        interrupt::set_state(std::to_string(done) + " of " + std::to_string(total) +
                             " variables are written; import again");
    }
    progress.done();
    return Result().set("changed", number(changed)).set("same", number(total - changed));
}

Argument name_argument()
{
    return {"NAME", "name of the variable",
            Form{"a name without \"=\"",
                 [](const std::string &word) -> std::string {
                     return word.empty() || word.find('=') != std::string::npos
                                ? "\"" + word + "\" is no name"
                                : "";
                 },
                 {},
                 {"", "=", "name=", "name=value"},
                 {"bootdelay", "a"}}};
}

const std::vector<Block> changed_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {{"changed", "changed", Type::boolean, "whether the flash was written"}}}};

constexpr const char *not_terminated = "the block of variables is damaged, or erased";

} // namespace

Family env_family()
{
    return {
        .name = "env",
        .summary = "The boot loader's variables",
        .description = "There is one copy of them, written as a whole: power that goes while it "
                       "is written loses them. What is so already is not written.",
        .commands =
            {
                {.name = "get",
                 .summary = "Show a variable",
                 .arguments = {name_argument(),
                               {"--default", "what is shown if there is none; an error if absent",
                                Text{0, 8000}, false}},
                 .output = {{"", "", Block::Layout::fields, {{"value", "value", Type::string}}}},
                 .examples = {{"env get bootdelay --default 5", "How long does it wait?"}},
                 .run = get},
                {.name = "set",
                 .summary = "Set a variable",
                 .arguments = {name_argument(), {"VALUE", "its value", Text{0, 8000}}},
                 .output = changed_blocks,
                 .examples = {{"env set bootdelay 3 --yes", "Wait 3 seconds before booting"}},
                 .run = set,
                 .asks = [](const Arguments &arguments) -> std::string {
                     return "Set the boot loader's \"" + arguments.text("NAME") + "\"?";
                 }},
                {.name = "delete",
                 .summary = "Delete a variable",
                 .arguments = {name_argument()},
                 .output = changed_blocks,
                 .examples = {{"env delete serverip --yes", "Forget the server"}},
                 .run = remove,
                 .asks = [](const Arguments &arguments) -> std::string {
                     return "Delete the boot loader's \"" + arguments.text("NAME") + "\"?";
                 }},
                {.name = "list",
                 .summary = "Show all variables",
                 .output = {{"variables",
                             "Variables",
                             Block::Layout::rows,
                             {{"name", "name", Type::string}, {"value", "value", Type::string}}}},
                 .examples = {{"env list", "How does the controller boot?"}},
                 .run = list},
                {.name = "export",
                 .summary = "Save all variables as text",
                 .description = "In the form that mkenvimage and boardctl env import read.",
                 .arguments = {{"FILE", "file to save to", OutputFile{}}},
                 .output =
                     {{"", "", Block::Layout::fields, {{"exported", "variables", Type::integer}}}},
                 .examples = {{"env export variables.txt", "Keep them"}},
                 .run = export_file},
                {.name = "import",
                 .summary = "Set the variables of a text",
                 .description = "Lines \"name=value\"; other variables stay. Nothing is set if a "
                                "line is wrong.",
                 .arguments = {{"FILE", "file to read", InputFile{}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"changed", "changed", Type::integer},
                              {"same", "same already", Type::integer}}}},
                 .examples = {{"env import variables.txt --yes", "Set two variables",
                               "printf 'bootdelay=3\\nserverip=10.0.0.1\\n' > variables.txt"}},
                 .run = import_file,
                 .asks = always("Set the boot loader's variables?")},
            },
        .meanings = {{"get_uboot_env", -1, not_terminated},
                     {"set_uboot_env", -1, "no room for it, or the block is damaged or erased"},
                     {"print_uboot_env", -1, not_terminated},
                     {"get_uboot_env", -2, "the flash cannot be opened"},
                     {"set_uboot_env", -2, "the flash cannot be opened, or it must not be deleted"},
                     {"print_uboot_env", -2, "the flash cannot be opened"}},
    };
}

} // namespace boardctl
