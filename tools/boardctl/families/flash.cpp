// The controller's own flash, by partition.

#include <board_hal.h>
#include <sys/stat.h>

#include <algorithm>

#include "boardctl/families/families.h"
#include "boardctl/families/files.h"
#include "boardctl/families/mtd.h"
#include "boardctl/families/phases.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"

namespace boardctl {

namespace {

constexpr int partitions_looked_at = 32;
// Between two looks at the progress.
constexpr uint32_t piece = 65536;

std::string path_of(const Arguments &arguments)
{
    return *mtd_path(arguments.text("PARTITION"));
}

struct Stretch {
    uint32_t offset;
    uint32_t length;
};

// --offset and --length, the latter up to the end of the partition.
Stretch stretch_of(const Context &context, const Mtd &mtd)
{
    const int64_t offset = context.number("--offset");
    const int64_t length =
        context.has("--length") ? context.number("--length") : mtd.size() - offset;
    if (offset >= mtd.size() || offset + length > mtd.size()) {
        throw Trouble("the stretch ends behind " + mtd.path() + ", which has " +
                      std::to_string(mtd.size()) + " bytes");
    }
    return {static_cast<uint32_t>(offset), static_cast<uint32_t>(length)};
}

Stretch stretch_of(const Context &context, const Mtd &mtd, const std::vector<uint8_t> &data)
{
    const int64_t offset = context.number("--offset");
    if (data.empty()) {
        throw Trouble(context.text("FILE") + " is empty");
    }
    if (offset + static_cast<int64_t>(data.size()) > mtd.size()) {
        throw Trouble(context.text("FILE") + " does not fit into " + mtd.path() + " at byte " +
                      std::to_string(offset));
    }
    return {static_cast<uint32_t>(offset), static_cast<uint32_t>(data.size())};
}

// Calls with each piece of the stretch, as place and length, and shows how far
// it is.
template <typename Visit>
void for_each_piece(Progress &progress, const Stretch &stretch, uint32_t size, const Visit &visit)
{
    for (uint32_t done = 0; done < stretch.length;) {
        const uint32_t length = std::min(size, stretch.length - done);
        visit(stretch.offset + done, length);
        done += length;
        progress.update(done, stretch.length);
    }
    progress.done();
}

Result list(Context &)
{
    Result result;
    for (int i = 0; i < partitions_looked_at; ++i) {
        const std::string path = "/dev/mtd" + std::to_string(i);
        struct stat status = {};
        if (stat(path.c_str(), &status) != 0) {
            continue;
        }
        const Mtd mtd(path, Mtd::For::reading);
        result.row("partitions",
                   {text(path), text(mtd.type()), hex(mtd.size(), 8), hex(mtd.erase_size(), 8)});
    }
    return result;
}

Result copy(Context &context)
{
    const std::string device = path_of(context.arguments());
    const std::string image = context.text("FILE");
    const long size = get_file_length(image.c_str());
    const int64_t offset = context.number("--offset");
    const int64_t length = context.has("--length") ? context.number("--length") : size - offset;
    const bool whole = offset == 0 && !context.has("--length");
    if (length < 1 && !whole) {
        throw Trouble(image + " has " + std::to_string(size) + " bytes");
    }
    const std::string again = "; copy the image again before the next start";
    Progress progress(context);
    const int result = follow_phases(
        progress,
        {{"erase", 20, device + " is erased in part and holds no image" + again},
         {"write", 70, device + " is erased, and the image is written in part" + again},
         {"verify", 100, "the image is on " + device + ", but was not compared in full"}},
        [&] {
            return whole ? mtd_flash_copy(device.c_str(), image.c_str())
                         : mtd_flash_copy_ex(device.c_str(), image.c_str(),
                                             static_cast<uint32_t>(offset),
                                             static_cast<uint32_t>(length));
        });
    context.check(whole ? "mtd_flash_copy" : "mtd_flash_copy_ex", result);
    interrupt::set_state("the image is on " + device);
    return Result().set("copied", number(length));
}

Result erase(Context &context)
{
    Mtd mtd(path_of(context.arguments()), Mtd::For::writing);
    const Stretch stretch = stretch_of(context, mtd);
    if (stretch.offset % mtd.erase_size() != 0 || stretch.length % mtd.erase_size() != 0) {
        throw Trouble(mtd.path() + " is erased in blocks of " + std::to_string(mtd.erase_size()) +
                      " bytes");
    }
    Progress progress(context);
    progress.stage("erase", mtd.path() + " is erased in part");
    for_each_piece(progress, stretch, mtd.erase_size(),
                   [&](uint32_t offset, uint32_t) { mtd.erase_block(offset); });
    interrupt::set_state("the stretch of " + mtd.path() + " is erased");
    return Result().set("erased", number(stretch.length));
}

Result read(Context &context)
{
    Mtd mtd(path_of(context.arguments()), Mtd::For::reading);
    const Stretch stretch = stretch_of(context, mtd);
    Progress progress(context);
    progress.stage("read", "the flash is as it was; nothing was saved");
    std::vector<uint8_t> all;
    for_each_piece(progress, stretch, piece, [&](uint32_t offset, uint32_t length) {
        const std::vector<uint8_t> data = mtd.read(offset, length);
        all.insert(all.end(), data.begin(), data.end());
    });
    write_file(context.text("FILE"), all);
    return Result().set("read", number(stretch.length));
}

// Ends the command at the first byte that differs.
void compare(Progress &progress, Mtd &mtd, const Stretch &stretch, const std::vector<uint8_t> &data)
{
    for_each_piece(progress, stretch, piece, [&](uint32_t offset, uint32_t length) {
        const std::vector<uint8_t> found = mtd.read(offset, length);
        const auto expected = data.begin() + (offset - stretch.offset);
        const auto [wrong, right] = std::mismatch(found.begin(), found.end(), expected);
        if (wrong != found.end()) {
            const uint32_t at = offset + static_cast<uint32_t>(wrong - found.begin());
            throw Trouble(mtd.path() + " differs from the file at byte " + hex(at, 8).shown + ": " +
                          hex(*wrong).shown + " instead of " + hex(*right).shown);
        }
    });
}

Result write(Context &context)
{
    const std::vector<uint8_t> data = read_file(context.text("FILE"));
    Mtd mtd(path_of(context.arguments()), Mtd::For::writing);
    const Stretch stretch = stretch_of(context, mtd, data);
    Progress progress(context);
    progress.stage("write", "the file is on " + mtd.path() + " in part");
    for_each_piece(progress, stretch, piece, [&](uint32_t offset, uint32_t length) {
        const auto first = data.begin() + (offset - stretch.offset);
        mtd.write(offset, {first, first + length});
    });
    progress.stage("verify", "the file is on " + mtd.path() + ", but was not compared in full");
    compare(progress, mtd, stretch, data);
    interrupt::set_state("the file is on " + mtd.path());
    return Result().set("written", number(stretch.length));
}

Result verify(Context &context)
{
    const std::vector<uint8_t> data = read_file(context.text("FILE"));
    Mtd mtd(path_of(context.arguments()), Mtd::For::reading);
    const Stretch stretch = stretch_of(context, mtd, data);
    Progress progress(context);
    progress.stage("verify", "the flash is as it was");
    compare(progress, mtd, stretch, data);
    return Result().set("same", number(stretch.length));
}

std::string question(const std::string &verb, const Arguments &arguments)
{
    return verb + " " + path_of(arguments) + "? What it holds is lost.";
}

const Argument offset_argument = {"--offset", "first byte on the partition",
                                  Number{0, UINT32_MAX, "", true}, false, "0"};

Argument length_argument(const std::string &help)
{
    return {"--length", help, Number{1, UINT32_MAX, "bytes"}, false};
}

std::vector<Block> count_of_bytes(const std::string &key, const std::string &heading)
{
    return {{"", "", Block::Layout::fields, {{key, heading, Type::integer}}}};
}

constexpr const char *make_image = "head -c 100000 /dev/urandom > image.bin";

} // namespace

Family flash_family()
{
    return {
        .name = "flash",
        .summary = "The controller's flash, by partition",
        .commands =
            {
                {.name = "list",
                 .summary = "Show the partitions",
                 .output = {{"partitions",
                             "Partitions",
                             Block::Layout::rows,
                             {{"device", "device", Type::string},
                              {"type", "type", Type::string},
                              {"size", "size", Type::integer, "bytes"},
                              {"erase_size", "erase block", Type::integer, "bytes"}}}},
                 .examples = {{"flash list", "Which partitions are there?"}},
                 .run = list},
                {.name = "copy",
                 .summary = "Copy an image to the start of a partition and compare it",
                 .description = "Erases as many blocks as the image touches.",
                 .arguments = {partition_argument(),
                               {"FILE", "the image", InputFile{}},
                               {"--offset", "first byte of the image in the file",
                                Number{0, UINT32_MAX, "", true}, false, "0"},
                               length_argument("how much of the file; all of it if absent")},
                 .output = count_of_bytes("copied", "bytes copied"),
                 .examples = {{"flash copy mtd5 image.bin --yes", "Install an image", make_image}},
                 .run = copy,
                 .asks =
                     [](const Arguments &arguments) { return question("Overwrite", arguments); }},
                {.name = "erase",
                 .summary = "Erase a partition, or whole blocks of it",
                 .arguments = {partition_argument(), offset_argument,
                               length_argument("how much; up to the end if absent")},
                 .output = count_of_bytes("erased", "bytes erased"),
                 .examples = {{"flash erase mtd5 --offset 0x10000 --length 131072 --yes",
                               "Erase two blocks"}},
                 .run = erase,
                 .asks = [](const Arguments &arguments) { return question("Erase", arguments); }},
                {.name = "read",
                 .summary = "Read a partition, or a stretch of it, into a file",
                 .arguments = {partition_argument(),
                               {"FILE", "file to save to", OutputFile{}},
                               offset_argument,
                               length_argument("how much; up to the end if absent")},
                 .output = count_of_bytes("read", "bytes read"),
                 .examples = {{"flash read mtd0 loader.bin", "Keep the boot loader"}},
                 .run = read},
                {.name = "write",
                 .summary = "Write a file to a partition without erasing, and compare it",
                 .description = "Flash only takes what was erased before; boardctl flash copy "
                                "erases.",
                 .arguments = {partition_argument(),
                               {"FILE", "the file", InputFile{}},
                               offset_argument},
                 .output = count_of_bytes("written", "bytes written"),
                 .examples = {{"flash write mtd5 image.bin --offset 0x20000 --yes",
                               "Write to erased flash", make_image}},
                 .run = write,
                 .asks =
                     [](const Arguments &arguments) { return question("Write to", arguments); }},
                {.name = "verify",
                 .summary = "Compare a partition with a file",
                 .arguments = {partition_argument(),
                               {"FILE", "the file", InputFile{}},
                               offset_argument},
                 .output = count_of_bytes("same", "bytes that are the same"),
                 .examples = {{"flash verify mtd5 erased.bin", "Is the flash erased?",
                               "head -c 65536 /dev/zero | tr '\\000' '\\377' > erased.bin"}},
                 .run = verify},
            },
        .meanings = {{"mtd_flash_copy", -1, "the image was not copied, or not compared"},
                     {"mtd_flash_copy_ex", -1, "the image was not copied, or not compared"}},
    };
}

} // namespace boardctl
