// Versions, the state of the BIOS flash, and setting it right by hand.

#include <errno.h>

#include "tests/examples/upgrade_service/service_test.h"
#include "tests/update/owner_gate.h"

namespace board_test {
namespace {

using Kind = Fault::Kind;

class BoardStateTest : public ServiceTest {
protected:
    End release()
    {
        return run([](Service &service) { return service.release(); });
    }
    End protect(bool on)
    {
        return run([on](Service &service) { return service.protect(on); });
    }
    std::string state()
    {
        run([](Service &service) { return service.state(); });
        return shown();
    }
    bool write_protected() { return (reg(CPLD_REG_BIOS_FLASH) & CPLD_BIOS_WRITE_PROTECT) != 0; }
};

TEST_F(BoardStateTest, VersionsAreTheBoards)
{
    run([](Service &service) { return service.versions(); });
    EXPECT_NE(shown().find("\nCPLD                11h\n"), std::string::npos) << shown();
    EXPECT_NE(shown().find("\nFPGA                21h\n"), std::string::npos) << shown();
    EXPECT_NE(shown().find("\nlibrary's build     Dec 19 2016 17:58:08\n"), std::string::npos);
    board.faults.add(fault("fpga", Operation::ioctl, Kind::error, EIO));
    run([](Service &service) { return service.versions(); });
    EXPECT_NE(shown().find("\nFPGA                n.a.\n"), std::string::npos) << shown();
}

TEST_F(BoardStateTest, IsToldAsItIs)
{
    EXPECT_EQ(state(), "BIOS flash is with  host\n"
                       "its driver is       unloaded\n"
                       "write-protected     no\n");
    give_bios_flash_to_controller();
    board.cpld().set_bits(CPLD_REG_BIOS_FLASH, CPLD_BIOS_WRITE_PROTECT);
    EXPECT_EQ(state(), "BIOS flash is with  controller\n"
                       "its driver is       loaded\n"
                       "write-protected     yes\n");
}

TEST_F(BoardStateTest, AFlashIsReleased)
{
    give_bios_flash_to_controller();
    const End end = release();
    EXPECT_TRUE(end.succeeded());
    EXPECT_FALSE(controller_owns_bios_flash());
    EXPECT_FALSE(bios_driver_loaded());
    EXPECT_TRUE(release().succeeded()) << "nothing to do is no failure";
}

TEST_F(BoardStateTest, AFlashThatCannotBeReleasedIsToldSo)
{
    give_bios_flash_to_controller();
    refuse_owner(0);
    const End end = release();
    EXPECT_EQ(end.code, ExitCode::not_given_back);
    EXPECT_EQ(end.why, "the board's switch does not move");
    EXPECT_FALSE(bios_driver_loaded());
}

TEST_F(BoardStateTest, ADriverThatStaysIsToldSo)
{
    give_bios_flash_to_controller();
    Fault busy = fault("/sbin/rmmod /ko/m25p80.ko", Operation::run, Kind::result, 1 << 8);
    busy.times = 0;
    board.faults.add(busy);
    const End end = release();
    EXPECT_EQ(end.code, ExitCode::not_given_back);
    EXPECT_EQ(end.why, "the driver cannot be unloaded");
    EXPECT_FALSE(controller_owns_bios_flash());
    EXPECT_TRUE(bios_driver_loaded());
}

TEST_F(BoardStateTest, ProtectionIsSetAndLifted)
{
    EXPECT_TRUE(protect(true).succeeded());
    EXPECT_TRUE(write_protected());
    EXPECT_TRUE(protect(false).succeeded());
    EXPECT_FALSE(write_protected());
    board.cpld().stick(CPLD_REG_BIOS_FLASH, CPLD_BIOS_WRITE_PROTECT, CPLD_BIOS_WRITE_PROTECT);
    EXPECT_EQ(protect(false).code, ExitCode::nothing_changed);
}

} // namespace
} // namespace board_test
