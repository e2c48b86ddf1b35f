// Health and availability of devices.

#include "tests/inventory/inventory_test.h"

namespace board_test {
namespace {

class HealthTest : public InventoryTest {};

TEST_F(HealthTest, OnlyPcieCardsHaveAHealth)
{
    for (int type = 0; type < 256; ++type) {
        SCOPED_TRACE(type);
        const bool served = type == 8;
        Outs outs;
        if (served) {
            outs.word = 5;
        }
        for (const uint32_t index : {0U, 3U, 0xFFFFFFFFU}) {
            expect_calls({{"health",
                           [=](Outs &o) {
                               return get_device_health_status(static_cast<uint8_t>(type), index,
                                                               &o.word);
                           },
                           served ? 0 : -2,
                           served ? ""
                                  : "get_device_health_status #:fail.DeviceTypeParameter = " +
                                        std::to_string(type) + "\r\n",
                           outs}});
        }
    }
}

TEST_F(HealthTest, EveryDeviceIsAvailable)
{
    for (int type = 0; type < 256; ++type) {
        expect_calls({{"availability",
                       [=](Outs &o) {
                           return get_device_availability(static_cast<uint8_t>(type), 7, &o.word);
                       },
                       0,
                       "",
                       {.word = 3}}});
    }
}

TEST_F(HealthTest, AnswersAndRefusals)
{
    expect_calls({
        {"PCIe", [](Outs &o) { return get_pcie_health_status(0, &o.word); }, 0, "", {.word = 5}},
        {"any PCIe",
         [](Outs &o) { return get_pcie_health_status(~0U, &o.word); },
         0,
         "",
         {.word = 5}},
        {"PCIe, null", [](Outs &) { return get_pcie_health_status(0, nullptr); }, -2,
         "get_pcie_health_status #: the para is null.\r\n"},
        {"health, null", [](Outs &) { return get_device_health_status(8, 0, nullptr); }, -2},
        {"health, null before type", [](Outs &) { return get_device_health_status(0, 0, nullptr); },
         -2},
        {"availability, null", [](Outs &) { return get_device_availability(0, 0, nullptr); }, -2,
         "get_device_availability: parameter invalid.\n"},
    });
}

} // namespace
} // namespace board_test
