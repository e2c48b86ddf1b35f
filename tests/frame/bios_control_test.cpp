// Owner and write protect of the BIOS flash.

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

using Owner = virtual_board::BiosSwitch::Owner;

class BiosControlTest : public StateTest {
protected:
    // A setter over every content of the register: the bits it sets and clears.
    template <typename Set> void expect_change(Set set, unsigned sets, unsigned clears)
    {
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(0xEA, static_cast<uint8_t>(value));
            const Bytes expected = with(registers(), 0xEA, (value | sets) & ~clears);
            set();
            ASSERT_EQ(registers(), expected) << value;
        }
        set_reg(0xEA, 0);
        clear_trace();
        EXPECT_EQ(output(), "");
    }

    template <typename Get> void expect_bit(Get get, unsigned number)
    {
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(0xEA, static_cast<uint8_t>(value));
            uint8_t out = untouched;
            EXPECT_EQ(get(&out), 0);
            EXPECT_EQ(out, value >> number & 1U);
        }
        clear_trace();
        EXPECT_EQ(output(), "");
    }
};

TEST_F(BiosControlTest, OwnerIsBit6)
{
    expect_change([] { EXPECT_EQ(set_bios_owner(1), 0); }, 0x40, 0x00);
    EXPECT_EQ(set_bios_owner(1), 0);
    expect_steps(locked({"load ea", "store ea=40"}));
    expect_change([] { EXPECT_EQ(set_bios_owner(0), 0); }, 0x00, 0x40);
    expect_bit(get_bios_owner, 6);
    uint8_t owner = 0;
    EXPECT_EQ(get_bios_owner(&owner), 0);
    expect_steps(locked({"load ea"}, "bios_state_lock"));
}

TEST_F(BiosControlTest, WriteProtectIsBit4OfBios0)
{
    for (const uint8_t protect : Bytes{1, 2, 0x10, 0x80, 255}) {
        expect_change([protect] { EXPECT_EQ(set_bios_wp(0, protect), 0); }, 0x10, 0x00);
    }
    EXPECT_EQ(set_bios_wp(0, 1), 0);
    expect_steps(locked({"load ea", "store ea=10"}));
    EXPECT_TRUE(board.bios_switch().write_protected());
    expect_change([] { EXPECT_EQ(set_bios_wp(0, 0), 0); }, 0x00, 0x10);
    EXPECT_FALSE(board.bios_switch().write_protected());
    expect_bit([](uint8_t *out) { return get_bios_wp(0, out); }, 4);
    uint8_t wp = 0;
    EXPECT_EQ(get_bios_wp(0, &wp), 0);
    expect_steps(locked({"load ea"}, "bios_state_lock"));
}

TEST_F(BiosControlTest, SwitchAndWriteProtectMoveTogetherUnlocked)
{
    expect_change(set_bios_sw_n_wp, 0x30, 0x00);
    set_bios_sw_n_wp();
    expect_steps({"load ea", "store ea=30"});
    expect_change(clear_bios_sw_n_wp, 0x00, 0x30);
    set_reg(0xEA, 0xFF);
    clear_bios_sw_n_wp();
    expect_steps({"load ea", "store ea=cf"});
}

TEST_F(BiosControlTest, OwnersFrom2AreRefused)
{
    const Bytes before = registers();
    for (unsigned owner = 2; owner < 256; ++owner) {
        EXPECT_EQ(set_bios_owner(static_cast<uint8_t>(owner)), -2);
        EXPECT_EQ(output(), "Invalid bus val = " + std::to_string(owner) + "\r\n");
    }
    expect_steps({});
    EXPECT_EQ(registers(), before);
    expect_refused({{"null owner", [] { return get_bios_owner(nullptr); }, -2,
                     "get_bios_owner:val is a Invalid argument\r\n"}});
}

TEST_F(BiosControlTest, OtherBiosIdsAreRefused)
{
    const Bytes before = registers();
    for (unsigned bios = 1; bios < 256; ++bios) {
        const std::string text = "Invalid bios id = " + std::to_string(bios) + "\r\n";
        EXPECT_EQ(set_bios_wp(static_cast<uint8_t>(bios), 1), -2);
        EXPECT_EQ(output(), text);
        uint8_t out = untouched;
        EXPECT_EQ(get_bios_wp(static_cast<uint8_t>(bios), &out), -2);
        EXPECT_EQ(output(), text);
        EXPECT_EQ(out, untouched);
        EXPECT_EQ(get_bios_wp(static_cast<uint8_t>(bios), nullptr), -2);
        EXPECT_EQ(output(), text);
    }
    expect_steps({});
    EXPECT_EQ(registers(), before);
}

TEST_F(BiosControlTest, TheFlashFollowsItsOwner)
{
    std::vector<Owner> moves;
    board.bios_switch().on_change([&](Owner owner) { moves.push_back(owner); });
    set_reg(0xEA, 0);
    EXPECT_EQ(set_bios_owner(1), 0);
    EXPECT_EQ(set_bios_owner(1), 0);
    EXPECT_EQ(set_bios_wp(0, 1), 0);
    EXPECT_EQ(board.bios_switch().owner(), Owner::controller);
    EXPECT_EQ(set_bios_owner(0), 0);
    EXPECT_EQ(board.bios_switch().owner(), Owner::host);
    board.synchronise();
    if (sees_each_access()) {
        EXPECT_EQ(moves, (std::vector<Owner>{Owner::controller, Owner::host}));
    }
    uint8_t out = untouched;
    EXPECT_EQ(get_bios_wp(0, &out), 0);
    EXPECT_EQ(out, 1);
}

} // namespace
} // namespace board_test
