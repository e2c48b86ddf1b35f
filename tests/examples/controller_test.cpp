// The controller on the board, from start to answer.

#include "controller.h"

#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using chassis_controller::Controller;

class ControllerTest : public BoardTest {
protected:
    Controller controller;

    void start()
    {
        ASSERT_TRUE(controller.start());
        started_ = true;
        output();
    }

    void TearDown() override
    {
        if (started_) {
            controller.stop();
        }
        BoardTest::TearDown();
    }

    void poll_for_ms(unsigned duration)
    {
        for (unsigned passed = 0; passed < duration; passed += Controller::poll_us / 1000) {
            controller.poll();
            usleep(Controller::poll_us);
        }
    }

    // Sends a request, gives the controller one pass, and returns the answer.
    Bytes exchange(Bytes request)
    {
        const size_t before = board.host().kcs.answers().size();
        board.host().kcs.send(std::move(request));
        controller.poll();
        const std::vector<Bytes> &answers = board.host().kcs.answers();
        return answers.size() == before + 1 ? answers.back() : Bytes{};
    }

private:
    bool started_ = false;
};

TEST_F(ControllerTest, TellsIdentityAndVerdictAtItsStart)
{
    ASSERT_TRUE(controller.start());
    EXPECT_EQ(output(), "bmc   | the board is open\n"
                        "bmc   | board id 10h, PCB version 1, BOM version 0, product id 02h\n"
                        "bmc   | CPLD version 11h, compiled 2016-12-19 17 h\n"
                        "\r\nStart CPLD test...............................................[  "
                        "\033[0;32mPass\033[0m   ]\r\n"
                        "bmc   | self test of the CPLD: passed\n"
                        "bmc   | serves IPMI requests over KCS\n");
    controller.stop();
    EXPECT_EQ(output(), "bmc   | the board is closed\n");
}

TEST_F(ControllerTest, TellsAFailedSelfTestAndServesAllTheSame)
{
    board.cpld().stick(CPLD_REG_TEST, 0x01, 0x00);
    ASSERT_TRUE(controller.start());
    EXPECT_NE(output().find("bmc   | self test of the CPLD: FAILED\n"), std::string::npos);
    EXPECT_EQ(exchange({0x18, 0x7F}), (Bytes{0x1C, 0x7F, 0xC1}));
    controller.stop();
}

TEST_F(ControllerTest, DoesNotStartWithoutABoard)
{
    board.detach("/dev/ipmc_cpld");
    // The library's clean-up after the refused open releases what was not taken.
    EXPECT_FALSE(controller.start());
    EXPECT_NE(output().find("bmc   | the board cannot be opened (-1)\n"), std::string::npos);
}

TEST_F(ControllerTest, ShowsLifeOnceASecond)
{
    start();
    poll_for_ms(3000);
    EXPECT_EQ(reg(CPLD_REG_RESET_D) & CPLD_HEARTBEAT, CPLD_HEARTBEAT);
    EXPECT_EQ(board.gpio().line(95).written, (std::vector<std::string>{"0", "1", "0"}));
}

TEST_F(ControllerTest, AnswersTheDeviceIdWithTheBoardsVersions)
{
    board.cpld().set(CPLD_REG_PCB_VERSION, 0x02);
    board.cpld().set(CPLD_REG_PRODUCT_ID, 0x81);
    board.cpld().set(CPLD_REG_CPLD_VERSION, 0x33);
    board.fpga().version = {0x44, 0};
    start();
    EXPECT_EQ(exchange({0x18, 0x01}), (Bytes{0x1C, 0x01, 0x00, 0x20, 0x02, 0x01, 0x00, 0x02, 0x80,
                                             0, 0, 0, 0x81, 0x00, 0x33, 0x44, 0, 0}));
    EXPECT_EQ(output(),
              "bmc   | receives  18 01                   Get Device ID\n"
              "bmc   | answers   1C 01 00 20 02 01 00 02 80 00 00 00 81 00 33 44 00 00\n");
}

TEST_F(ControllerTest, PowersTheHostUpAndDown)
{
    start();
    EXPECT_EQ(exchange({0x00, 0x02, 0x01}), (Bytes{0x04, 0x02, 0x00}));
    EXPECT_EQ(board.host().last_press_us(), 200000U);
    poll_for_ms(1000);
    EXPECT_TRUE(board.host().powered());
    EXPECT_EQ(exchange({0x00, 0x01}), (Bytes{0x04, 0x01, 0x00, 0x61, 0, 0, 0x10}));

    EXPECT_EQ(exchange({0x00, 0x02, 0x00}), (Bytes{0x04, 0x02, 0x00}));
    EXPECT_FALSE(board.host().powered());
    EXPECT_EQ(board.host().counters().forced_offs, 0U);
}

TEST_F(ControllerTest, PressesALockedButtonAndLeavesItLocked)
{
    set_reg(CPLD_REG_POWER_BUTTON, 0x00);
    start();
    EXPECT_EQ(exchange({0x00, 0x02, 0x01}), (Bytes{0x04, 0x02, 0x00}));
    EXPECT_EQ(board.host().last_press_us(), 230000U);
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON), 0x00);
    poll_for_ms(1000);
    EXPECT_EQ(exchange({0x00, 0x01}), (Bytes{0x04, 0x01, 0x00, 0x61, 0, 0, 0x11}));
}

