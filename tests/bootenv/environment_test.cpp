// The three operations on the environment: bytes on flash, results, texts,
// failures, locks.

#include <errno.h>
#include <fcntl.h>

#include <thread>
#include <tuple>

#include "tests/bootenv/environment_fixture.h"

namespace board_test {
namespace {

using namespace std::string_literals;
using namespace environment_model;

constexpr char get_not_terminated[] = "get_uboot_env: error, environment not terminated\n";
constexpr char set_not_terminated[] = "set_uboot_env: error, environment not terminated\n";
constexpr char print_not_terminated[] = "print_uboot_env: error, environment not terminated\n";

std::string overflow(const std::string &name)
{
    return "set_uboot_env: error, environment overflow, \"" + name + "\" deleted\n";
}

const char *pointer(const Text &text)
{
    return text ? text->c_str() : nullptr;
}

constexpr std::nullopt_t null = std::nullopt;

// ---- set ----

struct SetCase {
    const char *title;
    std::string before;
    std::string name;
    Text value;
    int result;
    std::string output;
    std::string after; // but for the checksum, where one is written
};

void PrintTo(const SetCase &set_case, std::ostream *out)
{
    *out << set_case.title;
}

class SetEnvironment : public EnvironmentTest, public ::testing::WithParamInterface<SetCase> {};

TEST_P(SetEnvironment, LeavesTheseBytes)
{
    const SetCase &with = GetParam();
    set_block(with.before);
    EXPECT_EQ(set_uboot_env(with.name.c_str(), pointer(with.value)), with.result);
    EXPECT_EQ(output(), with.output);
    EXPECT_TRUE(same_block(block(), with.result == 0 ? summed(with.after) : with.before));
    EXPECT_EQ(board.environment().write_backs(), with.result == 0 ? 1U : 0U);
    EXPECT_EQ(steps(), whole_call);
}

std::string with_last_byte_nul(std::string block)
{
    block.back() = '\0';
    return block;
}

const SetCase set_cases[] = {
    {"FirstVariable", std::string(block_size, '\0'), "a", "1", 0, "", block_of("a=1\0\0"s)},
    {"FirstBeforeStaleBytes", block_of("\0\0stale"s), "a", "1", 0, "", block_of("a=1\0\0le"s)},
    {"NewOneGoesBehindTheLast", block_of("a=1\0\0stale-text"s), "bc", "23", 0, "",
     block_of("a=1\0bc=23\0\0text"s)},
    {"ReplacedMovesToTheEnd", block_of("a=1\0b=2\0c=3\0\0stale"s), "a", "9", 0, "",
     block_of("b=2\0c=3\0a=9\0\0stale"s)},
    {"ReplacedMovesToTheEndLonger", block_of("a=1\0b=2\0\0stale"s), "a", "1234", 0, "",
     block_of("b=2\0a=1234\0\0le"s)},
    {"ReplacedMovesToTheEndShorter", block_of("a=1234\0b=2\0\0stale"s), "a", "", 0, "",
     block_of("b=2\0a=\0\0=2\0\0stale"s)},
    {"ReplacedLast", block_of("a=1\0b=2\0\0stale"s), "b", "3", 0, "",
     block_of("a=1\0b=3\0\0stale"s)},
    {"ReplacedOnly", block_of("a=12\0\0"s), "a", "3", 0, "", block_of("a=3\0\0"s)},
    {"FirstOfTwoIsReplaced", block_of("a=1\0b=2\0a=3\0\0"s), "a", "4", 0, "",
     block_of("b=2\0a=3\0a=4\0\0"s)},
    {"EmptyPasswordIsStored", block_of("\0\0"s), "ubootpwd", "", 0, "", block_of("ubootpwd=\0\0"s)},
    {"BytesAbove127", block_of("\0\0"s), "\xE9", "\xFF\x80", 0, "", block_of("\xE9=\xFF\x80\0\0"s)},
    // The "=" ends the wanted name for the search, and is stored all the same.
    {"NameWithEqualsSignReplacesUpToIt", block_of("a=1\0b=2\0\0"s), "a=x", "3", 0, "",
     block_of("b=2\0a=x=3\0\0"s)},
    {"NameThatOnlyBeginsLikeAnother", block_of("ipaddr=1\0\0"s), "ip", "2", 0, "",
     block_of("ipaddr=1\0ip=2\0\0"s)},
    {"EmptyName", block_of("a=1\0\0"s), "", "2", 0, "", block_of("a=1\0=2\0\0"s)},

    {"DeleteAbsent", block_of("a=1\0\0stale"s), "b", null, 0, "", block_of("a=1\0\0stale"s)},
    {"DeleteInAnEmptyEnvironment", std::string(block_size, '\0'), "b", null, 0, "",
     block_of("\0\0"s)},
    {"DeleteLastClearsTwoBytes", block_of("a=1\0b=xyz\0\0stale"s), "b", null, 0, "",
     block_of("a=1\0\0\0xyz\0\0stale"s)},
    {"DeleteOnly", block_of("a=x\0\0stale"s), "a", null, 0, "", block_of("\0\0x\0\0stale"s)},
    {"DeleteFirstKeepsWhatLiesBehind", block_of("bb=22\0c=3\0\0stale"s), "bb", null, 0, "",
     block_of("c=3\0\0\0c=3\0\0stale"s)},
    {"DeleteFirstOfTwo", block_of("a=1\0b=2\0a=3\0\0"s), "a", null, 0, "",
     block_of("b=2\0a=3\0\0=3\0\0"s)},
    {"DeleteByANameWithEqualsSign", block_of("a=1\0b=2\0\0"s), "a=", null, 0, "",
     block_of("b=2\0\0=2\0\0"s)},
    {"DeleteEmptyName", block_of("=\0a=1\0\0"s), "", null, 0, "", block_of("a=1\0\0\0\0"s)},
    {"DeleteANameLongerThanThePassword", block_of("ubootpwd2=1\0\0"s), "ubootpwd2", null, 0, "",
     block_of("\0\0ootpwd2=1\0\0"s)},
    {"DeleteAnEntryThatFillsTheBlock", with_last_byte_nul(block_of("a=", 'x')), "a", null, 0, "",
     with_last_byte_nul(block_of("\0\0"s, 'x'))},

    {"Erased", std::string(block_size, '\xFF'), "a", "1", -1, set_not_terminated, ""},
    {"DeleteInAnErasedBlock", std::string(block_size, '\xFF'), "a", null, -1, set_not_terminated,
     ""},
    {"NoNul", block_of("a=", 'x'), "b", "1", -1, set_not_terminated, ""},
    {"LaterEntryUnterminated", block_of("a=1\0"s, 'x'), "b", "1", -1, set_not_terminated, ""},
    {"EntryBehindTheMatchUnterminated", block_of("a=1\0"s, 'x'), "a", "2", -1, set_not_terminated,
     ""},
    {"DeleteBeforeAnUnterminatedEntry", block_of("a=1\0"s, 'x'), "a", null, -1, set_not_terminated,
     ""},

    // A single NUL ends the walk, but new entries look for two.
    {"BehindASingleNul", block_of("\0stale\0\0"s), "a", "1", 0, "", block_of("\0stale\0a=1\0\0"s)},
    {"SingleNulAndNoEnd", block_of("\0"s, 'x'), "a", "1", -1, overflow("a"), ""},
    {"LoneNulAsTheLastByte", with_last_byte_nul(block_of("a=1\0b="s, 'x')), "c", "", -1,
     overflow("c"), ""},
};

INSTANTIATE_TEST_SUITE_P(Table, SetEnvironment, ::testing::ValuesIn(set_cases), TitleOfRow());

TEST_F(EnvironmentTest, AnEntryThatJustFitsIsStoredAndOneByteMoreIsNot)
{
    for (size_t needed = 4; needed < 24; ++needed) {
        const std::string value(needed - 4, 'v');
        const std::string full = block_of(data_with_room(needed).substr(0, data_size - needed - 1) +
                                          "\0"s + "n=" + value + "\0\0"s);
        set_block(block_of(data_with_room(needed)));
        ASSERT_EQ(set_uboot_env("n", value.c_str()), 0) << needed;
        ASSERT_TRUE(same_block(block(), summed(full))) << needed;
        ASSERT_EQ(block().substr(block_size - needed), "n=" + value + "\0\0"s);

        const std::string before = block_of(data_with_room(needed - 1));
        set_block(before);
        ASSERT_EQ(set_uboot_env("n", value.c_str()), -1) << needed;
        ASSERT_EQ(output(), overflow("n"));
        ASSERT_TRUE(same_block(block(), before));
    }
}

TEST_F(EnvironmentTest, AValueThatFillsTheWholeDataAreaFits)
{
    const std::string value(data_size - 4, 'v');
    set_block(std::string(block_size, '\0'));
    EXPECT_EQ(set_uboot_env("n", (value + "v").c_str()), -1);
    EXPECT_EQ(output(), overflow("n"));
    EXPECT_EQ(set_uboot_env("n", value.c_str()), 0);
    EXPECT_TRUE(same_block(block(), summed(block_of("n=" + value + "\0\0"s))));
}

TEST_F(EnvironmentTest, RoomIsCountedAfterTheOldEntryHasGone)
{
    const std::string filler = data_with_room(8).substr(0, data_size - 9) + "\0"s;
    set_block(block_of(filler + "n=1234\0\0"s));
    EXPECT_EQ(set_uboot_env("n", "5678"), 0);
    EXPECT_TRUE(same_block(block(), summed(block_of(filler + "n=5678\0\0"s))));
}

TEST_F(EnvironmentTest, OverflowSaysDeletedAndKeepsTheOldValue)
{
    const std::string filler = data_with_room(8).substr(0, data_size - 9) + "\0"s;
    const std::string before = block_of(filler + "n=1234\0\0"s);
    set_block(before);
    EXPECT_EQ(set_uboot_env("n", "56789"), -1);
    EXPECT_EQ(output(), overflow("n"));
    EXPECT_TRUE(same_block(block(), before));
    MarkedBuffer buffer;
    EXPECT_EQ(get_uboot_env("n", buffer.data(), buffer.size()), 0);
    EXPECT_TRUE(buffer.holds("1234")) << buffer.bytes();
}

TEST_F(EnvironmentTest, DeletionOfThePasswordReachesNeitherLockNorDevice)
{
    const std::string before = block_of("ubootpwd=secret\0\0"s);
    set_block(before);
    EXPECT_EQ(set_uboot_env("ubootpwd", nullptr), -2);
    EXPECT_EQ(output(), "set_uboot_env: error, empty password\n");
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(board.environment().opens(), 0U);
    EXPECT_TRUE(same_block(block(), before));
}

TEST_F(EnvironmentTest, DeletionOfAnAbsentVariableMendsTheChecksum)
{
    const std::string good = summed(block_of("a=1\0\0stale"s));
    for (const std::string &before : {good, block_of("a=1\0\0stale"s)}) {
        set_block(before);
        EXPECT_EQ(set_uboot_env("b", nullptr), 0);
        EXPECT_TRUE(same_block(block(), good));
    }
}

// ---- get ----

struct GetCase {
    const char *title;
    std::string block;
    std::string name;
    int result;
    Text value; // none: the buffer stays as it was
};

void PrintTo(const GetCase &get_case, std::ostream *out)
{
    *out << get_case.title;
}

class GetEnvironment : public EnvironmentTest, public ::testing::WithParamInterface<GetCase> {};

TEST_P(GetEnvironment, Answers)
{
    const GetCase &with = GetParam();
    set_block(with.block);
    MarkedBuffer buffer(block_size);
    EXPECT_EQ(get_uboot_env(with.name.c_str(), buffer.data(), buffer.size()), with.result);
    EXPECT_EQ(output(), with.result == 0 ? "" : get_not_terminated);
    EXPECT_TRUE(with.value ? buffer.holds(*with.value) : buffer.untouched()) << buffer.bytes();
    EXPECT_TRUE(same_block(block(), with.block));
    EXPECT_EQ(steps(), whole_call);
}

const GetCase get_cases[] = {
    {"Only", block_of("a=1\0\0"s), "a", 0, "1"},
    {"First", block_of("a=1\0b=2\0c=3\0\0"s), "a", 0, "1"},
    {"Last", block_of("a=1\0b=2\0c=3\0\0"s), "c", 0, "3"},
    {"EmptyValue", block_of("a=\0\0"s), "a", 0, ""},
    {"ValueWithEqualsSign", block_of("a=b=c\0\0"s), "a", 0, "b=c"},
    {"LastOfTwoCounts", block_of("a=1\0b=2\0a=3\0\0"s), "a", 0, "3"},
    {"NameWithEqualsSignMatchesUpToIt", block_of("a=1\0\0"s), "a=b", 0, "1"},
    {"ChecksumIsNotLookedAt", summed(block_of("a=1\0\0"s)), "a", 0, "1"},
    {"Absent", block_of("a=1\0\0"s), "b", 0, {}},
    {"NamePartOfAnother", block_of("ipaddr=10.0.0.1\0\0"s), "ip", 0, {}},
    {"NameLongerThanAnother", block_of("ip=10.0.0.1\0\0"s), "ipaddr", 0, {}},
    {"EntryWithoutEqualsSign", block_of("a\0\0"s), "a", 0, {}},
    {"StaleBytesAreNoVariables", block_of("a=1\0\0b=2\0\0"s), "b", 0, {}},
    {"AllZero", std::string(block_size, '\0'), "a", 0, {}},
    {"LoneNulAsTheLastByte", with_last_byte_nul(block_of("a=", 'x')), "a", 0,
     std::string(data_size - 3, 'x')},
    {"Erased", std::string(block_size, '\xFF'), "a", -1, {}},
    {"NoNul", block_of("a=", 'x'), "a", -1, {}},
    {"FilledInAlthoughALaterEntryIsUnterminated", block_of("a=1\0"s, 'x'), "a", -1, "1"},
    {"AbsentBeforeAnUnterminatedEntry", block_of("a=1\0"s, 'x'), "b", -1, {}},
};

INSTANTIATE_TEST_SUITE_P(Table, GetEnvironment, ::testing::ValuesIn(get_cases), TitleOfRow());

TEST_F(EnvironmentTest, GetCutsTheValueToTheBuffer)
{
    set_block(block_of("a=12345\0\0"s));
    for (uint32_t size = 0; size < 9; ++size) {
        MarkedBuffer buffer(16);
        EXPECT_EQ(get_uboot_env("a", buffer.data(), size), 0);
        if (size == 0) {
            EXPECT_TRUE(buffer.untouched());
        } else {
            EXPECT_TRUE(buffer.holds("12345"s.substr(0, size - 1))) << size << buffer.bytes();
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(EnvironmentTest, GetTakesANullBuffer)
{
    set_block(block_of("a=12345\0\0"s));
    EXPECT_EQ(get_uboot_env("a", nullptr, 16), 0);
    EXPECT_EQ(get_uboot_env("b", nullptr, 0), 0);
    EXPECT_EQ(output(), "");
}

// ---- print ----

struct PrintCase {
    const char *title;
    std::string block;
    Text name;
    int result;
    std::string output;
};

void PrintTo(const PrintCase &print_case, std::ostream *out)
{
    *out << print_case.title;
}

class PrintEnvironment : public EnvironmentTest, public ::testing::WithParamInterface<PrintCase> {};

TEST_P(PrintEnvironment, Writes)
{
    const PrintCase &with = GetParam();
    set_block(with.block);
    EXPECT_EQ(print_uboot_env(pointer(with.name)), with.result);
    EXPECT_EQ(output(), with.output);
    EXPECT_TRUE(same_block(block(), with.block));
    EXPECT_EQ(steps(), whole_call);
}

const PrintCase print_cases[] = {
    {"All", block_of("a=1\0bb=\0a=%s\0\0stale=1\0\0"s), {}, 0, "a=1\nbb=\na=%s\n"},
    {"AllOfAnEmptyEnvironment", std::string(block_size, '\0'), {}, 0, ""},
    {"AllOfAnErasedBlock", std::string(block_size, '\xFF'), {}, -1, print_not_terminated},
    {"AllWithoutNul", block_of("a=", 'x'), {}, -1, print_not_terminated},
    {"AllBeforeAnUnterminatedEntry",
     block_of("a=1\0b=2\0"s, 'x'),
     {},
     -1,
     "a=1\nb=2\n"s + print_not_terminated},
    {"AllUpToALoneNulAsTheLastByte",
     with_last_byte_nul(block_of("a=1\0b="s, 'x')),
     {},
     0,
     "a=1\nb=" + std::string(data_size - 7, 'x') + "\n"},
    {"FirstOfTwo", block_of("b=0\0a=1\0a=2\0\0"s), "a", 0, "a=1\n"},
    {"WantedNameNotTheEntrys", block_of("a=1\0\0"s), "a=z", 0, "a=z=1\n"},
    {"FoundBeforeAnUnterminatedEntry", block_of("a=1\0"s, 'x'), "a", 0, "a=1\n"},
    {"Absent", block_of("a=1\0\0"s), "b", -2, "print_uboot_env: error,  \"b\" not defined\n"},
    {"AbsentInAnEmptyEnvironment", std::string(block_size, '\0'), "b", -2,
     "print_uboot_env: error,  \"b\" not defined\n"},
    {"AbsentBeforeAnUnterminatedEntry", block_of("a=1\0"s, 'x'), "b", -1, print_not_terminated},
    {"OneOfAnErasedBlock", std::string(block_size, '\xFF'), "b", -1, print_not_terminated},
};

INSTANTIATE_TEST_SUITE_P(Table, PrintEnvironment, ::testing::ValuesIn(print_cases), TitleOfRow());

// ---- the device ----

TEST_F(EnvironmentTest, TheDeviceIsOpenedReadWriteAndTheBlockMapped)
{
    EXPECT_EQ(print_uboot_env(nullptr), 0);
    const auto opens = board.trace.of(Operation::open, "environment");
    const auto maps = board.trace.of(Operation::map, "environment");
    ASSERT_EQ(opens.size(), 1U);
    ASSERT_EQ(maps.size(), 1U);
    EXPECT_EQ(opens[0].address, static_cast<uint32_t>(O_RDWR));
    EXPECT_EQ(maps[0].count, block_size);
}

struct Operations {
    const char *name;
    int (*call)(MarkedBuffer &buffer);
};

const Operations operations[] = {
    {"get_uboot_env",
     [](MarkedBuffer &buffer) { return get_uboot_env("a", buffer.data(), buffer.size()); }},
    {"set_uboot_env", [](MarkedBuffer &) { return set_uboot_env("a", "2"); }},
    {"print_uboot_env", [](MarkedBuffer &) { return print_uboot_env("a"); }},
};

struct DeviceFailure {
    const char *title;
    Operation operation;
    Fault::Kind kind;
    long long value;
    std::string output;
    std::string error_output;
    Names steps;
};

const Names opened_only{"lock env_lock", "open environment", "unlock env_lock"};
const Names not_mapped{"lock env_lock", "open environment", "map environment", "close environment",
                       "unlock env_lock"};

const DeviceFailure device_failures[] = {
    {"CannotBeOpened", Operation::open, Fault::Kind::error, ENODEV,
     "env_init: cann't open device\n", "", opened_only},
    {"CannotBeMapped", Operation::map, Fault::Kind::error, ENOMEM, "env_init: map addr failed\n",
     "mmap: Cannot allocate memory\n", not_mapped},
    // The call has not failed as far as the kernel is concerned.
    {"MappedAtAddressZero", Operation::map, Fault::Kind::result, 0, "env_init: map addr failed\n",
     "mmap: Success\n", not_mapped},
};

using FailingCall = std::tuple<DeviceFailure, Operations>;

class FailingDevice : public EnvironmentTest, public ::testing::WithParamInterface<FailingCall> {};

TEST_P(FailingDevice, IsSaidAndLeavesNothingBehind)
{
    const auto &[failure, operation] = GetParam();
    const std::string before = block_of("a=1\0\0"s);
    set_block(before);
    board.faults.add({.name = "environment",
                      .device = "environment",
                      .operation = failure.operation,
                      .kind = failure.kind,
                      .value = failure.value});
    MarkedBuffer buffer;
    CapturedOutput errors(stderr);
    errno = 0;
    const int result = operation.call(buffer);
    const std::string said = errors.take();

    EXPECT_EQ(result, -2);
    EXPECT_EQ(output(), failure.output + operation.name + ": env_init failed\n");
    EXPECT_EQ(said, failure.error_output);
    EXPECT_EQ(steps(), failure.steps);
    EXPECT_TRUE(buffer.untouched());
    EXPECT_EQ(board.open_files(), 0U);
    EXPECT_TRUE(same_block(block(), before));
    EXPECT_EQ(held_locks(), Names{});
    // The next call finds a working device.
    EXPECT_EQ(operation.call(buffer), 0);
}

struct TitleOfCall {
    std::string operator()(const ::testing::TestParamInfo<FailingCall> &call) const
    {
        return std::string(std::get<0>(call.param).title) + "_" + std::get<1>(call.param).name;
    }
};

INSTANTIATE_TEST_SUITE_P(Table, FailingDevice,
                         ::testing::Combine(::testing::ValuesIn(device_failures),
                                            ::testing::ValuesIn(operations)),
                         TitleOfCall());

// ---- many calls ----

TEST_F(EnvironmentTest, WritersOfOneProcessDoNotInterleave)
{
    constexpr int writers = 4;
    constexpr int rounds = 25;
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back([writer] {
            const std::string name = "w" + std::to_string(writer);
            for (int round = 0; round < rounds; ++round) {
                EXPECT_EQ(set_uboot_env(name.c_str(), std::to_string(round).c_str()), 0);
                MarkedBuffer buffer;
                EXPECT_EQ(get_uboot_env(name.c_str(), buffer.data(), buffer.size()), 0);
                EXPECT_TRUE(buffer.holds(std::to_string(round))) << buffer.bytes();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    Names device_steps = steps();
    std::erase_if(device_steps, [](const std::string &step) { return step.ends_with("_lock"); });
    Names expected;
    for (int call = 0; call < 2 * writers * rounds; ++call) {
        expected.insert(expected.end(), whole_call.begin() + 1, whole_call.end() - 1);
    }
    EXPECT_EQ(device_steps, expected);
    EXPECT_EQ(walk(block()).entries.size(), static_cast<size_t>(writers));
    EXPECT_TRUE(checksum_holds(block()));
}

class RandomOperations : public EnvironmentTest, public ::testing::WithParamInterface<uint32_t> {
protected:
    void expect(const Outcome &expected, int result)
    {
        ASSERT_EQ(result, expected.result);
        ASSERT_EQ(output(), expected.output);
        ASSERT_TRUE(same_block(block(), expected.block));
    }

    void run_get(const std::string &name)
    {
        const Outcome expected = environment_model::get(block(), name);
        MarkedBuffer buffer(block_size);
        expect(expected, get_uboot_env(name.c_str(), buffer.data(), buffer.size()));
        // Behind the NUL may be the end of a longer value that an earlier entry had.
        ASSERT_TRUE(expected.value ? buffer.data() == *expected.value : buffer.untouched());
    }

    void run_set(const std::string &name, const Text &value)
    {
        const Outcome expected = environment_model::set(block(), name, value);
        expect(expected, set_uboot_env(name.c_str(), pointer(value)));
    }

    void run_print(const Text &name)
    {
        const Outcome expected = environment_model::print(block(), name);
        expect(expected, print_uboot_env(pointer(name)));
    }

    void run_one()
    {
        const std::string name = random_.below(20) == 0 ? "ubootpwd" : random_.name();
        switch (random_.below(5)) {
        case 0:
            return run_get(name);
        case 1:
            return run_print(random_.below(2) == 0 ? Text() : name);
        case 2:
            return run_set(name, {});
        default:
            return run_set(name, random_.text(random_.below(8) == 0 ? 9000 : 300, "uvw="));
        }
    }

    RandomEnvironment random_{GetParam()};
};

TEST_P(RandomOperations, AgreeWithTheModel)
{
    for (int start = 0; start < 20; ++start) {
        set_block(random_.below(4) != 0 ? random_.sound_block() : random_.wild_block());
        for (int call = 0; call < 40; ++call) {
            ASSERT_NO_FATAL_FAILURE(run_one()) << "block " << start << ", call " << call;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomOperations, ::testing::Range(1U, 9U));

} // namespace
} // namespace board_test
