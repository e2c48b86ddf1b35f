// The serial switch, there and back.

#include "console_bridge/routing.h"

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

using console_bridge::FarEnd;
using console_bridge::Routing;

class RoutingTest : public BridgeFixture {
protected:
    void SetUp() override
    {
        BridgeFixture::SetUp();
        open_board();
    }
};

TEST_F(RoutingTest, LeadsTheUartToTheFarEnd)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x26);
    Routing routing;
    EXPECT_EQ(routing.connect(FarEnd::host), 0);
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x22);
    EXPECT_EQ(Routing::arrangement(), 2U);
    uint32_t endpoint = 0;
    EXPECT_EQ(get_host_serial_connection(&endpoint), 0);
    EXPECT_EQ(endpoint, 3U);

    EXPECT_EQ(routing.connect(FarEnd::panel), 0);
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x21);
    EXPECT_EQ(get_panel_serial_connection(&endpoint), 0);
    EXPECT_EQ(endpoint, 3U);
}

TEST_F(RoutingTest, PutsBackWhateverItFound)
{
    for (const FarEnd far_end : {FarEnd::host, FarEnd::panel}) {
        for (unsigned code = 0; code < 16; ++code) {
            set_reg(CPLD_REG_SERIAL_ROUTING, static_cast<uint8_t>(0x10 | code));
            Routing routing;
            routing.connect(far_end);
            // Meanwhile the auxiliary port is somebody else's.
            set_third_party_serial_connection(2);
            EXPECT_TRUE(routing.restore());
            EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x20 | code);
        }
    }
}

TEST_F(RoutingTest, PutsBackOnceAndOnlyWhatItFound)
{
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x05);
    Routing routing;
    EXPECT_FALSE(routing.restore());
    routing.connect(FarEnd::host);
    EXPECT_TRUE(routing.restore());
    set_reg(CPLD_REG_SERIAL_ROUTING, 0x06);
    EXPECT_FALSE(routing.restore());
    EXPECT_EQ(reg(CPLD_REG_SERIAL_ROUTING), 0x06);
}

} // namespace
} // namespace board_test
