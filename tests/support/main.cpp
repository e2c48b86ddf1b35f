// Entry of every test program.

#include <gtest/gtest.h>
#include <stdio.h>

namespace {

// Standard output is captured while a test runs, so failures go to standard
// error as they happen.
class FailuresToStderr : public ::testing::EmptyTestEventListener {
    void OnTestPartResult(const ::testing::TestPartResult &result) override
    {
        if (result.failed()) {
            fprintf(stderr, "%s:%d: failure\n%s\n", result.file_name() ? result.file_name() : "?",
                    result.line_number(), result.message());
        }
    }
};

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new FailuresToStderr);
    return RUN_ALL_TESTS();
}
