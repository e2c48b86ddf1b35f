// The host's BIOS flash, which the controller takes from the host to work on.

#include <board_hal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "boardctl/families/families.h"
#include "boardctl/families/files.h"
#include "boardctl/families/phases.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"

namespace boardctl {

namespace {

constexpr const char *device = "/dev/mtd6";
constexpr uint8_t the_bios = 0;
constexpr uint8_t controller = 1;
constexpr int64_t flash_size = 0x800000;
constexpr int64_t image_min = 4096;
constexpr size_t piece = 1024;
constexpr uint8_t erased = 0xFF;
// The copy is the whole update: its progress is published as 0 to 100.
constexpr uint32_t stages = 0;
constexpr uint32_t failed = 3;

bool controller_owns(const Context &context)
{
    uint8_t owner = 0;
    context.check("get_bios_owner", get_bios_owner(&owner));
    return owner == controller;
}

// The driver makes the device.
bool driver_loaded()
{
    struct stat status = {};
    return stat(device, &status) == 0;
}

std::string wiring(const Context &context)
{
    return std::string("the BIOS flash belongs to the ") +
           (controller_owns(context) ? "controller" : "host") + ", its driver is " +
           (driver_loaded() ? "loaded" : "not loaded");
}

// What an interruption now would leave behind.
void set_state(const Context &context, const std::string &contents)
{
    interrupt::set_state(contents + "; " + wiring(context) +
                         "; boardctl bios owner host gives it back");
}

Result status(Context &context)
{
    uint8_t write_protected = 0;
    context.check("get_bios_wp", get_bios_wp(the_bios, &write_protected));
    return Result()
        .set("owner", text(controller_owns(context) ? "controller" : "host"))
        .set("write_protected", yes_no(write_protected != 0))
        .set("driver_loaded", yes_no(driver_loaded()));
}

Result owner(Context &context)
{
    context.check("set_bios_owner", set_bios_owner(context.as<uint8_t>("OWNER")));
    return status(context);
}

Result protect(Context &context)
{
    context.check("set_bios_wp", set_bios_wp(the_bios, context.as<uint8_t>("STATE")));
    return status(context);
}

// The library shows how far a save is on standard output alone: "\r<42%>".
int64_t printed_percent()
{
    fflush(stdout);
    struct stat status = {};
    char tail[16] = {};
    fstat(STDOUT_FILENO, &status);
    const off_t from = std::max<off_t>(status.st_size - static_cast<off_t>(sizeof(tail) - 1), 0);
    if (pread(STDOUT_FILENO, tail, sizeof(tail) - 1, from) < 0) {
        return 0;
    }
    const std::string text(tail);
    const size_t percent = text.rfind('<');
    return percent == std::string::npos ? 0 : atoi(text.c_str() + percent + 1);
}

void save_flash(Context &context, const std::string &path, uint32_t size)
{
    Progress progress(context);
    progress.stage("read", "the BIOS flash is as it was");
    const int result =
        Progress::follow([&] { return get_bios(path.c_str(), size); },
                         [&] {
                             set_state(context, "the contents of the BIOS flash are as they were");
                             progress.update(printed_percent(), 100);
                         });
    context.check("get_bios", result);
    progress.done();
}

Result save(Context &context)
{
    const auto size = context.as<uint32_t>("--size");
    save_flash(context, context.text("FILE"), size);
    return Result().set("saved", number(size));
}

// The library reads a stretch only while the driver is loaded. Saving takes care
// of driver and owner, so that is what is done, from the start of the flash.
Result read(Context &context)
{
    const auto offset = context.as<uint32_t>("OFFSET");
    const auto count = context.as<uint32_t>("COUNT");
    const TemporaryFile saved;
    save_flash(context, saved.path(), offset + count);
    const std::vector<uint8_t> all = read_file(saved.path());
    if (all.size() != offset + count) {
        throw Trouble("the saved flash is too short");
    }
    return Result().set("data", bytes({all.begin() + offset, all.end()}));
}

std::vector<Phase> copy_phases(const std::string &what)
{
    return {{"erase", 40, "the BIOS flash is erased in part and holds no " + what},
            {"write", 80, "the BIOS flash holds the " + what + " in part"},
            {"verify", 100,
             "the BIOS flash holds the " + what +
                 ", which was not compared in "
                 "full"}};
}

// Copies with the library, which takes the flash and gives it back.
void copy_image(Context &context, const std::string &operation, const std::vector<Phase> &phases,
                const std::function<int()> &copy)
{
    Progress progress(context);
    const int result = follow_phases(progress, phases, copy, [&] {
        uint32_t percent = 0;
        uint32_t state = 0;
        get_upgrade_status(&percent, &state);
        const auto now =
            std::find_if(phases.begin(), phases.end() - 1,
                         [percent](const Phase &phase) { return percent <= phase.until; });
        set_state(context, now->state);
    });
    context.check(operation, result);
    interrupt::set_state("the BIOS flash is written and back with the host");
}

// --size, or what the file has behind --offset.
int64_t image_size(const Context &context)
{
    return context.has("--size")
               ? context.number("--size")
               : get_file_length(context.text("FILE").c_str()) - context.number("--offset");
}

int64_t checked_image_size(const Context &context)
{
    const int64_t size = image_size(context);
    if (size < image_min || size > flash_size) {
        throw Trouble("an image has 4096 to 8388608 bytes, not " + std::to_string(size));
    }
    return size;
}

Result load(Context &context)
{
    const std::string path = context.text("FILE");
    const auto offset = context.as<uint32_t>("--offset");
    const int64_t size = checked_image_size(context);
    // Several regions are copied one after the other, each erased, written and
    // compared.
    const std::vector<Phase> phases = {
        {"load", 100, "the BIOS flash holds old and new contents, or is erased in part"}};
    copy_image(context, "load_bios", phases, [&] {
        return load_bios(device, path.c_str(), offset, static_cast<uint32_t>(size), stages);
    });
    return Result().set("loaded", yes_no(true));
}

Result write_all(Context &context, const std::string &path, int64_t size, const std::string &what)
{
    copy_image(context, "load_bios_bin", copy_phases(what), [&] {
        return load_bios_bin(device, path.c_str(), 0, static_cast<int32_t>(size), stages);
    });
    return Result().set("written", number(size));
}

Result load_raw(Context &context)
{
    const std::string path = context.text("FILE");
    const int64_t size =
        context.has("--size") ? context.number("--size") : get_file_length(path.c_str());
    if (size < 1 || size > flash_size) {
        throw Trouble("a file has 1 to 8388608 bytes, not " + std::to_string(size));
    }
    return write_all(context, path, size, "file");
}

// bios_bulk_erase() makes one request and prints one text per byte of the flash,
// hundreds of megabytes, tells its progress nowhere else, and keeps the flash
// from the host when it fails. A file of erased bytes does the same by blocks.
Result erase(Context &context)
{
    const int64_t size = context.number("--size");
    const TemporaryFile blank;
    write_file(blank.path(), std::vector<uint8_t>(static_cast<size_t>(size), erased));
    write_all(context, blank.path(), size, "erased bytes");
    return Result().set("erased", number(size));
}

Result decide(Context &context)
{
    const auto size = static_cast<uint32_t>(checked_image_size(context));
    const std::string path = context.text("FILE");
    const auto offset = context.as<uint32_t>("--offset");
    set_upgrade_status(0, 0);
    Progress progress(context);
    progress.stage("compare", "the BIOS flash is as it was");
    const int result = Progress::follow(
        [&] { return isFullUpgrade(device, path.c_str(), offset, size); },
        [&] { set_state(context, "the contents of the BIOS flash are as they were"); });
    uint32_t percent = 0;
    uint32_t state = 0;
    get_upgrade_status(&percent, &state);
    // The one result means "no" and every failure.
    if (result != 0 && (state == failed || controller_owns(context))) {
        context.check("isFullUpgrade", result);
    }
    progress.done();
    return Result().set("full_upgrade", yes_no(result == 0));
}

Result write(Context &context)
{
    const std::vector<uint8_t> data = read_file(context.text("FILE"));
    const int64_t offset = context.number("OFFSET");
    const auto total = static_cast<int64_t>(data.size());
    if (total == 0 || offset + total > flash_size) {
        throw Trouble("the file is empty, or does not fit into the BIOS flash");
    }
    // The library reaches the device by a path that starts at the root.
    if (chdir("/") != 0) {
        throw file_trouble("/", "cannot be entered");
    }
    Progress progress(context);
    progress.stage("write", "the BIOS flash is as it was");
    for (size_t done = 0; done < data.size();) {
        set_state(context, std::to_string(done) + " of " + std::to_string(total) +
                               " bytes are on the BIOS flash");
        const size_t length = std::min(piece, data.size() - done);
        const int result = bios_write(static_cast<uint32_t>(offset) + static_cast<uint32_t>(done),
                                      data.data() + done, static_cast<int32_t>(length));
        context.count("bios_write", result);
        done += length;
        progress.update(static_cast<int64_t>(done), total);
    }
    progress.done();
    return Result().set("written", number(total));
}

const Argument file_argument = {"FILE", "the image", InputFile{}};
const Argument offset_option = {"--offset", "first byte of the image in the file",
                                Number{0, INT32_MAX, "", true}, false, "0"};

Argument size_option(int64_t min, const std::string &help, const std::string &fallback = {})
{
    return {"--size", help, Number{min, flash_size, "bytes"}, false, fallback};
}

const std::vector<Block> status_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {{"owner", "owner", Type::string, "host or controller"},
      {"write_protected", "write-protected", Type::boolean},
      {"driver_loaded", "driver loaded", Type::boolean, "whether the flash's device is there"}}}};

