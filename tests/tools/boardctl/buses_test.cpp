// Commands that talk over the FPGA's and the controller's buses.

#include <filesystem>

#include "boardctl/families/files.h"
#include "boardctl/framework/failure.h"
#include "tests/tools/boardctl/command_test.h"

namespace boardctl {

namespace {

using board_test::Bytes;
using virtual_board::Message;
using virtual_board::Operation;

class BoardctlBuses : public CommandTest {
protected:
    // The result of the operation that failed.
    static int code_of(const std::string &line)
    {
        try {
            run(line);
        } catch (const Failed &failed) {
            return failed.code;
        }
        ADD_FAILURE() << line << " succeeded";
        return 0;
    }

    static void expect_usage_error(const std::string &line, const std::string &complaint)
    {
        try {
            run(line);
            ADD_FAILURE() << line << " was accepted";
        } catch (const UsageError &error) {
            EXPECT_NE(std::string(error.what()).find(complaint), std::string::npos) << error.what();
        }
    }
};

// ---- I2C -------------------------------------------------------------------------

TEST_F(BoardctlBuses, I2cReadsBehindAnOffsetOnChannel2)
{
    Bytes &memory = board.eeprom(2).memory();
    memory[0x102] = 0xDE;
    memory[0x103] = 0xAD;
    EXPECT_EQ(field(run("i2c read 2 0xA0 2 --offset 0x102"), "data"), "DE AD");
}

TEST_F(BoardctlBuses, I2cWritesAndTransfers)
{
    EXPECT_EQ(field(run("i2c write 0 0xA0 0x01 0x00 0xDE 0xAD"), "written"), "4");
    EXPECT_EQ(board.eeprom(0).memory()[0x100], 0xDE);
    EXPECT_EQ(board.eeprom(0).memory()[0x101], 0xAD);
    EXPECT_EQ(field(run("i2c transfer 0 0xA0 2 0x01 0x00 --delay 10"), "data"), "DE AD");
    EXPECT_EQ(field(run("i2c write 2 0xA0 0x00 0x05 0x77"), "written"), "3");
    EXPECT_EQ(board.eeprom(2).memory()[5], 0x77);
    EXPECT_EQ(field(run("i2c transfer 2 0x90 2 0"), "data"), "19 00");
}

TEST_F(BoardctlBuses, I2cTellsWhoDoesNotAnswer)
{
    EXPECT_EQ(code_of("i2c read 0 0x22 1"), -10010);
    EXPECT_EQ(code_of("i2c write 0 0x22 1"), -10010);
    EXPECT_EQ(code_of("i2c transfer 0 0x22 1 0"), -10010);
    EXPECT_EQ(code_of("i2c read 2 0x22 1"), -1);
    EXPECT_EQ(code_of("i2c write 2 0x22 1 2"), -1);
    EXPECT_EQ(code_of("i2c transfer 2 0x22 1 0"), -1);
}

TEST_F(BoardctlBuses, I2cTellsAShortRead)
{
    board.faults.add({.name = "short",
                      .device = "fpga",
                      .kind = board_test::Fault::Kind::late_result,
                      .value = 3});
    EXPECT_THROW(run("i2c read 0 0xA0 4"), Trouble);
}

TEST_F(BoardctlBuses, I2cRefusesWhatMakesNoSense)
{
    expect_usage_error("i2c read 0 0xA1 1", "is odd");
    expect_usage_error("i2c write 0 0xA1 1", "is odd");
    expect_usage_error("i2c transfer 0 0xA1 1 1", "is odd");
    expect_usage_error("i2c read 0 0xA0 1 --offset 1", "--offset");
    expect_usage_error("i2c write 2 0xA0 1", "two bytes or more");
}

TEST_F(BoardctlBuses, I2cScanFindsTheChipsAndChangesNone)
{
    const Bytes before = board.eeprom(2).memory();
    const Result soc = run("i2c scan 2");
    ASSERT_EQ(row_count(soc, "slaves"), 3U);
    EXPECT_EQ(row(soc, "slaves", 0), "0x40 | 0x20");
    EXPECT_EQ(row(soc, "slaves", 1), "0x90 | 0x48");
    EXPECT_EQ(row(soc, "slaves", 2), "0xA0 | 0x50");
    EXPECT_EQ(board.eeprom(2).memory(), before);
    EXPECT_EQ(board.eeprom(2).write_cycles(), 0U);
    const Result fpga = run("i2c scan 1");
    ASSERT_EQ(row_count(fpga, "slaves"), 1U);
    EXPECT_EQ(row(fpga, "slaves", 0), "0x54 | 0x2A");
}

TEST_F(BoardctlBuses, I2cStatusAndReset)
{
    board.fpga_i2c().channel(0).status = 0x10;
    board.fpga_i2c().channel(1).bus_status = 0x40;
    Result result = run("i2c status");
    EXPECT_EQ(row(result, "channels", 0), "0 | 10010 | 0");
    EXPECT_EQ(row(result, "channels", 1), "1 | 0 | 3");
    run("i2c reset 0");
    EXPECT_EQ(board.fpga_i2c().channel(0).resets, 1U);
    EXPECT_EQ(row(run("i2c status"), "channels", 0), "0 | 0 | 0");
}

// ---- IPMB ------------------------------------------------------------------------

TEST_F(BoardctlBuses, IpmbSendsOnEachChannel)
{
    for (const unsigned channel : {0U, 1U, 2U}) {
        const std::string line = "ipmb send " + std::to_string(channel) + " 0x2C 0x18 0xBC";
        EXPECT_EQ(field(run(line), "sent"), "3");
        ASSERT_EQ(board.ipmb().channel(channel).received.size(), 1U);
        EXPECT_EQ(board.ipmb().channel(channel).received[0], (Message{0x2C, 0x18, 0xBC}));
        board.ipmb().channel(channel).silent = true;
        EXPECT_EQ(code_of(line), -10005);
    }
    board.ipmb().channel(2).silent = false;
    board.ipmb().channel(2).write_result = 5;
    EXPECT_EQ(code_of("ipmb send 2 1"), 5);
}

TEST_F(BoardctlBuses, IpmbReceivesWhatComesInTime)
{
    const Result nothing = run("ipmb receive 0");
    EXPECT_EQ(field(nothing, "channel"), "none");
    EXPECT_EQ(field(nothing, "message"), "none");
    board.clock.schedule_us(300000, [this] { board.ipmb().send(1, {0x20, 0x1C, 0xC4}); });
    const Result result = run("ipmb receive 0 --timeout 1000");
    EXPECT_EQ(field(result, "channel"), "1");
    EXPECT_EQ(field(result, "message"), "20 1C C4");
    board.ipmb().send(2, {7});
    EXPECT_EQ(field(run("ipmb receive 1"), "message"), "none");
    EXPECT_EQ(field(run("ipmb receive 2"), "message"), "07");
}

TEST_F(BoardctlBuses, IpmbChannelsAreSetUp)
{
    run("ipmb disable 1");
    run("ipmb address 0 0x24");
    run("ipmb address 2 0x26");
    board.ipmb().channel(2).status = 0x80;
    const Result result = run("ipmb status");
    EXPECT_EQ(row(result, "channels", 0), "0 | yes | 0x24 | 0");
    EXPECT_EQ(row(result, "channels", 1), "1 | no | 0x24 | 0");
    EXPECT_EQ(row(result, "channels", 2), "2 | n.a. | 0x26 | -10001");
    EXPECT_FALSE(board.ipmb().channel(1).enabled);
    run("ipmb enable 1");
    EXPECT_TRUE(board.ipmb().channel(1).enabled);
    expect_usage_error("ipmb address 0 0x21", "is odd");
    for (const unsigned channel : {0U, 1U, 2U}) {
        run("ipmb reset " + std::to_string(channel));
        EXPECT_EQ(board.ipmb().channel(channel).resets, 1U);
    }
}

// ---- Host interfaces ------------------------------------------------------------------

TEST_F(BoardctlBuses, HostInterfacesCarryMessagesBothWays)
{
    struct {
        std::string name;
        virtual_board::HostInterface &host;
        Message answer;
    } interfaces[] = {{"kcs", board.host().kcs, {0x1C, 0x01, 0x00}},
                      {"bt", board.host().bt, {0x1C, 0x01, 0x00}}};
    for (auto &one : interfaces) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(field(run(one.name + " read"), "message"), "none");
        board.clock.schedule_us(200000, [&one] { one.host.send({0x18, 0x01}); });
        EXPECT_EQ(field(run(one.name + " read --timeout 1000"), "message"), "18 01");
        EXPECT_EQ(field(run(one.name + " write 0x1C 1 0"), "sent"), "3");
        ASSERT_EQ(one.host.answers().size(), 1U);
        const Message &arrived = one.host.answers()[0];
        EXPECT_TRUE(std::equal(one.answer.rbegin(), one.answer.rend(), arrived.rbegin()));
        EXPECT_EQ(field(run(one.name + " status"), "idle"), "yes");
        EXPECT_EQ(field(run(one.name + " set-status 2"), "status"), "2");
        EXPECT_EQ(one.host.status(), 2);
        EXPECT_EQ(field(run(one.name + " status"), "idle"), "no");
        EXPECT_EQ(code_of(one.name + " write 1"), -9);
        one.host.fail_reads(10007);
        EXPECT_EQ(code_of(one.name + " read"), -10007);
    }
}

TEST_F(BoardctlBuses, RamIsReadAndWritten)
{
    EXPECT_EQ(field(run("ram write 0x3FE 0xA5 0x5A"), "written"), "2");
    EXPECT_EQ(board.fpga().ram()[0x3FE], 0xA5);
    EXPECT_EQ(board.fpga().ram()[0x3FF], 0x5A);
    EXPECT_EQ(field(run("ram read 0x3FD 3"), "data"), "00 A5 5A");
    expect_usage_error("ram read 0x3FF 2", "ends behind");
    expect_usage_error("ram write 0x3FF 1 2", "ends behind");
    board.faults.add({.name = "read", .device = "fpga", .value = EIO});
    EXPECT_EQ(code_of("ram read 0 1"), -1);
}

// ---- Console and black box ------------------------------------------------------------

TEST_F(BoardctlBuses, SolReadTakesLines)
{
    EXPECT_EQ(row_count(run("sol read"), "lines"), 0U);
    board.sol().print("BIOS 1.2\r\nmemory \x80 ok\nlogin");
    EXPECT_EQ(field(run("sol status"), "waiting"), "27");
    const Result result = run("sol read");
    ASSERT_EQ(row_count(result, "lines"), 3U);
    EXPECT_EQ(row(result, "lines", 0), "BIOS 1.2");
    EXPECT_EQ(row(result, "lines", 1), "memory ? ok");
    EXPECT_EQ(row(result, "lines", 2), "login");
    EXPECT_EQ(board.sol().pending(), 0U);
    EXPECT_FALSE(board.sol().fetching());
    EXPECT_EQ(field(run("sol status"), "waiting"), "0");
}

TEST_F(BoardctlBuses, SolFollowPassesOnWhatComes)
{
    board.sol().print("one");
    board.clock.schedule_us(500000, [this] { board.sol().print(" two\r\n"); });
    run("sol follow --count 5 --interval 200");
    EXPECT_EQ(output(), "one two\r\n");
    EXPECT_EQ(board.sol().pending(), 0U);
}

TEST_F(BoardctlBuses, SolFetchThatFailsIsReleased)
{
    board.sol().print("text");
    board.sol().not_ready = 1;
    EXPECT_EQ(code_of("sol read"), -5);
    EXPECT_EQ(row(run("sol read"), "lines", 0), "text");
}

TEST_F(BoardctlBuses, BlackboxIsSavedAndEnded)
{
    const TemporaryFile file;
    const std::string save = "blackbox save " + file.path();
    std::filesystem::remove(file.path());
    EXPECT_EQ(field(run("blackbox info"), "enabled"), "no");
    EXPECT_EQ(field(run(save), "saved"), "0");
    EXPECT_FALSE(std::filesystem::exists(file.path()));
    EXPECT_EQ(field(run("blackbox enable"), "enabled"), "yes");
    EXPECT_TRUE(board.black_box().enabled());
    board.black_box().crash({1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(field(run("blackbox info"), "has_data"), "yes");
    EXPECT_EQ(field(run(save + " --first 2 --second 4 --length 6"), "saved"), "6");
    EXPECT_EQ(read_file(file.path()), (Bytes{3, 4, 5, 6, 0, 0}));
    EXPECT_EQ(board.black_box().first(), 2U);
    EXPECT_EQ(board.black_box().second(), 4U);
    EXPECT_FALSE(board.black_box().fetching());
    EXPECT_EQ(board.black_box().releases(), 1U);
    board.black_box().not_ready = 1;
    EXPECT_EQ(code_of(save), -5);
    EXPECT_EQ(field(run("blackbox disable"), "enabled"), "no");
    EXPECT_FALSE(board.black_box().enabled());
}

// ---- PECI ------------------------------------------------------------------------------

TEST_F(BoardctlBuses, PeciReadsTheBridge)
{
    run("peci init");
    board.peci_bridge().set_cpu_temperature(1, 61);
    EXPECT_EQ(field(run("peci read 1"), "value"), "61");
    board.peci_bridge().answer_always(2, 0x8001);
    EXPECT_EQ(code_of("peci read 2"), -5);
    const Result result = run("peci dump");
    ASSERT_EQ(row_count(result, "registers"), 20U);
    EXPECT_EQ(row(result, "registers", 1), "1 | 61");
    EXPECT_EQ(row(result, "registers", 2), "2 | error -5");
    board.i2c(1).unplug(0x54 >> 1);
    EXPECT_EQ(code_of("peci init"), -5);
}

} // namespace

} // namespace boardctl
