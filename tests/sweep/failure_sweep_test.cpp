// Every operation of the library, with every call that it makes failing once in
// every way.
//
// One process per run: the library's state, the board and the sanitizers start
// afresh with each failure.

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/lock_watch.h"
#include "tests/sweep/exceptions.h"
#include "tests/sweep/trial.h"

namespace board_test {
namespace {

const HeaderContracts &contracts()
{
    static const HeaderContracts read(PUBLIC_HEADER);
    return read;
}

struct Count {
    std::map<Reach, size_t> operations;
    size_t settings = 0;
    size_t calls = 0;
    size_t failures = 0;
    std::set<size_t> exceptions;
};

Count &count()
{
    static Count total;
    return total;
}

class Report : public ::testing::Environment {
public:
    void TearDown() override
    {
        auto &reach = count().operations;
        printf("failure sweep: %zu operations in %zu settings (%zu make calls that can fail, %zu "
               "reach registers alone, %zu nothing), %zu calls, %zu failures tried, %zu "
               "documented exceptions\n",
               reach[Reach::calls] + reach[Reach::registers] + reach[Reach::nothing],
               count().settings, reach[Reach::calls], reach[Reach::registers],
               reach[Reach::nothing], count().calls, count().failures, count().exceptions.size());
    }
};

const auto *const report = ::testing::AddGlobalTestEnvironment(new Report);

// ---- the table and the list ----

TEST(SweepTable, HoldsEveryOperationOfTheHeaderOnce)
{
    std::vector<std::string> listed;
    for (const LibraryOperation &operation : operations()) {
        listed.push_back(operation.name);
    }
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, contracts().operations());
}

// The names that scripts/exported-names.sh gives.
std::vector<std::string> exported_names()
{
    std::vector<std::string> names;
    FILE *const stream = popen(EXPORTED_NAMES, "r");
    char line[128];
    while (stream != nullptr && fgets(line, sizeof(line), stream) != nullptr) {
        names.emplace_back(line, strcspn(line, "\n"));
    }
    pclose(stream);
    return names;
}

TEST(SweepTable, HoldsEveryExportedNameThatIsNoData)
{
    const std::vector<std::string> exported = exported_names();
    ASSERT_FALSE(exported.empty());
    for (const std::string &name : exported) {
        EXPECT_NE(contracts().has(name), contracts().data().contains(name)) << name;
    }
    EXPECT_EQ(exported.size(), operations().size() + contracts().data().size());
}

TEST(SweepTable, SeesEveryFunctionThatTheLibraryImports)
{
    EXPECT_EQ(seam::unknown_imports(), std::vector<std::string>());
}

TEST(SweepTable, KnowsTheOperationsOfItsExceptions)
{
    for (const Exception &exception : exceptions) {
        EXPECT_TRUE(contracts().has(std::string(exception.operation))) << exception.operation;
        EXPECT_FALSE(exception.reason.empty()) << exception.operation;
    }
}

// ---- the sweep ----

class FailureSweep : public ::testing::TestWithParam<const LibraryOperation *> {
protected:
    static void SetUpTestSuite()
    {
        seam::attach();
        // Made here once, for all children.
        work_directory();
        Board board;
        const LockWatch names_of_locks(board);
    }

    void judge(const Trial &trial, const Outcome &outcome)
    {
        for (const std::string &complaint : outcome.complaints) {
            ADD_FAILURE() << name_of(trial) << ": " << complaint;
        }
        used_.insert(outcome.exceptions.begin(), outcome.exceptions.end());
    }

    Outcome run(const Trial &trial)
    {
        Outcome outcome = RunningTrial(trial).outcome();
        judge(trial, outcome);
        return outcome;
    }

    void wait_for_oldest()
    {
        judge(running_.front().first, running_.front().second->outcome());
        running_.pop_front();
    }

    void begin(const Trial &trial)
    {
        if (running_.size() >= std::max(1U, std::thread::hardware_concurrency())) {
            wait_for_oldest();
        }
        running_.emplace_back(trial, std::make_unique<RunningTrial>(trial));
        ++count().failures;
    }

    void fail_each_call(Trial trial, const std::vector<SeamCall> &calls, bool after_success)
    {
        for (size_t number = 0; number < calls.size(); ++number) {
            for (const Failure failure : all_failures()) {
                if ((calls[number].failures & bit(failure)) != 0) {
                    trial.injection = {after_success, number, calls[number].function, failure};
                    begin(trial);
                }
            }
        }
        while (!running_.empty()) {
            wait_for_oldest();
        }
    }

    std::set<size_t> used_;

private:
    std::deque<std::pair<Trial, std::unique_ptr<RunningTrial>>> running_;
};

TEST_P(FailureSweep, LeavesNothingBehind)
{
    const LibraryOperation &operation = *GetParam();
    const Contract contract = contracts().of(operation.name);
    size_t fallible = 0;
    for (const Setting &setting : operation.settings) {
        const Trial trial = {&operation, &setting, &contract, {}};
        const Outcome normal = run(trial);
        if (::testing::Test::HasFailure()) {
            continue;
        }
        fail_each_call(trial, normal.calls, false);
        fail_each_call(trial, normal.calls_again, true);
        fallible += static_cast<size_t>(
            std::count_if(normal.calls.begin(), normal.calls.end(),
                          [](const SeamCall &call) { return call.failures != 0; }));
    }
    for (size_t i = 0; i < std::size(exceptions); ++i) {
        if (exceptions[i].operation == operation.name) {
            EXPECT_TRUE(used_.contains(i)) << "not needed: " << exceptions[i].reason;
        }
    }
    ++count().operations[operation.reach];
    count().settings += operation.settings.size();
    count().calls += fallible;
    count().exceptions.insert(used_.begin(), used_.end());
}

std::vector<const LibraryOperation *> all_operations()
{
    std::vector<const LibraryOperation *> all;
    for (const LibraryOperation &operation : operations()) {
        all.push_back(&operation);
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(All, FailureSweep, ::testing::ValuesIn(all_operations()),
                         [](const auto &test) { return test.param->name; });

} // namespace
} // namespace board_test
