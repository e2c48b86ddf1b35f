// Temperatures of the air.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint8_t inlet_sensor = 1;

Value celsius(uint32_t degrees)
{
    return shown_as(number(degrees), std::to_string(degrees) + " C");
}

Result temp(Context &context)
{
    uint32_t degrees = 0;
    context.check("read_temp_inlet", read_temp_inlet(inlet_sensor, &degrees));
    return Result()
        .set("inlet", celsius(degrees))
        .set("sensor_channel", number(inlet_temp_addr[0].chan))
        .set("sensor_address", hex(inlet_temp_addr[0].addr));
}

} // namespace

Family temp_family()
{
    return {
        .name = "temp",
        .summary = "Temperature at the air inlet",
        .description = "The CPUs' temperatures come over PECI: boardctl peci.",
        .commands = {{.name = "",
                      .summary = "Show the temperature at the air inlet",
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"inlet", "inlet", Type::integer, "degrees Celsius"},
                                   {"sensor_channel", "sensor's I2C channel", Type::integer},
                                   {"sensor_address", "sensor's address", Type::integer,
                                    "8-bit form"}}}},
                      .examples = {{"temp", "How warm is the air?"}},
                      .run = temp}},
        .meanings = {{"read_temp_inlet", -1, "the sensor does not answer"}},
    };
}

} // namespace boardctl
