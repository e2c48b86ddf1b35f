// Serial-port routing, HDD backplane ports and SAS cable LEDs.

#include <limits.h>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

// Host, panel and SOL endpoint by routing code.
constexpr uint32_t endpoints[16][3] = {
    {255, 255, 255}, {4, 3, 5},       {3, 4, 5},       {1, 0, 4},
    {2, 4, 0},       {5, 4, 3},       {0, 4, 5},       {255, 255, 255},
    {255, 255, 255}, {255, 255, 255}, {255, 255, 255}, {255, 255, 255},
    {255, 255, 255}, {255, 255, 255}, {255, 255, 255}, {255, 255, 255},
};

struct Side {
    const char *name;
    int (*get)(uint32_t *);
    int (*set)(int32_t);
    // Codes of the endpoints 0, 3 and 4.
    unsigned code_0, code_3, code_4;

    // 0 for an endpoint that cannot be set.
    unsigned code(int32_t endpoint) const
    {
        switch (endpoint) {
        case 0:
            return code_0;
        case 3:
            return code_3;
        case 4:
            return code_4;
        default:
            return 0;
        }
    }
};

constexpr Side sides[] = {
    {"host", get_host_serial_connection, set_host_serial_connection, 6, 2, 1},
    {"panel", get_panel_serial_connection, set_panel_serial_connection, 3, 1, 4},
    {"sol", get_sol_serial_connection, set_sol_serial_connection, 4, 5, 3},
};

class SerialRoutingTest : public StateTest {
protected:
    static constexpr uint32_t routing = 0xF7;

    // A setter of a nibble leaves the other and all other registers.
    template <typename Set> void expect_nibble(Set set, unsigned kept_mask, unsigned nibble)
    {
        for (unsigned before = 0; before < 256; ++before) {
            fill_registers(static_cast<uint8_t>(~before));
            set_reg(routing, static_cast<uint8_t>(before));
            const Bytes expected = with(registers(), routing, (before & kept_mask) | nibble);
            ASSERT_EQ(set(), 0);
            ASSERT_EQ(registers(), expected) << before;
        }
        clear_trace();
        EXPECT_EQ(output(), "");
    }
};

TEST_F(SerialRoutingTest, GettersReportTheEndpointOfEveryCode)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(routing, static_cast<uint8_t>(value));
        for (size_t side = 0; side < 3; ++side) {
            uint32_t endpoint = untouched_word;
            EXPECT_EQ(sides[side].get(&endpoint), 0);
            EXPECT_EQ(endpoint, endpoints[value & 0xF][side]) << sides[side].name << value;
        }
    }
    clear_trace();
    for (const Side &side : sides) {
        uint32_t endpoint = 0;
        side.get(&endpoint);
        expect_steps(locked({"load f7"}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SerialRoutingTest, SettersWriteTheirCodeOverEveryContent)
{
    for (size_t side = 0; side < 3; ++side) {
        for (const int32_t endpoint : {0, 3, 4}) {
            SCOPED_TRACE(sides[side].name);
            const unsigned code = sides[side].code(endpoint);
            expect_nibble([&] { return sides[side].set(endpoint); }, 0xF0, code);
            for (size_t other = 0; other < 3; ++other) {
                uint32_t reported = untouched_word;
                EXPECT_EQ(sides[other].get(&reported), 0);
                EXPECT_EQ(reported, endpoints[code][other]);
            }
            uint32_t own = untouched_word;
            EXPECT_EQ(sides[side].get(&own), 0);
            EXPECT_EQ(own, static_cast<uint32_t>(endpoint));
        }
    }
    set_reg(routing, 0xA0);
    clear_trace();
    EXPECT_EQ(set_host_serial_connection(0), 0);
    expect_steps(locked({"load f7", "store f7=a6"}));
}

TEST_F(SerialRoutingTest, PanelOnEndpoint4LeavesTheHostOnEndpoint2)
{
    uint32_t endpoint = 0;
    EXPECT_EQ(set_panel_serial_connection(4), 0);
    EXPECT_EQ(get_host_serial_connection(&endpoint), 0);
    EXPECT_EQ(endpoint, 2U);
}

TEST_F(SerialRoutingTest, OtherEndpointsAreRefusedUnderTheLock)
{
    const Bytes before = registers();
    std::vector<int32_t> refused = {INT_MIN, -256, -252, INT_MAX, 256, 260, 65536};
    for (int32_t endpoint = -2; endpoint < 256; ++endpoint) {
        if (sides[0].code(endpoint) == 0) {
            refused.push_back(endpoint);
        }
    }
    for (const Side &side : sides) {
        for (const int32_t endpoint : refused) {
            EXPECT_EQ(side.set(endpoint), -1) << endpoint;
            EXPECT_EQ(output(),
                      std::string("set_") + side.name + "_serial_connection:dest invalid\n");
            expect_steps(locked({}));
        }
    }
    EXPECT_EQ(registers(), before);
}

TEST_F(SerialRoutingTest, NullIsRefused)
{
    expect_refused({
        {"host", [] { return get_host_serial_connection(nullptr); }, -1,
         "get_host_serial_connection:dest pointer is null\n"},
        {"panel", [] { return get_panel_serial_connection(nullptr); }, -1,
         "get_panel_serial_connection:dest pointer is null\n"},
        {"sol", [] { return get_sol_serial_connection(nullptr); }, -1,
         "get_sol_serial_connection:dest pointer is null\n"},
        {"third party", [] { return get_third_party_serial_connection(nullptr); }, -1,
         "get_third_party_serial_connection:dest pointer is null\n"},
        {"backplane", [] { return get_HDD_backplane_port_connection(0, nullptr); }, -1,
         "get_HDD_backplane_port_connection:dest pointer is null\n"},
        {"unknown backplane port", [] { return get_HDD_backplane_port_connection(3, nullptr); }, -1,
         "get_HDD_backplane_port_connection:dest pointer is null\n"},
    });
}

TEST_F(SerialRoutingTest, ThirdPartyPortIsTheUpperNibble)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(routing, static_cast<uint8_t>(value));
        uint32_t endpoint = untouched_word;
        EXPECT_EQ(get_third_party_serial_connection(&endpoint), 0);
        EXPECT_EQ(endpoint, value >> 4 <= 2 ? value >> 4 : 255U);
    }
    clear_trace();
    uint32_t endpoint = 0;
    get_third_party_serial_connection(&endpoint);
    expect_steps(locked({"load f7"}));
    for (const unsigned dest : {1U, 2U}) {
        expect_nibble([dest] { return set_third_party_serial_connection(dest); }, 0x0F, dest << 4);
    }
    set_reg(routing, 0x05);
    EXPECT_EQ(set_third_party_serial_connection(2), 0);
    expect_steps(locked({"load f7", "store f7=25"}));
}