TEST_F(ControllerTest, TellsAHostThatDoesNotPowerDown)
{
    set_reg(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
    board.host().power_delay_us = 6000000;
    start();
    EXPECT_EQ(exchange({0x00, 0x02, 0x00}), (Bytes{0x04, 0x02, 0xC3}));
    EXPECT_TRUE(board.host().powered());
}

TEST_F(ControllerTest, ResetsAndInterruptsAHostThatIsOn)
{
    set_reg(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
    start();
    EXPECT_EQ(exchange({0x00, 0x02, 0x03}), (Bytes{0x04, 0x02, 0x00}));
    EXPECT_EQ(board.host().counters().resets, 1U);
    EXPECT_EQ(exchange({0x00, 0x02, 0x04}), (Bytes{0x04, 0x02, 0x00}));
    EXPECT_EQ(board.host().counters().nmis, 1U);
    EXPECT_EQ(reg(CPLD_REG_CHIPSET) & CPLD_NMI_REQUEST, 0);
    EXPECT_EQ(reg(CPLD_REG_POWER_BUTTON) & CPLD_COMPONENT_RESET_0, 0);
}

TEST_F(ControllerTest, TellsAnNmiLineThatDoesNotRise)
{
    set_reg(CPLD_REG_POWER_STATE, CPLD_POWER_GOOD);
    board.cpld().stick(CPLD_REG_CHIPSET, CPLD_NMI_REQUEST, 0);
    start();
    EXPECT_EQ(exchange({0x00, 0x02, 0x04}), (Bytes{0x04, 0x02, 0xFF}));
}

TEST_F(ControllerTest, KeepsRamBytes)
{
    board.fpga().ram()[0x3FF] = 0x77;
    start();
    EXPECT_EQ(exchange({0xC0, 0x01, 0x10, 0x00, 0xA5}), (Bytes{0xC4, 0x01, 0x00}));
    EXPECT_EQ(board.fpga().ram()[0x10], 0xA5);
    EXPECT_EQ(exchange({0xC0, 0x02, 0x10, 0x00}), (Bytes{0xC4, 0x02, 0x00, 0xA5}));
    EXPECT_EQ(exchange({0xC0, 0x02, 0xFF, 0x03}), (Bytes{0xC4, 0x02, 0x00, 0x77}));
}

TEST_F(ControllerTest, TellsAnFpgaErrorOfTheRam)
{
    start();
    Fault fault;
    fault.device = "fpga";
    fault.address = 0x51;
    fault.kind = Fault::Kind::result;
    fault.value = 10005;
    board.faults.add(fault);
    EXPECT_EQ(exchange({0xC0, 0x02, 0x10, 0x00}), (Bytes{0xC4, 0x02, 0xFF}));
}

TEST_F(ControllerTest, ServesRequestsInTheirOrderOnceTheInterfaceIsFree)
{
    start();
    // While the second request waits the interface is not idle; the answer to
    // the first one cannot leave, and is given up after a second.
    board.host().kcs.send({0x18, 0x7E});
    board.host().kcs.send({0x18, 0x7F});
    controller.poll();
    EXPECT_EQ(board.host().kcs.answers().size(), 0U);
    EXPECT_NE(output().find("bmc   | the host does not take the answer\n"), std::string::npos);
    controller.poll();
    ASSERT_EQ(board.host().kcs.answers().size(), 1U);
    EXPECT_EQ(board.host().kcs.answers()[0], (Bytes{0x1C, 0x7F, 0xC1}));
}

TEST_F(ControllerTest, DropsWhatIsNoRequest)
{
    start();
    EXPECT_EQ(exchange({0x18}), Bytes{});
    EXPECT_EQ(output(), "bmc   | receives  18                      unknown command\n"
                        "bmc   | drops it: that is no request\n");
}

TEST_F(ControllerTest, TakesTheFirstHundredBytesOfAnOversizeMessage)
{
    start();
    Bytes request(300, 0x00);
    request[0] = 0x18;
    request[1] = 0x01;
    EXPECT_EQ(exchange(request), (Bytes{0x1C, 0x01, 0xC7}));
}

TEST_F(ControllerTest, LeavesTheHostAloneWhileItIsBusy)
{
    start();
    board.host().kcs.never_idle(true);
    poll_for_ms(200);
    EXPECT_EQ(board.host().kcs.answers().size(), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(ControllerTest, OutlivesDriverErrors)
{
    start();
    board.host().kcs.fail_reads(10005);
    EXPECT_EQ(exchange({0x18, 0x7F}), Bytes{});
    EXPECT_EQ(output(), "");
    board.host().kcs.fail_reads(std::nullopt);
    board.host().kcs.fail_writes(10005);
    controller.poll();
    EXPECT_NE(output().find("bmc   | the answer cannot be sent (-10005)\n"), std::string::npos);
    board.host().kcs.fail_writes(std::nullopt);
    EXPECT_EQ(exchange({0x18, 0x7F}), (Bytes{0x1C, 0x7F, 0xC1}));
}

} // namespace
} // namespace board_test
