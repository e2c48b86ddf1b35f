// What appears where, and in which order.

#include "console_bridge/screen.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"

namespace board_test {
namespace {

using console_bridge::DescriptorScreen;

TEST(Screen, ShowsTheConsoleAsItIs)
{
    CapturedOutput output;
    DescriptorScreen screen(STDOUT_FILENO, "");
    const std::string text("a\r\n\0\xFF\n\nb", 9);
    screen.console(text);
    screen.console("c");
    EXPECT_EQ(output.take(), text + "c");
    screen.note("hello");
    EXPECT_EQ(output.take(), "bmc   | hello\n") << "a file stays as it is";
}

TEST(Screen, BeginsEachLineWithThePrefix)
{
    CapturedOutput output;
    DescriptorScreen screen(STDOUT_FILENO, "> ");
    screen.console("one\r\ntw");
    screen.console("");
    screen.console("o\r\n");
    screen.console("\n");
    EXPECT_EQ(output.take(), "> one\r\n> two\r\n> \n");
    screen.console("three");
    screen.note("hello");
    screen.console("four");
    EXPECT_EQ(output.take(), "> three\r\nbmc   | hello\n> four");
}

// A terminal's two ends.
struct Terminal {
    int near_end = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    int far_end = -1;

    Terminal()
    {
        grantpt(near_end);
        unlockpt(near_end);
        far_end = open(ptsname(near_end), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal()
    {
        close(far_end);
        close(near_end);
    }
};

TEST(Screen, BreaksALineOfATerminalForANote)
{
    Terminal terminal;
    CapturedOutput output;
    DescriptorScreen screen(terminal.far_end, "");
    screen.console("login: ");
    screen.note("hello");
    screen.note("again");
    EXPECT_EQ(output.take(), "bmc   | hello\nbmc   | again\n");
    // A terminal may pass on each write by itself.
    const std::string wanted = "login: \r\r\n";
    std::string shown;
    char part[64];
    ssize_t count = 1;
    while (shown.size() < wanted.size() && count > 0) {
        count = read(terminal.near_end, part, sizeof(part));
        shown.append(part, static_cast<size_t>(std::max<ssize_t>(count, 0)));
    }
    EXPECT_EQ(shown, wanted);
}

TEST(Screen, TellsADescriptorThatIsGone)
{
    signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    DescriptorScreen screen(ends[1], "");
    screen.console("a");
    EXPECT_TRUE(screen.good());
    close(ends[0]);
    screen.console("b");
    EXPECT_FALSE(screen.good());
    close(ends[1]);
}

volatile int wish;

TEST(Screen, LetsGoOfATerminalThatTakesNothing)
{
    struct sigaction action = {};
    action.sa_handler = [](int) { wish = 1; };
    sigaction(SIGUSR1, &action, nullptr);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    DescriptorScreen screen(ends[1], "");
    screen.give_up_when(wish);
    // Again and again: it may come before the write waits.
    std::atomic<bool> over = false;
    const pthread_t writer = pthread_self();
    std::thread impatient([&] {
        while (!over) {
            pthread_kill(writer, SIGUSR1);
            std::this_thread::yield();
        }
    });
    screen.console(std::string(1000000, 'x'));
    over = true;
    impatient.join();
    EXPECT_EQ(wish, 1);
    EXPECT_TRUE(screen.good()) << "nothing is wrong with it";
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace board_test
