// Link of the management network port.

#include <errno.h>
#include <string.h>

#include "tests/update/update_test.h"

namespace board_test {
namespace {

class ManagementLanTest : public UpdateTest {
protected:
    void SetUp() override
    {
        UpdateTest::SetUp();
        watch();
    }
    // The result, and what was said on standard error.
    int ask(uint32_t port = 0)
    {
        link_ = 0xEE;
        testing::internal::CaptureStderr();
        const int result = get_mgnt_lan_status(port, &link_);
        said_ = testing::internal::GetCapturedStderr();
        return result;
    }

    uint8_t link_ = 0;
    std::string said_;
};

TEST_F(ManagementLanTest, ReportsTheLink)
{
    for (const uint32_t link : {0U, 1U}) {
        board.network().set_link(link);
        clear_trace();
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(link_, link);
        EXPECT_EQ(steps(), (Names{"open eth0", "ioctl eth0 8946"}));
    }
    EXPECT_EQ(output(), "");
    EXPECT_EQ(said_, "");
}

TEST_F(ManagementLanTest, ReportsOneByteOfIt)
{
    board.network().set_link(0x7FFFFF02);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(link_, 2);
}

TEST_F(ManagementLanTest, NegativeLinkIsNone)
{
    for (const uint32_t link : {0x80000000U, 0xFFFFFFFFU}) {
        board.network().set_link(link);
        EXPECT_EQ(ask(), -1);
        EXPECT_EQ(link_, 0xEE);
    }
}

TEST_F(ManagementLanTest, OtherPortsDoNotExist)
{
    for (const uint32_t port : {1U, 0xFFFFFFFFU}) {
        EXPECT_EQ(ask(port), -1);
        EXPECT_EQ(output(), "invalid port number\n");
        EXPECT_EQ(link_, 0xEE);
    }
    EXPECT_EQ(steps(), Names{}) << "no socket";
}

TEST_F(ManagementLanTest, DriverWithoutLinkQuery)
{
    board.network().answers_link_query(false);
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(output(), "No data available\n");
    EXPECT_EQ(said_, "");
    EXPECT_EQ(link_, 0xEE);
}

TEST_F(ManagementLanTest, QueryThatFails)
{
    board.faults.add(fault("eth0", Operation::ioctl, Fault::Kind::error, ENODEV));
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(said_, text("Cannot get link status: %s\n", strerror(ENODEV)));
    EXPECT_EQ(link_, 0xEE);
}

TEST_F(ManagementLanTest, SocketThatFails)
{
    board.faults.add(fault("eth0", Operation::open, Fault::Kind::error, EMFILE));
    EXPECT_EQ(ask(), -1);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(said_, text("Cannot get control socket: %s\n", strerror(EMFILE)));
    EXPECT_EQ(steps(), Names{"open eth0"});
    EXPECT_EQ(link_, 0xEE);
}

} // namespace
} // namespace board_test
