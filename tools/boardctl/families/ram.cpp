// 1024 bytes of reserved RAM in the FPGA.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

constexpr int64_t ram_size = 1024;
constexpr int no_memory = 5;

// A positive result that is no byte count means that there was no memory.
void require(const Context &context, const std::string &operation, int result, size_t wanted)
{
    const int moved = context.count(operation, result);
    if (static_cast<size_t>(moved) == wanted) {
        return;
    }
    if (moved == no_memory) {
        context.check(operation, moved);
    }
    throw Trouble(operation + " moved " + std::to_string(moved) + " of " + std::to_string(wanted) +
                  " bytes");
}

Result read(Context &context)
{
    std::vector<uint8_t> data(context.as<size_t>("COUNT"));
    const int result = reserved_ram_read(context.as<int32_t>("OFFSET"), data.data(),
                                         static_cast<int32_t>(data.size()));
    require(context, "reserved_ram_read", result, data.size());
    return Result().set("data", bytes(data));
}

Result write(Context &context)
{
    const std::vector<uint8_t> data = context.bytes("DATA");
    const int result = reserved_ram_write(context.as<int32_t>("OFFSET"), data.data(),
                                          static_cast<int32_t>(data.size()));
    require(context, "reserved_ram_write", result, data.size());
    return Result().set("written", number(static_cast<int64_t>(data.size())));
}

std::string range_complaint(int64_t offset, int64_t count)
{
    return offset + count <= ram_size ? "" : "the range ends behind byte 1023";
}

std::string read_complaint(const Arguments &arguments)
{
    return range_complaint(arguments.number("OFFSET"), arguments.number("COUNT"));
}

std::string write_complaint(const Arguments &arguments)
{
    return range_complaint(arguments.number("OFFSET"),
                           static_cast<int64_t>(arguments.bytes("DATA").size()));
}

const Argument offset_argument = {"OFFSET", "first byte", Number{0, ram_size - 1, "", true}};

} // namespace

Family ram_family()
{
    return {
        .name = "ram",
        .summary = "Reserved RAM in the FPGA, 1024 bytes",
        .commands =
            {
                {.name = "read",
                 .summary = "Read from the reserved RAM",
                 .arguments = {offset_argument, {"COUNT", "how many bytes", Number{1, ram_size}}},
                 .output = {{"", "", Block::Layout::fields, {{"data", "data", Type::integers}}}},
                 .examples = {{"ram read 0 16", "The first 16 bytes"}},
                 .run = read,
                 .complaint = read_complaint},
                {.name = "write",
                 .summary = "Write to the reserved RAM",
                 .arguments = {offset_argument, {"DATA", "what to write", Bytes{1, ram_size}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"written", "bytes written", Type::integer}}}},
                 .examples = {{"ram write 0x10 1 2 3 --yes", "Three bytes from 0x10 on"}},
                 .run = write,
                 .complaint = write_complaint,
                 .asks = always("Write to the reserved RAM?")},
            },
        .meanings = {{"reserved_ram_write", no_memory, "no memory"}},
    };
}

} // namespace boardctl
