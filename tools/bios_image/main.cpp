// Builds, breaks and shows BIOS images.

#include <stdio.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/bios_image/breakages.h"
#include "tools/bios_image/image.h"
#include "tools/bios_image/reading.h"
#include "tools/bios_image/report.h"

namespace bios_image {

// 4096, 0x1000, 4K or 8M.
struct Number {
    uint32_t value = 0;
};

bool parse(std::string_view text, uint32_t &value)
{
    uint64_t factor = 1;
    if (text.ends_with('K') || text.ends_with('M')) {
        factor = text.back() == 'K' ? 1024 : 1024 * 1024;
        text.remove_suffix(1);
    }
    const bool hex = text.starts_with("0x");
    text.remove_prefix(hex ? 2 : 0);
    uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, hex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size() || number * factor > UINT32_MAX) {
        return false;
    }
    value = static_cast<uint32_t>(number * factor);
    return true;
}

// How the command line's types are read.
bool lexical_cast(const std::string &text, Number &number)
{
    return parse(text, number.value);
}

bool lexical_cast(const std::string &text, Region &region)
{
    const size_t colon = text.find(':');
    return colon != std::string::npos && parse(text.substr(0, colon), region.offset) &&
           parse(text.substr(colon + 1), region.length);
}

namespace {

constexpr int exit_done = 0;
constexpr int exit_not_found = 1;
constexpr int exit_refused = 2;

// What the user asked for cannot be done.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Bytes read_file(const std::string &path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream || std::filesystem::is_directory(path)) {
        throw Refusal("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write_file(const std::string &path, const Bytes &bytes)
{
    std::ofstream stream(path, std::ios::binary);
    stream.write(reinterpret_cast<const char *>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) {
        throw Refusal("cannot write " + path);
    }
}

// ---- build ----

struct BuildOptions {
    std::string out;
    Number size{0x10000};
    Number volume{0x1000};
    Number header_length{64};
    std::vector<Number> files;
    Number flag;
    std::vector<Region> regions;
    std::vector<Number> other_volumes;
    std::optional<Number> seed;
};

uint16_t as_16_bits(const Number &number, const char *what)
{
    if (number.value > UINT16_MAX) {
        throw Refusal(std::string(what) + " is 65535 at most");
    }
    return static_cast<uint16_t>(number.value);
}

Layout layout_of(const BuildOptions &options)
{
    Layout layout;
    layout.size = options.size.value;
    layout.volume_at = options.volume.value;
    layout.header_length = as_16_bits(options.header_length, "a header length");
    for (const Number &size : options.files) {
        layout.files.push_back(as_16_bits(size, "a file's size"));
    }
    layout.flag = options.flag.value;
    layout.regions = options.regions;
    for (const Number &at : options.other_volumes) {
        layout.other_volumes.push_back(at.value);
    }
    return layout;
}

int build_file(const BuildOptions &options)
{
    const Layout layout = layout_of(options);
    if (const std::string problem = problem_of(layout); !problem.empty()) {
        throw Refusal(problem);
    }
    std::optional<uint32_t> seed;
    if (options.seed) {
        seed = options.seed->value;
    }
    write_file(options.out, build(layout, seed));
    return exit_done;
}

void add_build(CLI::App &app, BuildOptions &options)
{
    CLI::App *const command = app.add_subcommand("build", "Build a well-formed image");
    const auto number = [&](const char *name, Number &value, const char *what) {
        command->add_option(name, value, what)->type_name("N");
    };
    command->add_option("OUT", options.out, "The file to write")->required()->type_name("");
    number("--size", options.size, "Bytes of the image (default 64K)");
    number("--flag", options.flag, "The update flag (default 0)");
    command
        ->add_option("--region", options.regions,
                     "A region that a partial update replaces; once for each, 11 at most")
        ->type_name("OFFSET:LENGTH")
        ->allow_extra_args(false);
    number("--volume", options.volume, "Where the OEM volume begins (default 4K)");
    number("--header-length", options.header_length,
           "Header length of the OEM volume (default 64; a flash is searched as if it were 64)");
    command
        ->add_option("--file", options.files,
                     "Size of a file before the OEM data, its header left out; once for each")
        ->type_name("N")
        ->allow_extra_args(false);
    command
        ->add_option("--other-volume", options.other_volumes,
                     "Where an ordinary volume begins; once for each")
        ->type_name("N")
        ->allow_extra_args(false);
    command
        ->add_option("--seed", options.seed,
                     "Fill the image with the pattern of this seed (default: erased, all 0xFF)")
        ->type_name("N");
}

// ---- break ----

struct BreakOptions {
    std::string name;
    std::string in;
    std::string out;
};

int break_file(const BreakOptions &options)
{
    const Breakage *const breakage = find_breakage(options.name);
    if (breakage == nullptr) {
        throw Refusal("no breakage \"" + options.name + "\"; --list-breakages names them");
    }
    Bytes image = read_file(options.in);
    const ImageReading reading = read_image(image, image.size());
    if (reading.outcome != Outcome::found) {
        throw Refusal(options.in + " is no well-formed image: " + name_of(reading.outcome));
    }
    breakage->apply(image, reading);
    write_file(options.out, image);
    return exit_done;
}

void add_break(CLI::App &app, BreakOptions &options)
{
    CLI::App *const command = app.add_subcommand("break", "Break a well-formed image");
    command->add_option("NAME", options.name, "One of --list-breakages")->required()->type_name("");
    command->add_option("IN", options.in, "The image to read")->required()->type_name("");
    command->add_option("OUT", options.out, "The file to write")->required()->type_name("");
}

int list_breakages()
{
    for (const Breakage &each : breakages()) {
        printf("%-26s%s\n", each.name, each.what);
    }
    return exit_done;
}

// ---- show ----

struct ShowOptions {
    std::string image;
    std::optional<Number> size;
    bool json = false;
};

int show_file(const ShowOptions &options)
{
    const Bytes image = read_file(options.image);
    const auto whole = static_cast<uint32_t>(image.size());
    const uint32_t size = options.size ? options.size->value : whole;
    fputs((options.json ? as_json(image, size) : as_text(image, size)).c_str(), stdout);
    return read_image(image, size).outcome == Outcome::found ? exit_done : exit_not_found;
}

void add_show(CLI::App &app, ShowOptions &options)
{
    CLI::App *const command = app.add_subcommand(
        "show", "Show what an update would find in an image, and in a flash with these contents");
    command->add_option("IMAGE", options.image, "The image to read")->required()->type_name("");
    command->add_option("--size", options.size, "The image size that the update is told")
        ->type_name("N");
    command->add_flag("--json", options.json, "Print JSON");
}

// ---- all ----

constexpr const char *footer =
    R"(Numbers are decimal or, with 0x, hexadecimal; K and M stand for 1024 and 1024*1024.

Exit codes:
  0  done
  1  show: an update would find no OEM data in the image
  2  wrong arguments, or a file that cannot be read or written

Examples:
  bios-image build new.bin --flag 0x02000000 --region 32K:4K --region 48K:8K --seed 1
  bios-image show new.bin
  bios-image show new.bin --json
  bios-image break no-data-file new.bin broken.bin
  bios-image --list-breakages)";

int run(int argc, char **argv)
{
    CLI::App app("Builds BIOS images for tests of BIOS updates, well-formed and broken.",
                 "bios-image");
    app.footer(footer);
    bool list = false;
    app.add_flag("--list-breakages", list, "Print what `break` can do");
    app.require_subcommand(0, 1);
    BuildOptions build;
    BreakOptions broken;
    ShowOptions show;
    add_build(app, build);
    add_break(app, broken);
    add_show(app, show);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? exit_done : exit_refused;
    }
    if (list) {
        return list_breakages();
    }
    if (app.got_subcommand("build")) {
        return build_file(build);
    }
    if (app.got_subcommand("break")) {
        return break_file(broken);
    }
    if (app.got_subcommand("show")) {
        return show_file(show);
    }
    throw Refusal("nothing to do; --help explains the subcommands");
}

} // namespace

} // namespace bios_image

int main(int argc, char **argv)
{
    try {
        return bios_image::run(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "bios-image: %s\n", error.what());
        return bios_image::exit_refused;
    }
}
