// Every command is described as parsing, help, pages and schemas need it.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "boardctl/families/families.h"
#include "boardctl/framework/arguments.h"
#include "boardctl/framework/options.h"

namespace boardctl {

namespace {

template <typename Visit> void for_each_command(const Visit &visit)
{
    for (const Family &family : families()) {
        for (const Command &command : family.commands) {
            SCOPED_TRACE(full_name(family, command));
            visit(family, command);
        }
    }
}

template <typename Things, typename Name> void expect_unique(const Things &things, const Name &name)
{
    std::set<std::string> names;
    for (const auto &thing : things) {
        EXPECT_TRUE(names.insert(name(thing)).second) << name(thing);
    }
}

TEST(Descriptions, FamiliesAreComplete)
{
    expect_unique(families(), [](const Family &family) { return family.name; });
    for (const Family &family : families()) {
        SCOPED_TRACE(family.name);
        EXPECT_FALSE(family.summary.empty());
        ASSERT_FALSE(family.commands.empty());
        expect_unique(family.commands, [](const Command &command) { return command.name; });
        // A command without a name of its own is the only one.
        EXPECT_TRUE(family.commands.size() == 1 || !family.commands.front().name.empty());
    }
}

TEST(Descriptions, CommandsAreComplete)
{
    for_each_command([](const Family &, const Command &command) {
        EXPECT_FALSE(command.summary.empty());
        EXPECT_FALSE(command.examples.empty());
        EXPECT_NE(command.run, nullptr);
        expect_unique(command.arguments, [](const Argument &argument) { return argument.name; });
        expect_unique(command.output, [](const Block &block) { return block.key; });
        for (const Block &block : command.output) {
            EXPECT_FALSE(block.fields.empty());
            EXPECT_TRUE(block.layout == Block::Layout::fields || !block.key.empty());
            expect_unique(block.fields, [](const Field &field) { return field.key; });
        }
    });
}

TEST(Descriptions, PlacesAreFilledInOrder)
{
    for_each_command([](const Family &, const Command &command) {
        bool optional_before = false;
        bool list_before = false;
        for (const Argument &argument : command.arguments) {
            EXPECT_FALSE(argument.help.empty()) << argument.name;
            if (argument.is_option()) {
                continue;
            }
            // An optional place or a list can only be the last one.
            EXPECT_FALSE(argument.must_be_given() && optional_before) << argument.name;
            EXPECT_FALSE(list_before) << argument.name;
            EXPECT_FALSE(argument.is_flag()) << argument.name;
            optional_before = optional_before || !argument.must_be_given();
            list_before = argument.is_list();
        }
    });
}

TEST(Descriptions, FallbacksAreAccepted)
{
    for_each_command([](const Family &, const Command &command) {
        for (const Argument &argument : command.arguments) {
            if (!argument.fallback.empty()) {
                Arguments arguments(command.arguments);
                EXPECT_NO_THROW(arguments.give(argument.name, {argument.fallback}));
            }
        }
    });
}

// Completion looks at the option alone to know whether a value follows.
TEST(Descriptions, AnOptionTakesAValueEverywhereOrNowhere)
{
    std::map<std::string, bool> takes_value;
    for (const Argument &option : option_descriptions()) {
        takes_value[option.name] = !option.is_flag();
    }
    for_each_command([&](const Family &, const Command &command) {
        for (const Argument &argument : command.arguments) {
            if (argument.is_option()) {
                const auto [known, is_new] =
                    takes_value.emplace(argument.name, !argument.is_flag());
                EXPECT_EQ(known->second, !argument.is_flag()) << argument.name;
            }
        }
    });
}

TEST(Descriptions, GeneralOptionsAreNotTaken)
{
    for_each_command([](const Family &, const Command &command) {
        for (const Argument &argument : command.arguments) {
            for (const Argument &option : option_descriptions()) {
                EXPECT_NE(argument.name, option.name);
            }
        }
    });
}

} // namespace

} // namespace boardctl
