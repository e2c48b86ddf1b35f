// Connection of the battery to the ADC.

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

constexpr uint32_t adc_control = 0x99;

class BatterySenseTest : public InventoryTest {
protected:
    void expect(int (*act)(), unsigned before, unsigned after)
    {
        set_reg(adc_control, static_cast<uint8_t>(before));
        const Bytes expected = with(registers(), adc_control, after);
        clear_trace();
        EXPECT_EQ(act(), 0);
        EXPECT_EQ(registers(), expected);
        char store[16];
        snprintf(store, sizeof(store), "store 99=%02x", after);
        expect_steps(locked({"load 99", store}));
    }
};

TEST_F(BatterySenseTest, BitSevenIsSetAndClearedAlone)
{
    for (unsigned value = 0; value < 256; ++value) {
        SCOPED_TRACE(value);
        fill_registers(static_cast<uint8_t>(~value));
        expect(spa310_adc_assert_action, value, value | 0x80);
        expect(spa310_adc_deassert_action, value, value & 0x7F);
    }
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
