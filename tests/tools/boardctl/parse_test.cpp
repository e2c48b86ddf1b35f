#include "boardctl/framework/parse.h"

#include <gtest/gtest.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

using Words = std::vector<std::string>;

std::string repeated(size_t count, char c)
{
    return std::string(count, c);
}

// ---- What every kind of argument takes, and what it does not ------------------

struct Accepted {
    Words operator()(const Number &number) const { return {std::to_string(number.min)}; }
    Words operator()(const Word &word) const { return {word.choices.front().name}; }
    Words operator()(const Text &text) const { return {repeated(text.min_length, 'x')}; }
    Words operator()(const Bytes &bytes) const
    {
        return Words(std::max<size_t>(bytes.min, 1), "0");
    }
    Words operator()(const InputFile &) const { return {"/dev/null"}; }
    Words operator()(const OutputFile &) const { return {"file"}; }
    Words operator()(const Flag &) const { return {}; }
    Words operator()(const Form &form) const
    {
        return {form.candidates.empty() ? form.accepted.at(0) : form.candidates.front()};
    }
};

struct Refused {
    std::vector<Words> operator()(const Number &number) const
    {
        return {{std::to_string(number.min - 1)},
                {std::to_string(number.max + 1)},
                {"x"},
                {"1x"},
                {"0x"},
                {""},
                {"99999999999999999999"}};
    }
    std::vector<Words> operator()(const Word &word) const
    {
        return {{"no-such-word"}, {""}, {word.choices.front().name + "x"}};
    }
    std::vector<Words> operator()(const Text &text) const
    {
        std::vector<Words> all = {{repeated(text.max_length + 1, 'x')}};
        if (text.min_length > 0) {
            all.push_back({repeated(text.min_length - 1, 'x')});
        }
        return all;
    }
    std::vector<Words> operator()(const Bytes &bytes) const
    {
        return {Words(bytes.max + 1, "0"), {"256"}, {"x"}, {""}};
    }
    std::vector<Words> operator()(const InputFile &) const { return {{"/nowhere/file"}, {""}}; }
    std::vector<Words> operator()(const OutputFile &) const { return {{""}}; }
    std::vector<Words> operator()(const Flag &) const { return {}; }
    std::vector<Words> operator()(const Form &form) const
    {
        std::vector<Words> all;
        for (const std::string &word : form.refused) {
            all.push_back({word});
        }
        return all;
    }
};

void append(Words &words, const Words &more)
{
    words.insert(words.end(), more.begin(), more.end());
}

// A command line with all that must be given; `changed` gets other words, or
// none at all.
Words line(const Family &family, const Command &command, const Argument *changed = nullptr,
           const Words &instead = {})
{
    Words words = {family.name};
    if (!command.name.empty()) {
        words.push_back(command.name);
    }
    for (const Argument &argument : command.arguments) {
        if (&argument == changed) {
            if (argument.is_option()) {
                words.push_back(argument.name);
            }
            append(words, instead);
        } else if (argument.must_be_given()) {
            append(words, std::visit(Accepted{}, argument.kind));
        }
    }
    return words;
}

std::string joined(const Words &words)
{
    std::string all;
    for (const std::string &word : words) {
        all += " [" + word + "]";
    }
    return all;
}

void expect_refused(const Words &words)
{
    try {
        parse(families(), words);
        ADD_FAILURE() << "accepted:" << joined(words);
    } catch (const UsageError &error) {
        EXPECT_STRNE(error.what(), "");
    }
}

template <typename Visit> void for_each_command(const Visit &visit)
{
    for (const Family &family : families()) {
        for (const Command &command : family.commands) {
            visit(family, command);
        }
    }
}

template <typename Visit> void for_each_argument(const Visit &visit)
{
    for_each_command([&](const Family &family, const Command &command) {
        for (const Argument &argument : command.arguments) {
            visit(family, command, argument);
        }
    });
}

TEST(Parse, EveryCommandTakesWhatItDescribes)
{
    for_each_command([](const Family &family, const Command &command) {
        const Words words = line(family, command);
        const Parsed parsed = parse(families(), words);
        ASSERT_TRUE(parsed.call) << joined(words);
        EXPECT_EQ(parsed.call->family, &family) << joined(words);
        EXPECT_EQ(parsed.call->command, &command) << joined(words);
    });
}

TEST(Parse, BadWordsAreRefusedForEveryArgument)
{
    for_each_argument([](const Family &family, const Command &command, const Argument &argument) {
        const std::vector<Words> bad = std::visit(Refused{}, argument.kind);
        EXPECT_TRUE(!bad.empty() || argument.is_flag()) << argument.name;
        for (const Words &words : bad) {
            expect_refused(line(family, command, &argument, words));
        }
    });
}

TEST(Parse, MissingArgumentsAreRefused)
{
    for_each_argument([](const Family &family, const Command &command, const Argument &argument) {
        if (argument.must_be_given() || (argument.is_option() && !argument.is_flag())) {
            expect_refused(line(family, command, &argument));
        }
    });
}

TEST(Parse, UnknownWordsAreRefused)
{
    for_each_command([](const Family &family, const Command &command) {
        Words words = line(family, command);
        words.push_back("--no-such-option");
        expect_refused(words);
        words = line(family, command);
        bool list = false;
        for (const Argument &argument : command.arguments) {
            if (!argument.is_option() && !argument.must_be_given()) {
                append(words, std::visit(Accepted{}, argument.kind));
            }
            list = list || argument.is_list();
        }
        words.push_back("one-word-too-many");
        expect_refused(words);
    });
}

TEST(Parse, RepeatedOptionsAreRefused)
{
    for_each_argument([](const Family &family, const Command &command, const Argument &argument) {
        if (argument.is_option() && !argument.is_flag()) {
            const Words value = std::visit(Accepted{}, argument.kind);
            Words words = line(family, command, &argument, value);
            words.push_back(argument.name);
            append(words, value);
            expect_refused(words);
        }
    });
}

TEST(Parse, OptionsStandAnywhere)
{
    for (const Words &words : {Words{"--json", "--virtual", "--personality", "x", "power", "on"},
                               Words{"power", "--json", "on", "--virtual", "--personality", "x"}}) {
        const Parsed parsed = parse(families(), words);
        ASSERT_TRUE(parsed.call);
        EXPECT_TRUE(parsed.call->options.json);
        EXPECT_TRUE(parsed.call->options.virtual_board);
        EXPECT_FALSE(parsed.call->options.yes);
        EXPECT_FALSE(parsed.call->options.verbose);
        EXPECT_EQ(parsed.call->options.personality, "x");
        EXPECT_EQ(parsed.call->options.board, "");
    }
    const Parsed parsed = parse(families(), {"power", "on", "--yes", "--verbose", "--board", "b"});
    EXPECT_TRUE(parsed.call->options.yes);
    EXPECT_TRUE(parsed.call->options.verbose);
    EXPECT_EQ(parsed.call->options.board, "b");
}

TEST(Parse, HelpIsGivenWhateverElseIsThere)
{
    EXPECT_NE(parse(families(), {"--help"}).text.find("Families:"), std::string::npos);
    EXPECT_NE(parse(families(), {"power", "-h"}).text.find("Commands:"), std::string::npos);
    const Parsed parsed =
        parse(families(), {"--json", "--board", "power", "cpld", "read", "--help"});
    EXPECT_FALSE(parsed.call);
    EXPECT_EQ(parsed.text.find("usage: boardctl cpld read PLACE\n"), 0U);
}

} // namespace

} // namespace boardctl
