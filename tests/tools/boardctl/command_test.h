// Fixture that runs boardctl's commands in-process, on a virtual board.
#ifndef TESTS_TOOLS_BOARDCTL_COMMAND_TEST_H
#define TESTS_TOOLS_BOARDCTL_COMMAND_TEST_H

#include <algorithm>
#include <string>
#include <vector>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/parse.h"
#include "boardctl/framework/render.h"
#include "tests/support/board_test.h"

namespace boardctl {

class CommandTest : public board_test::BoardTest {
protected:
    explicit CommandTest(const board_test::Personality &personality = {}) : BoardTest(personality)
    {
    }

    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // Words are separated by blanks. The result is as the command describes it.
    static Result run(const std::string &line) { return run(words_of(line)); }

    static Result run(const std::vector<std::string> &words)
    {
        const Parsed parsed = parse(families(), words);
        Output aside;
        Context context(*parsed.call->family, *parsed.call->command, parsed.call->arguments,
                        parsed.call->options, aside);
        const Result result = parsed.call->command->run(context);
        if (!parsed.call->command->streams) {
            check_shape(*parsed.call->command, result);
        }
        return result;
    }

    // A field of the block without a key, or of the named one.
    static std::string field(const Result &result, const std::string &name,
                             const std::string &block = {})
    {
        return result.fields().at(block).at(name).shown;
    }

    static std::string row(const Result &result, const std::string &block, size_t number)
    {
        return joined(result.rows().at(block).at(number));
    }

    static size_t row_count(const Result &result, const std::string &block)
    {
        return result.rows().contains(block) ? result.rows().at(block).size() : 0;
    }

private:
    static std::vector<std::string> words_of(const std::string &line)
    {
        std::vector<std::string> words;
        for (size_t begin = 0; begin < line.size();) {
            const size_t end = std::min(line.find(' ', begin), line.size());
            words.push_back(line.substr(begin, end - begin));
            begin = end + 1;
        }
        return words;
    }

    static std::string joined(const std::vector<Value> &row)
    {
        std::string all;
        for (const Value &value : row) {
            all += (all.empty() ? "" : " | ") + value.shown;
        }
        return all;
    }
};

} // namespace boardctl

#endif
