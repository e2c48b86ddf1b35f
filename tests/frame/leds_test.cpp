// Panel and board LEDs.

#include <limits.h>

#include <optional>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

class LedsTest : public StateTest {
protected:
    void SetUp() override
    {
        StateTest::SetUp();
        fill_registers(0);
    }

    struct Change {
        uint32_t offset;
        uint8_t set;
        uint8_t clear;
    };

    // What setting a LED does to the registers; nothing for an unknown LED.
    static std::optional<Change> change_of(int32_t led, uint8_t color, uint8_t on)
    {
        const auto single = [on](uint32_t offset) {
            return on == 1 ? Change{offset, 0x00, 0x80} : Change{offset, 0x80, 0x00};
        };
        switch (led) {
        case 0:
        case 4:
            return single(0xD8);
        case 5:
            return single(0xD9);
        case 192:
            return single(0x62);
        case 2:
            return on == 1      ? Change{0xD8, 0x00, 0x18}
                   : color == 2 ? Change{0xD8, 0x10, 0x08}
                                : Change{0xD8, 0x08, 0x10};
        default:
            return std::nullopt;
        }
    }

    struct Report {
        uint8_t color;
        uint8_t state;

        bool operator==(const Report &) const = default;
    };

    static std::optional<Report> report_of(int32_t led, uint8_t d8, uint8_t d9, uint8_t panel)
    {
        const auto top = [](uint8_t value) { return static_cast<uint8_t>(value >> 7); };
        switch (led) {
        case 0:
        case 4:
            return Report{1, top(d8)};
        case 5:
            return Report{0, top(d9)};
        case 192:
            return Report{0, top(static_cast<uint8_t>(~panel))};
        case 2: {
            static constexpr Report by_bits[] = {{3, 1}, {3, 0}, {2, 0}, {3, 0}};
            return by_bits[d8 >> 3 & 3];
        }
        default:
            return std::nullopt;
        }
    }
};

TEST_F(LedsTest, EveryLedEveryColorAndStateOverRegisterPatterns)
{
    const std::vector<int32_t> far_ids = {INT_MIN, INT_MAX, 256, 258, 448, -256};
    for (int32_t led = -2; led <= 200 + static_cast<int32_t>(far_ids.size()); ++led) {
        const int32_t id = led <= 200 ? led : far_ids[static_cast<size_t>(led - 201)];
        SCOPED_TRACE(id);
        for (const uint8_t color : Bytes{0, 1, 2, 3, 4, 5, 6}) {
            for (const uint8_t on : Bytes{0, 1}) {
                for (const uint8_t pattern : patterns) {
                    fill_registers(pattern);
                    Bytes expected = registers();
                    const auto change = change_of(id, color, on);
                    if (change) {
                        expected[change->offset] =
                            static_cast<uint8_t>((pattern | change->set) & ~change->clear);
                    }
                    ASSERT_EQ(set_led_status(0, id, color, on), change ? 0 : -2);
                    ASSERT_EQ(registers(), expected) << int{color} << ' ' << int{on};
                }
            }
        }
        clear_trace();
    }
    EXPECT_EQ(output(), "");
}

