// CPLD programs.

#include <errno.h>

#include "tests/examples/upgrade_service/service_test.h"

namespace board_test {
namespace {

using upgrade_service::CpldJob;
using Kind = Fault::Kind;

class CpldProgramTest : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        program_ = {0x65, 1, 2, '_', '_', '_', '_', '1', '2', '.', '1', 0x7F};
        job_.program = file("program", program_);
    }

    End program()
    {
        return run([this](Service &service) { return service.cpld(job_); });
    }

    const std::vector<virtual_board::CpldProgrammer::Load> &loads()
    {
        return board.cpld().programmer().loads();
    }

    CpldJob job_;
    Bytes program_;
};

TEST_F(CpldProgramTest, ReachesTheDriver)
{
    job_.component = 6;
    const End end = program();
    EXPECT_TRUE(end.succeeded());
    EXPECT_EQ(end.contents.find("the new program; version 17 before, 17 now"), 0U) << end.contents;
    EXPECT_FALSE(end.bios_flash.has_value());
    ASSERT_EQ(loads().size(), 1U);
    EXPECT_EQ(loads()[0].complaint, "");
    EXPECT_EQ(loads()[0].program, program_);
    EXPECT_EQ(loads()[0].component, 6);
    EXPECT_EQ(status(), Status(0, 0)) << "the driver publishes nothing";
}

struct Row {
    const char *name;
    std::function<void(Board &board, CpldJob &job)> arrange;
    const char *told;
    const char *why;
};

void PrintTo(const Row &row, std::ostream *stream)
{
    *stream << row.name;
}

class FailedCpldProgramTest : public CpldProgramTest, public ::testing::WithParamInterface<Row> {};

TEST_P(FailedCpldProgramTest, IsExplained)
{
    file("empty", {});
    file("large", Bytes(524286));
    GetParam().arrange(board, job_);
    if (job_.program[0] != '/') {
        job_.program = path(job_.program);
    }
    const End end = program();
    EXPECT_EQ(told(end), GetParam().told);
    EXPECT_NE(end.why.find(GetParam().why), std::string::npos) << end.why;
    EXPECT_EQ(loads().size(), 0U);
    ASSERT_FALSE(end.next.empty());
    EXPECT_EQ(end.next[0].find("Do not cut the board's power") == 0,
              end.code == ExitCode::not_right);
}

const Row rows[] = {
    {"DriverDoesNotOpen",
     [](Board &board, CpldJob &) {
         board.faults.add(fault("cpld", Operation::open, Kind::error, EIO));
     },
     "3; as before; cpld_init: open fail", "the CPLD's driver cannot be opened"},
    {"DriverFails",
     [](Board &board, CpldJob &) {
         board.faults.add(fault("cpld", Operation::ioctl, Kind::error, EIO));
     },
     "4; as the driver left it: the old program, the new one, or a part of it; ",
     "could not run it to its end (-1)"},
    {"Empty", [](Board &, CpldJob &job) { job.program = "empty"; },
     "3; as before; Get file length(0) is invalid", "the program is empty"},
    {"Absent", [](Board &, CpldJob &job) { job.program = "absent"; },
     "3; as before; Get file length(-1) is invalid", "is not there"},
    {"TooLarge", [](Board &, CpldJob &job) { job.program = "large"; },
     "3; as before; get_pcb_ver or get_board_id  is fail", "larger than the driver can take"},
};

INSTANTIATE_TEST_SUITE_P(Rows, FailedCpldProgramTest, ::testing::ValuesIn(rows), ByName());

} // namespace
} // namespace board_test
