// Entry of every test program.

#include <gtest/gtest.h>
#include <stdio.h>

#include <memory>

namespace {

using namespace testing;

// The usual printer, but for failures: standard output is captured while a test
// runs, and a failure printed there would be taken for the library's words, and
// be quoted by the next failure, and so on. They go to standard error.
class FailuresToStderr : public TestEventListener {
public:
    explicit FailuresToStderr(TestEventListener *usual) : usual_(usual) {}

    void OnTestPartResult(const TestPartResult &result) override
    {
        if (result.failed()) {
            fprintf(stderr, "%s:%d: failure\n%s\n", result.file_name() ? result.file_name() : "?",
                    result.line_number(), result.message());
        }
    }

    void OnTestProgramStart(const UnitTest &all) override { usual_->OnTestProgramStart(all); }
    void OnTestIterationStart(const UnitTest &all, int iteration) override
    {
        usual_->OnTestIterationStart(all, iteration);
    }
    void OnEnvironmentsSetUpStart(const UnitTest &all) override
    {
        usual_->OnEnvironmentsSetUpStart(all);
    }
    void OnEnvironmentsSetUpEnd(const UnitTest &all) override
    {
        usual_->OnEnvironmentsSetUpEnd(all);
    }
    void OnTestSuiteStart(const TestSuite &suite) override { usual_->OnTestSuiteStart(suite); }
    void OnTestStart(const TestInfo &test) override { usual_->OnTestStart(test); }
    void OnTestEnd(const TestInfo &test) override { usual_->OnTestEnd(test); }
    void OnTestSuiteEnd(const TestSuite &suite) override { usual_->OnTestSuiteEnd(suite); }
    void OnEnvironmentsTearDownStart(const UnitTest &all) override
    {
        usual_->OnEnvironmentsTearDownStart(all);
    }
    void OnEnvironmentsTearDownEnd(const UnitTest &all) override
    {
        usual_->OnEnvironmentsTearDownEnd(all);
    }
    void OnTestIterationEnd(const UnitTest &all, int iteration) override
    {
        usual_->OnTestIterationEnd(all, iteration);
    }
    void OnTestProgramEnd(const UnitTest &all) override { usual_->OnTestProgramEnd(all); }

private:
    std::unique_ptr<TestEventListener> usual_;
};

} // namespace

int main(int argc, char **argv)
{
    InitGoogleTest(&argc, argv);
    TestEventListeners &listeners = UnitTest::GetInstance()->listeners();
    listeners.Append(new FailuresToStderr(listeners.Release(listeners.default_result_printer())));
    return RUN_ALL_TESTS();
}
