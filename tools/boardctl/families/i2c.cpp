// I2C slaves: channels 0 and 1 of the FPGA, and channel 2, the controller's own.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

constexpr int32_t soc_channel = 2;
constexpr int32_t fpga_channels = 2;
constexpr int64_t data_max = 64;
// Bytes of the offset that a read on channel 2 begins with.
constexpr size_t offset_size = 2;
// A result of i2c_read() beyond this is the FPGA driver's error number as it is.
constexpr int driver_errors_above = 9999;
// The others are reserved.
constexpr unsigned first_address = 0x10;
constexpr unsigned last_address = 0xEE;

struct Slave {
    int32_t channel;
    uint8_t address;
    int32_t delay_ms;
};

Slave slave_of(const Context &context)
{
    return {context.as<int32_t>("CHANNEL"), context.as<uint8_t>("ADDRESS"),
            context.as<int32_t>("--delay")};
}

// Ends the command unless the operation moved so many bytes.
void require(const Context &context, const std::string &operation, int result, size_t wanted)
{
    const int signed_result = result > driver_errors_above ? -result : result;
    const int moved = context.count(operation, signed_result);
    if (static_cast<size_t>(moved) != wanted) {
        throw Trouble(operation + " moved " + std::to_string(moved) + " of " +
                      std::to_string(wanted) + " bytes");
    }
}

Result read(Context &context)
{
    const Slave slave = slave_of(context);
    const auto count = context.as<int32_t>("COUNT");
    const auto offset = context.as<uint16_t>("--offset");
    const bool soc = slave.channel == soc_channel;
    std::vector<uint8_t> buffer(static_cast<size_t>(count) + offset_size);
    buffer[0] = static_cast<uint8_t>(offset >> 8);
    buffer[1] = static_cast<uint8_t>(offset);
    const int result = i2c_read(slave.channel, slave.address, buffer.data(), count, slave.delay_ms);
    require(context, "i2c_read", result, static_cast<size_t>(count));
    const auto first = buffer.begin() + (soc ? offset_size : 0);
    return Result().set("data", bytes({first, first + count}));
}

Result write(Context &context)
{
    const Slave slave = slave_of(context);
    const std::vector<uint8_t> data = context.bytes("DATA");
    const int result = i2c_write(slave.channel, slave.address, data.data(),
                                 static_cast<int32_t>(data.size()), slave.delay_ms);
    // Channel 2 does not count the two bytes of an offset.
    require(context, "i2c_write", result,
            data.size() - (slave.channel == soc_channel ? offset_size : 0));
    return Result().set("written", number(static_cast<int64_t>(data.size())));
}

Result transfer(Context &context)
{
    const Slave slave = slave_of(context);
    const std::vector<uint8_t> data = context.bytes("DATA");
    std::vector<uint8_t> answer(context.as<size_t>("COUNT"));
    const int result =
        i2c_write_read(slave.channel, slave.address, data.data(), static_cast<int32_t>(data.size()),
                       answer.data(), static_cast<int32_t>(answer.size()), slave.delay_ms);
    require(context, "i2c_write_read", result, answer.size());
    return Result().set("data", bytes(answer));
}

// Reads a byte. No byte is written: the write on channel 2 is the address alone.
bool answers(int32_t channel, uint8_t address)
{
    uint8_t byte = 0;
    const uint8_t nothing = 0;
    const int result = channel == soc_channel
                           ? i2c_write_read(channel, address, &nothing, 0, &byte, 1, 0)
                           : i2c_read(channel, address, &byte, 1, 0);
    return result == 1;
}

Result scan(Context &context)
{
    const auto channel = context.as<int32_t>("CHANNEL");
    Result result;
    for (unsigned address = first_address; address <= last_address; address += 2) {
        if (answers(channel, static_cast<uint8_t>(address))) {
            result.row("slaves", {hex(address), hex(address >> 1)});
        }
    }
    return result;
}

Result status(Context &)
{
    Result result;
    for (int32_t channel = 0; channel < fpga_channels; ++channel) {
        uint32_t controller = 0;
        const int controller_result = get_i2c_status(channel, &controller);
        uint32_t bus = 0;
        const int bus_result = get_i2c_bus_status(channel, &bus);
        result.row("channels", {number(channel), given(controller_result, number(controller)),
                                given(bus_result, number(bus))});
    }
    return result;
}

Result reset(Context &context)
{
    context.check("i2c_reset", i2c_reset(context.as<int32_t>("CHANNEL")));
    return {};
}

const Argument channel_argument = {"CHANNEL", "0 and 1 are the FPGA's, 2 is the controller's own",
                                   Number{0, 2}};