TEST_F(LedsTest, EveryLedIsReportedFromItsBits)
{
    for (int32_t led = -2; led <= 200; ++led) {
        SCOPED_TRACE(led);
        for (unsigned bits = 0; bits < 16; ++bits) {
            // Bits 3, 4 and 7 of 0xD8 with the rest as noise; 0xD9 and 0x62 against it.
            const auto d8 = static_cast<uint8_t>((bits & 1) << 7 | (bits >> 1 & 3) << 3 |
                                                 ((bits & 8) != 0 ? 0x67 : 0));
            const auto d9 = static_cast<uint8_t>(~d8);
            const auto panel = static_cast<uint8_t>((bits & 8) != 0 ? d8 : d9);
            set_reg(0xD8, d8);
            set_reg(0xD9, d9);
            set_reg(0x62, panel);
            Report out{untouched, untouched};
            const auto expected = report_of(led, d8, d9, panel);
            ASSERT_EQ(get_led_status(0, led, &out.color, &out.state), expected ? 0 : -2);
            ASSERT_EQ(out, expected.value_or(Report{untouched, untouched})) << bits;
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(LedsTest, Led2RemembersTheColorItWasPutOutWith)
{
    const struct {
        uint8_t color;
        uint8_t on;
        Report report;
    } rows[] = {{0, 1, {3, 1}}, {2, 1, {3, 1}}, {2, 0, {2, 0}}, {3, 0, {3, 0}}, {0, 0, {3, 0}}};
    for (const auto &row : rows) {
        EXPECT_EQ(set_led_status(0, 2, row.color, row.on), 0);
        Report out{untouched, untouched};
        EXPECT_EQ(get_led_status(0, 2, &out.color, &out.state), 0);
        EXPECT_EQ(out, row.report);
        EXPECT_EQ(board.leds().lit(2), row.on == 1);
    }
}

TEST_F(LedsTest, LitLedsReportZeroButLed192ReportsOne)
{
    for (const int32_t led : {0, 4, 5, 192}) {
        SCOPED_TRACE(led);
        for (const uint8_t on : Bytes{1, 0}) {
            EXPECT_EQ(set_led_status(0, led, 0, on), 0);
            EXPECT_EQ(board.leds().lit(led), on == 1);
            Report out{untouched, untouched};
            EXPECT_EQ(get_led_status(0, led, &out.color, &out.state), 0);
            EXPECT_EQ(out.state, led == 192 ? on : 1 - on);
        }
    }
}

TEST_F(LedsTest, ArgumentsAreCheckedInTheirOrder)
{
    const Bytes before = registers();
    const struct {
        int32_t fru;
        uint8_t on;
        uint8_t color;
        const char *text;
    } rows[] = {
        {1, 2, 7, "fru is a invalid parameter\n"},
        {1, 0, 0, "fru is a invalid parameter\n"},
        {INT_MAX, 1, 1, "fru is a invalid parameter\n"},
        {0, 2, 7, "bon is a invalid parameter\n"},
        {-1, 255, 0, "bon is a invalid parameter\n"},
        {0, 1, 7, "color is a invalid parameter\n"},
        {0, 0, 255, "color is a invalid parameter\n"},
    };
    for (const auto &row : rows) {
        for (const int32_t led : {0, 2, 192, 1}) {
            EXPECT_EQ(set_led_status(row.fru, led, row.color, row.on), -2);
            EXPECT_EQ(output(), row.text);
            expect_steps({});
        }
    }
    EXPECT_EQ(registers(), before);
}

TEST_F(LedsTest, ReadingRefusesOtherFrusSilentlyWithoutLock)
{
    for (const int32_t fru : {1, 2, INT_MAX}) {
        Report out{untouched, untouched};
        EXPECT_EQ(get_led_status(fru, 0, &out.color, &out.state), -2);
        EXPECT_EQ(out, (Report{untouched, untouched}));
    }
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(LedsTest, NegativeFrusAreTheBoard)
{
    for (const int32_t fru : {-1, INT_MIN}) {
        set_reg(0xD9, 0x80);
        EXPECT_EQ(set_led_status(fru, 5, 0, 1), 0);
        EXPECT_EQ(reg(0xD9), 0x00);
        Report out{untouched, untouched};
        EXPECT_EQ(get_led_status(fru, 5, &out.color, &out.state), 0);
        EXPECT_EQ(out, (Report{0, 0}));
    }
}

TEST_F(LedsTest, RegistersAreTouchedUnderTheLock)
{
    Report out{};
    set_led_status(0, 5, 0, 0);
    expect_steps(locked({"load d9", "store d9=80"}));
    set_led_status(0, 3, 0, 0);
    expect_steps(locked({}));
    get_led_status(0, 192, &out.color, &out.state);
    expect_steps(locked({"load 62"}));
    get_led_status(0, 2, &out.color, &out.state);
    expect_steps(locked({"load d8"}));
    get_led_status(0, 1, &out.color, &out.state);
    expect_steps(locked({}));
    set_led_dft_mode(1);
    expect_steps({});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