TEST_F(SerialRoutingTest, OtherThirdPartyEndpointsAreRefused)
{
    const Bytes before = registers();
    for (const uint32_t dest : {0U, 3U, 4U, 16U, 255U, 257U, 0x80000001U, UINT_MAX}) {
        EXPECT_EQ(set_third_party_serial_connection(dest), -1);
        EXPECT_EQ(output(), "set_third_party_serial_connection:dest invalid\n");
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(board.trace.of(Operation::store).size(), 0U);
}

TEST_F(SerialRoutingTest, DirectionHalvesAreSetFromTheirOwnBits)
{
    for (const unsigned value : {0x00U, 0xFFU, 0xA5U, 0x5AU, 0x12U}) {
        const auto byte = static_cast<uint8_t>(value);
        expect_nibble([byte] { return set_serial_dir(1, byte); }, 0xF0, value & 0x0F);
        expect_nibble([byte] { return set_serial_dir(0, byte); }, 0x0F, value & 0xF0);
    }
    set_reg(routing, 0x34);
    EXPECT_EQ(set_serial_dir(0, 0x5A), 0);
    expect_steps(locked({"load f7", "store f7=54"}));
    const Bytes before = registers();
    for (unsigned which = 2; which < 256; ++which) {
        EXPECT_EQ(set_serial_dir(static_cast<uint8_t>(which), 0xFF), -1);
        expect_steps(locked({}));
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

TEST_F(SerialRoutingTest, DirectionIsAddedToTheCallersByteUnlocked)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(routing, static_cast<uint8_t>(value));
        for (const uint8_t before : Bytes{0x00, 0x01, 0x80, 0xE7, 0xFF}) {
            uint8_t low = before;
            uint8_t high = before;
            EXPECT_EQ(get_serial_dir(1, &low), 0);
            EXPECT_EQ(low, (before | (value & 0x0F)));
            EXPECT_EQ(get_serial_dir(0, &high), 0);
            EXPECT_EQ(high, (before | (value & 0xF0)));
        }
    }
    clear_trace();
    uint8_t out = 0;
    get_serial_dir(0, &out);
    expect_steps({"load f7"});
    for (unsigned which = 2; which < 256; ++which) {
        out = untouched;
        EXPECT_EQ(get_serial_dir(static_cast<uint8_t>(which), &out), -1);
        EXPECT_EQ(out, untouched);
        EXPECT_EQ(get_serial_dir(static_cast<uint8_t>(which), nullptr), -1);
    }
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(SerialRoutingTest, BackplanePortsAreNibbles)
{
    const struct {
        uint32_t offset;
        unsigned shift;
        const char *load;
    } ports[] = {{0x73, 4, "load 73"}, {0x73, 0, "load 73"}, {0x74, 4, "load 74"}};
    for (uint8_t port = 0; port < 3; ++port) {
        SCOPED_TRACE(int{port});
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(ports[port].offset, static_cast<uint8_t>(value));
            uint8_t out = untouched;
            EXPECT_EQ(get_HDD_backplane_port_connection(port, &out), 0);
            EXPECT_EQ(out, value >> ports[port].shift & 0xF);
        }
        clear_trace();
        uint8_t out = 0;
        get_HDD_backplane_port_connection(port, &out);
        expect_steps(locked({ports[port].load}));
    }
    for (unsigned port = 3; port < 256; ++port) {
        uint8_t out = untouched;
        EXPECT_EQ(get_HDD_backplane_port_connection(static_cast<uint8_t>(port), &out), 255);
        EXPECT_EQ(out, 0);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SerialRoutingTest, SasCableLedsTakeBit0)
{
    constexpr unsigned masks[] = {0x04, 0x02, 0x01};
    for (uint8_t cable = 0; cable < 3; ++cable) {
        for (unsigned value = 0; value < 256; ++value) {
            for (const uint8_t pattern : patterns) {
                set_reg(0x62, pattern);
                EXPECT_EQ(set_SAS_cable_led_status(cable, static_cast<uint8_t>(value)), 0);
                const bool on = (value & 1) != 0;
                EXPECT_EQ(reg(0x62), on ? pattern | masks[cable] : pattern & ~masks[cable]);
                EXPECT_EQ(board.leds().sas_cable_lit(cable), on);
            }
        }
    }
    set_reg(0x62, 0x80);
    clear_trace();
    EXPECT_EQ(set_SAS_cable_led_status(1, 1), 0);
    expect_steps(locked({"load 62", "store 62=82"}));
    const Bytes before = registers();
    for (unsigned cable = 3; cable < 256; ++cable) {
        EXPECT_EQ(set_SAS_cable_led_status(static_cast<uint8_t>(cable), 1), 255);
        expect_steps(locked({}));
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