const Argument address_argument = {"ADDRESS",
                                   "slave address in 8-bit form, even: twice what i2cdetect shows",
                                   Number{0x02, 0xFE, "", true}};
const Argument count_argument = {"COUNT", "how many bytes to read", Number{1, data_max}};
const Argument delay_argument = {"--delay", "time that the slave needs", Number{0, 10000, "ms"},
                                 false, "0"};
const Argument data_argument = {"DATA", "what to write", Bytes{1, data_max}};

const std::vector<Block> data_blocks = {
    {"", "", Block::Layout::fields, {{"data", "data", Type::integers, "the bytes read"}}}};

std::string address_complaint(const Arguments &arguments)
{
    return arguments.number("ADDRESS") % 2 == 0 ? "" : "ADDRESS: is odd; give its 8-bit form";
}

std::string read_complaint(const Arguments &arguments)
{
    if (arguments.number("--offset") != 0 && arguments.number("CHANNEL") != soc_channel) {
        return "--offset: is for channel 2; elsewhere use boardctl i2c transfer";
    }
    return address_complaint(arguments);
}

std::string write_complaint(const Arguments &arguments)
{
    // The library would write it five times.
    if (arguments.number("CHANNEL") == soc_channel &&
        arguments.bytes("DATA").size() < offset_size) {
        return "DATA: on channel 2 it is two bytes or more";
    }
    return address_complaint(arguments);
}

} // namespace

Family i2c_family()
{
    return {
        .name = "i2c",
        .summary = "I2C slaves: read, write, find them",
        .description = "Addresses are in 8-bit form, as the board's documents give them: twice "
                       "the 7-bit form of other tools.",
        .commands =
            {
                {.name = "read",
                 .summary = "Read from a slave",
                 .description = "On channel 2 a two-byte offset is sent first.",
                 .arguments = {channel_argument,
                               address_argument,
                               count_argument,
                               {"--offset", "on channel 2, where to read from",
                                Number{0, 0xFFFF, "", true}, false, "0"},
                               delay_argument},
                 .output = data_blocks,
                 .examples = {{"i2c read 2 0xA0 16 --offset 0x100", "From an EEPROM"},
                              {"i2c read 0 0xA0 4", "What the slave gives next"}},
                 .run = read,
                 .complaint = read_complaint},
                {.name = "write",
                 .summary = "Write to a slave",
                 .arguments = {channel_argument, address_argument, data_argument, delay_argument},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"written", "bytes written", Type::integer}}}},
                 .examples = {{"i2c write 0 0xA0 0x01 0x00 0xDE 0xAD --yes",
                               "Two bytes to offset 0x100 of an EEPROM"}},
                 .run = write,
                 .complaint = write_complaint,
                 .asks = always("Write to an I2C slave?")},
                {.name = "transfer",
                 .summary = "Write to a slave, then read from it",
                 .arguments = {channel_argument, address_argument, count_argument, data_argument,
                               delay_argument},
                 .output = data_blocks,
                 .examples = {{"i2c transfer 0 0xA0 8 0x01 0x00", "From offset 0x100 of an EEPROM"},
                              {"i2c transfer 2 0x90 2 0x00", "A temperature sensor's reading"}},
                 .run = transfer,
                 .complaint = address_complaint},
                {.name = "scan",
                 .summary = "Find the slaves of a channel",
                 .description = "Reads a byte from every address. A slave that acts on being read "
                                "will do so.",
                 .arguments = {channel_argument},
                 .output = {{"slaves",
                             "Slaves",
                             Block::Layout::rows,
                             {{"address", "8-bit", Type::integer, "as boardctl takes it"},
                              {"address_7_bit", "7-bit", Type::integer, "as i2cdetect shows it"}}}},
                 .examples = {{"i2c scan 2", "Who is on channel 2?"}},
                 .run = scan},
                {.name = "status",
                 .summary = "Show the state of the FPGA's channels",
                 .output = {{"channels",
                             "Channels",
                             Block::Layout::rows,
                             {{"channel", "channel", Type::integer},
                              {"controller", "controller", Type::integer, "0 is no error", false,
                               true},
                              {"bus", "bus", Type::integer, "0 to 4", false, true}}}},
                 .examples = {{"i2c status", "Is a channel stuck?"}},
                 .run = status},
                {.name = "reset",
                 .summary = "Reset a channel of the FPGA",
                 .arguments = {{"CHANNEL", "which channel", Number{0, 1}}},
                 .examples = {{"i2c reset 0", "Free a channel that is stuck"}},
                 .run = reset},
            },
        .meanings = {{"i2c_read", -1, "the slave does not answer"},
                     {"i2c_write", -1, "the slave does not answer"},
                     {"i2c_write_read", -1, "the slave does not answer"}},
    };
}

} // namespace boardctl
