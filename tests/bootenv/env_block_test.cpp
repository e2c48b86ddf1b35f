// The steps on an environment block: worked examples, then random blocks
// against the model.

#include "bootenv/env_block.h"

#include "tests/bootenv/environment_model.h"

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

using namespace board_hal;
using namespace std::string_literals;
using environment_model::block_of;
using environment_model::data_with_room;
namespace model = environment_model;

namespace {

// A block with an inaccessible page before and behind it, so that a step
// outside crashes in every build.
class GuardedBlock {
public:
    GuardedBlock()
        : pages_(static_cast<uint8_t *>(mmap(nullptr, page + env_block_size + page, PROT_NONE,
                                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
        EXPECT_EQ(mprotect(pages_ + page, env_block_size, PROT_READ | PROT_WRITE), 0);
    }
    ~GuardedBlock() { munmap(pages_, page + env_block_size + page); }
    GuardedBlock(const GuardedBlock &) = delete;
    GuardedBlock &operator=(const GuardedBlock &) = delete;

    EnvBlock block() { return EnvBlock(pages_ + page, env_block_size); }
    std::string bytes()
    {
        return std::string(reinterpret_cast<const char *>(pages_ + page), env_block_size);
    }
    void fill(const std::string &bytes)
    {
        ASSERT_EQ(bytes.size(), env_block_size);
        memcpy(pages_ + page, bytes.data(), env_block_size);
    }

private:
    static constexpr std::size_t page = 65536; // a multiple of every page size
    uint8_t *pages_;
};

class EnvBlockTest : public ::testing::Test {
protected:
    void fill(const std::string &bytes) { guarded_.fill(bytes); }
    std::string bytes() { return guarded_.bytes(); }
    EnvBlock block() { return guarded_.block(); }

    // The values of a name, in the order of their entries.
    std::vector<std::string> values(const char *name, EnvStep expected_end)
    {
        std::vector<std::string> found;
        EnvEntry entry = env_before_first;
        EnvStep step = env_next(block(), entry);
        for (; step == EnvStep::entry; step = env_next(block(), entry)) {
            const char *value = env_match(name, env_text(block(), entry));
            if (value != nullptr) {
                found.emplace_back(value);
            }
        }
        EXPECT_EQ(step, expected_end);
        return found;
    }

    bool remove(const char *name)
    {
        EnvEntry entry = env_before_first;
        const EnvStep step = env_find(block(), name, entry);
        EXPECT_EQ(step, EnvStep::entry);
        return step == EnvStep::entry && env_remove(block(), entry);
    }

private:
    GuardedBlock guarded_;
};

using Values = std::vector<std::string>;

TEST_F(EnvBlockTest, AllZeroIsEmpty)
{
    fill(std::string(env_block_size, '\0'));
    EXPECT_EQ(values("a", EnvStep::end), Values{});
}

TEST_F(EnvBlockTest, ErasedIsUnterminated)
{
    fill(std::string(env_block_size, '\xFF'));
    EXPECT_EQ(values("a", EnvStep::unterminated), Values{});
}

TEST_F(EnvBlockTest, EntriesBeforeAnUnterminatedOneAreWalked)
{
    fill(block_of("a=1\0"s, 'x'));
    EXPECT_EQ(values("a", EnvStep::unterminated), Values{"1"});
}

TEST_F(EnvBlockTest, NulAsTheLastByteEndsTheWalk)
{
    std::string bytes = block_of("a=", 'x');
    bytes.back() = '\0';
    fill(bytes);
    EXPECT_EQ(values("a", EnvStep::end), Values{std::string(env_data_size - 3, 'x')});
}

TEST_F(EnvBlockTest, EveryEntryOfANameIsMetInOrder)
{
    fill(block_of("a=1\0b=2\0a=3\0\0"s));
    EXPECT_EQ(values("a", EnvStep::end), (Values{"1", "3"}));
}

TEST_F(EnvBlockTest, FindStopsAtTheFirst)
{
    fill(block_of("b=2\0a=1\0a=3\0"s, 'x'));
    EnvEntry entry = env_before_first;
    ASSERT_EQ(env_find(block(), "a", entry), EnvStep::entry);
    EXPECT_EQ(entry.start, 8U);
    EXPECT_EQ(entry.nul, 11U);
    EXPECT_STREQ(env_text(block(), entry), "a=1");
}

TEST_F(EnvBlockTest, FindTellsTheEndFromAnUnterminatedEntry)
{
    EnvEntry entry = env_before_first;
    fill(block_of("b=2\0\0"s, 'x'));
    EXPECT_EQ(env_find(block(), "a", entry), EnvStep::end);
    entry = env_before_first;
    fill(block_of("b=2\0"s, 'x'));
    EXPECT_EQ(env_find(block(), "a", entry), EnvStep::unterminated);
}

TEST(EnvMatch, Names)
{
    EXPECT_STREQ(env_match("ipaddr", "ipaddr=10.0.0.1"), "10.0.0.1");
    EXPECT_STREQ(env_match("ipaddr", "ipaddr="), "");
    EXPECT_STREQ(env_match("a", "a=b=c"), "b=c");
    EXPECT_STREQ(env_match("", "=v"), "v");
    EXPECT_EQ(env_match("ip", "ipaddr=10.0.0.1"), nullptr);
    EXPECT_EQ(env_match("ipaddr", "ip=10.0.0.1"), nullptr);
    EXPECT_EQ(env_match("ipaddr", "ipaddr"), nullptr);
    EXPECT_EQ(env_match("ipaddr", "ipaddz=1"), nullptr);
    EXPECT_EQ(env_match("", "v"), nullptr);
}

TEST(EnvMatch, NameWithEqualsSignMatchesUpToIt)
{
    EXPECT_STREQ(env_match("a=", "a=1"), "1");
    EXPECT_STREQ(env_match("a=b", "a=1"), "1");
    EXPECT_STREQ(env_match("a=b", "a=b=2"), "b=2");
    EXPECT_STREQ(env_match("=", "=1"), "1");
    EXPECT_EQ(env_match("a=b", "ab=1"), nullptr);
    EXPECT_EQ(env_match("ab=", "a=1"), nullptr);
}

TEST_F(EnvBlockTest, RemovingTheLastEntryOnlyClearsItsFirstTwoBytes)
{
    fill(block_of("a=1\0b=234\0\0stale"s));
    EXPECT_TRUE(remove("b"));
    EXPECT_EQ(bytes(), block_of("a=1\0\0\0"s + "234\0\0stale"s));
}

TEST_F(EnvBlockTest, RemovingTheOnlyEntry)
{
    fill(block_of("a=1\0\0stale"s));
    EXPECT_TRUE(remove("a"));
    EXPECT_EQ(bytes(), block_of("\0\0"s + "1\0\0stale"s));
}

TEST_F(EnvBlockTest, RemovingClosesTheGapAndKeepsWhatLiesBehind)
{
    fill(block_of("a=1\0bb=22\0c=3\0\0stale"s));
    EXPECT_TRUE(remove("bb"));
    // Behind the new double NUL: the removed entry's NUL and "c=3" at its old place.
    EXPECT_EQ(bytes(), block_of("a=1\0c=3\0\0"s + "\0c=3\0\0stale"s));
}

TEST_F(EnvBlockTest, RemovingTheFirstOfTwoLeavesTheSecond)
{
    fill(block_of("a=1\0b=2\0a=3\0\0"s));
    EXPECT_TRUE(remove("a"));
    EXPECT_EQ(bytes(), block_of("b=2\0a=3\0\0=3\0\0"s));
}

TEST_F(EnvBlockTest, RemovingBeforeAnUnterminatedEntryIsRefused)
{
    const std::string before = block_of("a=1\0"s, 'x');
    fill(before);
    EXPECT_FALSE(remove("a"));
    EXPECT_EQ(bytes(), before);
}

TEST_F(EnvBlockTest, RemovingAnEntryThatFillsTheBlock)
{
    std::string before = block_of("a=", 'x');
    before.back() = '\0';
    fill(before);
    EXPECT_TRUE(remove("a"));
    std::string after = before;
    after[4] = after[5] = '\0';
    EXPECT_EQ(bytes(), after);
}

TEST_F(EnvBlockTest, RemovingBeforeAnEntryThatEndsWithTheBlock)
{
    std::string before = block_of("a=1\0b="s, 'x');
    before.back() = '\0';
    fill(before);
    EXPECT_TRUE(remove("a"));
    std::string after = block_of("b=" + std::string(env_data_size - 7, 'x'));
    after[env_block_size - 3] = after[env_block_size - 2] = 'x'; // stale, of the old place
    EXPECT_EQ(bytes(), after);
}

TEST_F(EnvBlockTest, AppendingToAnEmptyEnvironmentStartsTheData)
{
    fill(block_of("\0\0stale"s));
    EXPECT_TRUE(env_append(block(), "a", "1"));
    EXPECT_EQ(bytes(), block_of("a=1\0\0le"s));
}

TEST_F(EnvBlockTest, AppendingReplacesTheSecondNul)
{
    fill(block_of("a=1\0\0stale-text"s));
    EXPECT_TRUE(env_append(block(), "bc", "23"));
    EXPECT_EQ(bytes(), block_of("a=1\0bc=23\0\0text"s));
}

TEST_F(EnvBlockTest, AppendingAnEmptyValue)
{
    fill(block_of("\0\0"s));
    EXPECT_TRUE(env_append(block(), "ubootpwd", ""));
    EXPECT_EQ(bytes(), block_of("ubootpwd=\0\0"s));
}

TEST_F(EnvBlockTest, AppendingBehindASingleNulPassesOverTheStaleText)
{
    fill(block_of("\0stale\0\0"s));
    EXPECT_TRUE(env_append(block(), "a", "1"));
    EXPECT_EQ(bytes(), block_of("\0stale\0a=1\0\0"s));
}

TEST_F(EnvBlockTest, AnEntryThatJustFitsIsTakenAndOneByteMoreIsNot)
{
    for (std::size_t needed = 4; needed < 20; ++needed) {
        const std::string value(needed - 4, 'v');
        fill(block_of(data_with_room(needed)));
        EXPECT_TRUE(env_append(block(), "n", value.c_str()));
        EXPECT_TRUE(bytes().ends_with("x\0n="s + value + "\0\0"s)) << needed;

        const std::string before = block_of(data_with_room(needed - 1));
        fill(before);
        EXPECT_FALSE(env_append(block(), "n", value.c_str()));
        EXPECT_EQ(bytes(), before);
    }
}

TEST_F(EnvBlockTest, ABlockWithoutDoubleNulHasNoRoom)
{
    std::string lone_nul = block_of("a=1\0b="s, 'x');
    lone_nul.back() = '\0';
    for (const std::string &before : {lone_nul, block_of("\0"s, 'x'), block_of("", '\xFF')}) {
        fill(before);
        EXPECT_FALSE(env_append(block(), "", ""));
        EXPECT_EQ(bytes(), before);
    }
}

class RandomBlocks : public EnvBlockTest, public ::testing::WithParamInterface<uint32_t> {
protected:
    environment_model::RandomEnvironment random_{GetParam()};
};

TEST_P(RandomBlocks, AgreeWithTheModel)
{
    for (int round = 0; round < 200; ++round) {
        const std::string before =
            random_.below(2) == 0 ? random_.sound_block() : random_.wild_block();
        const std::string wanted = random_.name();
        const model::Walk walk = model::walk(before);

        Values expected;
        std::optional<model::Entry> first;
        for (const model::Entry &entry : walk.entries) {
            const auto value = model::value_of(wanted, entry.text);
            if (value.has_value()) {
                expected.push_back(*value);
                first = first.has_value() ? first : entry;
            }
        }
        fill(before);
        const EnvStep end = walk.terminated ? EnvStep::end : EnvStep::unterminated;
        ASSERT_EQ(values(wanted.c_str(), end), expected);

        EnvEntry found = env_before_first;
        const EnvStep step = env_find(block(), wanted.c_str(), found);
        ASSERT_EQ(step, first.has_value() ? EnvStep::entry : end);
        if (first.has_value()) {
            ASSERT_EQ(found.start, env_data_start + first->at);
            const auto after = model::removed(before, *first);
            ASSERT_EQ(env_remove(block(), found), after.has_value());
            ASSERT_EQ(bytes(), after.value_or(before));
        }

        const std::string current = bytes();
        const std::string value = random_.text(random_.below(4) == 0 ? 9000 : 20, "uvw");
        const auto after = model::appended(current, wanted, value);
        ASSERT_EQ(env_append(block(), wanted.c_str(), value.c_str()), after.has_value());
        ASSERT_EQ(bytes(), after.value_or(current));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomBlocks, ::testing::Range(1U, 11U));

} // namespace