std::vector<Block> one_field(const std::string &key, const std::string &heading,
                             Type type = Type::integer)
{
    return {{"", "", Block::Layout::fields, {{key, heading, type}}}};
}

std::string read_complaint(const Arguments &arguments)
{
    return arguments.number("OFFSET") + arguments.number("COUNT") <= flash_size
               ? ""
               : "the range ends behind the flash";
}

// An image with an empty list of regions: a firmware volume at byte 4096 whose
// first file is the OEM data.
constexpr const char *make_image =
    "{ head -c 4112 /dev/zero; "
    "printf '\\215\\335\\335\\377\\226\\206\\213\\114\\251\\205\\047\\147\\007\\133\\117\\120'; "
    "head -c 16 /dev/zero; printf '\\100\\000'; head -c 14 /dev/zero; "
    "printf '\\271\\167\\177\\331\\362\\171\\317\\114\\242\\124\\364\\345\\242\\212\\217\\227'; "
    "head -c 4 /dev/zero; printf '\\304\\001'; head -c 61354 /dev/zero; } > bios.img";
constexpr const char *make_file = "head -c 65536 /dev/zero > bios.img";
constexpr const char *make_piece = "head -c 256 /dev/zero > piece.bin";

constexpr const char *take_note =
    "The flash is taken from the host for the time and given back; its driver is loaded and "
    "unloaded. Switch the host off first.";

