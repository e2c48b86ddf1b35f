// Where the library's lines go, and how they come back.

#include "upgrade_service/library_output.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace upgrade_service {
namespace {

TEST(LibraryOutputTest, IsKeptApart)
{
    testing::internal::CaptureStdout();
    printf("before\n");
    {
        LibraryOutput library("");
        ASSERT_TRUE(library.diverted());
        printf("library, one\r\n");
        EXPECT_EQ(library.take(), "library, one\r\n");
        fprintf(library.own(), "service\n");
        printf("library, two\n");
        EXPECT_EQ(library.take(), "library, two\n");
        EXPECT_EQ(library.take(), "");
    }
    printf("after\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nservice\nafter\n");
}

TEST(LibraryOutputTest, ALogIsAddedTo)
{
    std::string path = testing::TempDir() + "/library-XXXXXX";
    close(mkstemp(path.data()));
    std::ofstream(path) << "old\n";
    {
        LibraryOutput library(path);
        printf("new\n");
        EXPECT_EQ(library.take(), "new\n");
    }
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), "old\nnew\n");
    unlink(path.c_str());
}

TEST(LibraryOutputTest, ALogThatCannotBeWrittenDivertsNothing)
{
    testing::internal::CaptureStdout();
    {
        const LibraryOutput library("/nowhere/log");
        EXPECT_FALSE(library.diverted());
        printf("still here\n");
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "still here\n");
}

} // namespace
} // namespace upgrade_service
