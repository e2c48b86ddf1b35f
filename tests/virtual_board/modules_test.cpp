// Kernel modules, and the programs that programs start.

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/vos.h"
#include "tests/support/board_test.h"
#include "tests/support/machine.h"

namespace board_test {
namespace {

class ModulesTest : public BoardTest {
protected:
    static int run(const char *program, const char *argument)
    {
        char *const argv[] = {const_cast<char *>(program), const_cast<char *>(argument), nullptr};
        return vos_system(program, argv);
    }
};

TEST_F(ModulesTest, LoadsAndUnloadsThroughTheShell)
{
    EXPECT_FALSE(board.modules().loaded("load_fpga"));
    EXPECT_EQ(system("insmod /ko/load_fpga.ko"), 0);
    EXPECT_TRUE(board.modules().loaded("load_fpga"));
    EXPECT_FALSE(board.modules().loaded("m25p80"));
    EXPECT_EQ(system("rmmod load_fpga"), 0);
    EXPECT_FALSE(board.modules().loaded("load_fpga"));
    EXPECT_EQ(steps(), (Names{"run insmod /ko/load_fpga.ko", "run rmmod load_fpga"}));
}

TEST_F(ModulesTest, LoadsAndUnloadsThroughTheProgramRunner)
{
    EXPECT_EQ(run("/sbin/insmod", "/ko/m25p80.ko"), 0);
    EXPECT_TRUE(board.modules().loaded("m25p80"));
    EXPECT_EQ(run("/sbin/rmmod", "/ko/m25p80.ko"), 0);
    EXPECT_FALSE(board.modules().loaded("m25p80"));
    EXPECT_EQ(steps(), (Names{"run /sbin/insmod /ko/m25p80.ko", "run /sbin/rmmod /ko/m25p80.ko"}));
}

TEST_F(ModulesTest, ActionsBringAndTakeWhatAModuleDrives)
{
    std::string seen;
    board.modules().add(
        "m25p80", [&seen] { seen += "+"; }, [&seen] { seen += "-"; });
    run("/sbin/insmod", "/ko/m25p80.ko");
    EXPECT_EQ(seen, "+");
    run("/sbin/rmmod", "m25p80");
    EXPECT_EQ(seen, "+-");
}

TEST_F(ModulesTest, RefusesWhatTheKernelRefuses)
{
    const char *const commands[] = {
        "insmod /ko/unknown.ko", "insmod /lib/load_fpga.ko",
        "insmod load_fpga",      "insmod",
        "rmmod load_fpga",       "rmmod unknown",
    };
    for (const char *command : commands) {
        EXPECT_EQ(system(command), 1 << 8) << command;
    }
    EXPECT_EQ(system("insmod /ko/load_fpga.ko"), 0);
    EXPECT_EQ(system("insmod /ko/load_fpga.ko"), 1 << 8) << "already loaded";
    EXPECT_TRUE(board.modules().loaded("load_fpga"));
    board.modules().remove_file("load_fpga");
    EXPECT_EQ(system("rmmod load_fpga"), 0) << "needs no file";
    EXPECT_EQ(system("insmod /ko/load_fpga.ko"), 1 << 8) << "needs one";
}

TEST_F(ModulesTest, FaultsAnswerInTheProgramsPlace)
{
    board.faults.add({.name = "exit code 3",
                      .device = "insmod /ko/load_fpga.ko",
                      .operation = Operation::run,
                      .kind = Fault::Kind::result,
                      .value = 3 << 8});
    board.faults.add({.name = "killed",
                      .device = "/sbin/insmod /ko/m25p80.ko",
                      .operation = Operation::run,
                      .kind = Fault::Kind::result,
                      .value = 9});
    board.faults.add({.name = "not started",
                      .device = "/sbin/rmmod m25p80",
                      .operation = Operation::run,
                      .value = ENOMEM});
    EXPECT_EQ(system("insmod /ko/load_fpga.ko"), 3 << 8);
    EXPECT_FALSE(board.modules().loaded("load_fpga"));
    EXPECT_EQ(run("/sbin/insmod", "/ko/m25p80.ko"), 128 + 9);
    EXPECT_EQ(run("/sbin/rmmod", "m25p80"), -1);
}

TEST_F(ModulesTest, OtherProgramsRunForReal)
{
    EXPECT_EQ(system("exit 7"), 7 << 8);
    EXPECT_EQ(run("/bin/false", nullptr), 1);
    EXPECT_EQ(run("/bin/true", "x"), 0);
    EXPECT_EQ(steps(), (Names{"run exit 7", "run /bin/false", "run /bin/true x"}));
}

TEST_F(ModulesTest, MissingProgramsDoNotRun)
{
    if (!tells_failed_starts()) {
        GTEST_SKIP() << "posix_spawn does not tell failed starts on this machine";
    }
    EXPECT_EQ(run("/no/such/program", nullptr), -1);
    EXPECT_EQ(steps(), Names{"run /no/such/program"});
}

} // namespace
} // namespace board_test