constexpr const char *left_behind =
    "the flash could not be taken, worked on or given back; boardctl bios status tells who has it";

} // namespace

Family bios_family()
{
    return {
        .name = "bios",
        .summary = "The host's BIOS flash",
        .description = "The flash belongs to the host; the controller takes it to work on it and "
                       "gives it back. What is left when that fails: boardctl bios status.",
        .commands =
            {
                {.name = "status",
                 .summary = "Show whose the flash is, and its write protection",
                 .output = status_blocks,
                 .examples = {{"bios status", "Was the flash left with the controller?"}},
                 .run = status},
                {.name = "owner",
                 .summary = "Hand the flash over",
                 .arguments = {{"OWNER", "whose it becomes",
                                Word{{{"host", 0}, {"controller", controller}}}}},
                 .output = status_blocks,
                 .examples = {{"bios owner host --yes", "Give it back after a failure"}},
                 .run = owner,
                 .asks = always("Hand the BIOS flash over? A running host may lose it.")},
                {.name = "protect",
                 .summary = "Switch the flash's write protection",
                 .arguments = {{"STATE", "on or off", Word{{{"on", 1}, {"off", 0}}}}},
                 .output = status_blocks,
                 .examples = {{"bios protect on", "Nobody may write"}},
                 .run = protect},
                {.name = "save",
                 .summary = "Save the flash to a file",
                 .description = take_note,
                 .arguments = {{"FILE", "file to save to", OutputFile{}},
                               size_option(1, "how much, from the start", "8388608")},
                 .output = one_field("saved", "bytes saved"),
                 .examples = {{"bios save bios.bin --size 65536 --yes", "Keep the first blocks"}},
                 .run = save,
                 .asks = always("Take the BIOS flash from the host to read it?")},
                {.name = "load",
                 .summary = "Update the flash from an image",
                 .description =
                     std::string("Copies what the image's OEM data say: its upper half, or the "
                                 "regions that it lists. ") +
                     take_note,
                 .arguments = {file_argument, offset_option,
                               size_option(image_min, "size of the image; the rest of the file if "
                                                      "absent")},
                 .output = one_field("loaded", "loaded", Type::boolean),
                 .examples = {{"bios load bios.img --yes", "Update the host's firmware",
                               make_image}},
                 .run = load,
                 .asks = always("Overwrite the host's firmware?")},
                {.name = "load-raw",
                 .summary = "Write a file to the start of the flash, whatever either holds",
                 .description = take_note,
                 .arguments = {file_argument,
                               size_option(1, "how much of the file; all of it if absent")},
                 .output = one_field("written", "bytes written"),
                 .examples = {{"bios load-raw bios.img --yes", "Put a saved flash back",
                               make_file}},
                 .run = load_raw,
                 .asks = always("Overwrite the host's firmware?")},
                {.name = "decide",
                 .summary = "Show whether an image needs a full upgrade",
                 .description =
                     std::string("Compares the upgrade flags of image and flash. ") + take_note,
                 .arguments = {file_argument, offset_option,
                               size_option(image_min, "size of the image; the rest of the file if "
                                                      "absent")},
                 .output = one_field("full_upgrade", "full upgrade", Type::boolean),
                 .examples = {{"bios decide bios.img --yes", "Will it take long?", make_image}},
                 .run = decide,
                 .asks = always("Take the BIOS flash from the host to read it?")},
                {.name = "read",
                 .summary = "Read some bytes of the flash",
                 .description = std::string("The flash is read from its start: far bytes take "
                                            "their time. ") +
                                take_note,
                 .arguments = {{"OFFSET", "first byte on the flash",
                                Number{0, flash_size - 1, "", true}},
                               {"COUNT", "how many bytes", Number{1, piece}}},
                 .output = one_field("data", "data", Type::integers),
                 .examples = {{"bios read 0x1000 16 --yes", "A few bytes"}},
                 .run = read,
                 .complaint = read_complaint,
                 .asks = always("Take the BIOS flash from the host to read it?")},
                {.name = "write",
                 .summary = "Write a file to a place on the flash, without erasing",
                 .description = std::string("Loads and unloads the driver for every kilobyte: for "
                                            "small files. Nothing is compared. ") +
                                take_note,
                 .arguments = {{"OFFSET", "first byte on the flash",
                                Number{0, flash_size - 1, "", true}},
                               {"FILE", "the file", InputFile{}}},
                 .output = one_field("written", "bytes written"),
                 .examples = {{"bios write 0x10000 piece.bin --yes", "Write 256 bytes",
                               make_piece}},
                 .run = write,
                 .asks = always("Write to the host's firmware?")},
                {.name = "erase",
                 .summary = "Erase the flash",
                 .description =
                     std::string("The host does not start without its firmware. ") + take_note,
                 .arguments = {size_option(1, "how much, from the start", "8388608")},
                 .output = one_field("erased", "bytes erased"),
                 .examples = {{"bios erase --size 131072 --yes", "Erase the first two blocks"}},
                 .run = erase,
                 .asks = always("Erase the host's firmware?")},
            },
        .meanings = {{"get_bios", -2, left_behind},
                     {"get_bios", -7,
                      "the file cannot be made or the flash not read; boardctl "
                      "bios status tells who has it"},
                     {"load_bios", -2,
                      "the image has no OEM data or was not copied; the flash is "
                      "offered to the host, whatever it holds"},
                     {"load_bios_bin", -2,
                      "the file was not copied; the flash is offered to the "
                      "host, whatever it holds"},
                     {"bios_write", -2, left_behind},
                     {"isFullUpgrade", -2,
                      "the image has no OEM data, or the flash could not be "
                      "taken or given back"}},
    };
}

} // namespace boardctl
