// Entry of every test program.

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

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

// Every count-th test of the program, beginning with the one at first.
std::vector<std::string> share_of_tests(unsigned first, unsigned count)
{
    std::vector<std::string> names;
    unsigned place = 0;
    const UnitTest &all = *UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const TestSuite &suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            if (place++ % count == first) {
                names.push_back(std::string(suite.name()) + '.' + suite.GetTestInfo(j)->name());
            }
        }
    }
    return names;
}

std::string contents(FILE *file)
{
    std::string text;
    rewind(file);
    for (int byte = getc(file); byte != EOF; byte = getc(file)) {
        text += static_cast<char>(byte);
    }
    return text;
}

enum class Outcome { passed, skipped, failed };

// What the test prints is shown if it fails.
Outcome run_in_child(const std::string &name)
{
    const std::unique_ptr<FILE, int (*)(FILE *)> log(tmpfile(), fclose);
    if (log == nullptr) {
        perror("tmpfile");
        return Outcome::failed;
    }
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(log.get()), STDOUT_FILENO);
        dup2(fileno(log.get()), STDERR_FILENO);
        close(fileno(log.get()));
        GTEST_FLAG_SET(filter, name);
        exit(RUN_ALL_TESTS());
    }
    int status = 0;
    const bool ended = child > 0 && waitpid(child, &status, 0) == child;
    const std::string text = contents(log.get());
    // A test that is not there would pass.
    if (!ended || status != 0 || text.find("[==========] 1 test ") == std::string::npos) {
        printf("%s\nfailed with status %#x: %s\n", text.c_str(), static_cast<unsigned>(status),
               name.c_str());
        return Outcome::failed;
    }
    return text.find("[  SKIPPED ]") == std::string::npos ? Outcome::passed : Outcome::skipped;
}

// A process per test, as CTest gives them, without loading the program for each:
// under a sanitizer or an emulator that is most of what a test takes. The share
// is "FIRST/COUNT".
int run_share(const char *share)
{
    unsigned first = 0;
    unsigned count = 0;
    if (sscanf(share, "%u/%u", &first, &count) != 2 || first >= count) {
        fprintf(stderr, "BOARD_HAL_TESTS_SHARE is FIRST/COUNT, not \"%s\"\n", share);
        return 2;
    }
    unsigned outcomes[3] = {};
    for (const std::string &name : share_of_tests(first, count)) {
        ++outcomes[static_cast<int>(run_in_child(name))];
    }
    printf("tests: %u passed, %u skipped, %u failed\n", outcomes[0], outcomes[1], outcomes[2]);
    return outcomes[2] == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    InitGoogleTest(&argc, argv);
    TestEventListeners &listeners = UnitTest::GetInstance()->listeners();
    listeners.Append(new FailuresToStderr(listeners.Release(listeners.default_result_printer())));
    if (const char *share = getenv("BOARD_HAL_TESTS_SHARE")) {
        const std::string value = share;
        unsetenv("BOARD_HAL_TESTS_SHARE"); // not for the programs that tests start
        return run_share(value.c_str());
    }
    return RUN_ALL_TESTS();
}
