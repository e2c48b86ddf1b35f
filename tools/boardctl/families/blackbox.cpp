// The black box: the FPGA's record of the host's last moments.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/files.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/progress.h"

namespace boardctl {

namespace {

constexpr size_t word_size = 4;

bool has_data(const Context &context)
{
    uint32_t present = 0;
    context.check("get_blackbox_data_lenth", get_blackbox_data_lenth(&present));
    return present != 0;
}

Result info(Context &context)
{
    uint32_t enabled = 0;
    context.check("get_blackbox_status", get_blackbox_status(&enabled));
    return Result().set("enabled", yes_no(enabled != 0)).set("has_data", yes_no(has_data(context)));
}

// Ends a fetch, however it goes on.
class Fetch {
public:
    explicit Fetch(const Context &context)
    {
        context.check("get_blackbox_data_prepare",
                      get_blackbox_data_prepare(context.as<uint32_t>("--first"),
                                                context.as<uint32_t>("--second")));
    }
    ~Fetch()
    {
        if (!done_) {
            set_blackbox_data_done();
        }
    }
    Fetch(const Fetch &) = delete;
    Fetch &operator=(const Fetch &) = delete;
    void done(const Context &context)
    {
        done_ = true;
        context.check("set_blackbox_data_done", set_blackbox_data_done());
    }

private:
    bool done_ = false;
};

std::vector<uint8_t> fetch(Context &context)
{
    const auto wanted = context.as<size_t>("--length");
    Progress progress(context);
    progress.stage("read", "the fetch is under way, the record stays; nothing was saved");
    Fetch fetch(context);
    std::vector<uint8_t> data;
    while (data.size() < wanted) {
        uint32_t word = 0;
        context.check("get_blackbox_data", get_blackbox_data(&word));
        for (size_t i = 0; i < word_size && data.size() < wanted; ++i) {
            data.push_back(static_cast<uint8_t>(word >> (8 * i)));
        }
        progress.update(static_cast<int64_t>(data.size()), static_cast<int64_t>(wanted));
    }
    fetch.done(context);
    progress.done();
    return data;
}

Result save(Context &context)
{
    if (!has_data(context)) {
        return Result().set("saved", number(0));
    }
    const std::vector<uint8_t> data = fetch(context);
    write_file(context.text("FILE"), data);
    return Result().set("saved", number(static_cast<int64_t>(data.size())));
}

template <uint32_t state> Result set_enabled(Context &context)
{
    context.check("set_blackbox_status", set_blackbox_status(state));
    return info(context);
}

const std::vector<Block> info_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {{"enabled", "enabled", Type::boolean, "whether it records"},
      {"has_data", "has data", Type::boolean, "whether there is a record"}}}};

} // namespace

Family blackbox_family()
{
    return {
        .name = "blackbox",
        .summary = "The record of the host's last moments",
        .commands =
            {
                {.name = "info",
                 .summary = "Show whether it records and whether there is a record",
                 .output = info_blocks,
                 .examples = {{"blackbox info", "Is there a record?"}},
                 .run = info},
                {.name = "save",
                 .summary = "Save the record to a file",
                 .description = "The FPGA does not tell how long the record is: behind its end "
                                "zeros follow. Without a record no file is made.",
                 .arguments = {{"FILE", "file to save to", OutputFile{}},
                               {"--first", "first fetch parameter, passed to the FPGA",
                                Number{0, UINT32_MAX, "", true}, false, "0"},
                               {"--second", "second fetch parameter, passed to the FPGA",
                                Number{0, UINT32_MAX, "", true}, false, "0"},
                               {"--length", "how much to read", Number{1, 0x1000000, "bytes"},
                                false, "4096"}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"saved", "bytes saved", Type::integer, "0 without a record"}}}},
                 .examples = {{"blackbox save record.bin", "Keep the record"}},
                 .run = save},
                {.name = "enable",
                 .summary = "Let it record",
                 .output = info_blocks,
                 .examples = {{"blackbox enable", "Record from now on"}},
                 .run = set_enabled<1>},
                {.name = "disable",
                 .summary = "Let it record no more",
                 .output = info_blocks,
                 .examples = {{"blackbox disable --yes", "Record no more"}},
                 .run = set_enabled<0>,
                 .asks = always("Stop recording the host's last moments?")},
            },
        .meanings = {{"get_blackbox_data_prepare", -5, "the FPGA has no data ready"}},
    };
}

} // namespace boardctl
