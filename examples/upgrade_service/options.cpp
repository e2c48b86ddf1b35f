#include "upgrade_service/options.h"

#include <stdlib.h>

#include <cctype>
#include <limits>
#include <map>

namespace upgrade_service {

const char *const usage =
    "usage: upgrade_service COMMAND [--json|--text] [--library-log FILE]\n"
    "\n"
    "  versions                  what runs on this board\n"
    "  state                     who has the BIOS flash\n"
    "  plan IMAGE                what an update of the BIOS would do, and why\n"
    "  bios IMAGE [--save OLD] [--full|--partial|--decide]\n"
    "                            saves the BIOS to OLD (IMAGE.old if not given), which\n"
    "                            must not exist, then updates it: the whole image, the\n"
    "                            regions that it lists, or what flash and image ask for\n"
    "  save OLD                  saves the BIOS to OLD\n"
    "  cpld FILE [--component N] programs a CPLD, 5 if not given\n"
    "  controller IMAGE --device /dev/mtdN [--offset N] [--length N]\n"
    "                            copies an image, or a stretch of it, to the start of\n"
    "                            a flash partition\n"
    "  release                   gives the BIOS flash back to the host\n"
    "  protect on|off            write-protects the BIOS flash, or does not\n"
    "\n"
    "  --flash-size N            bytes of the BIOS flash, 0x800000 if not given\n"
    "  --json, --text            lines of JSON, or words, wherever the output goes\n"
    "  --library-log FILE        keeps what the library itself says\n"
    "\n"
    "Numbers are decimal, or hexadecimal with 0x. The result is 0 if all is well, 1\n"
    "if the board cannot be opened, 2 for a wrong command, 3 if nothing was changed,\n"
    "4 if what was to be written is not there, 5 if the BIOS flash is not with the\n"
    "host, 130 if it was interrupted.\n";

namespace {

struct Words {
    std::vector<std::string> names; // the command and its operands
    std::map<std::string, std::string> options;

    bool has(const std::string &option) const { return options.count(option) != 0; }
    std::string value(const std::string &option, const std::string &otherwise) const
    {
        return has(option) ? options.at(option) : otherwise;
    }
};

struct OptionForm {
    const char *name;
    bool takes_value;
    const char *commands; // that know it, with a blank around each; null: all
};

constexpr OptionForm option_forms[] = {
    {"--json", false, nullptr},         {"--text", false, nullptr},
    {"--library-log", true, nullptr},   {"--save", true, " bios "},
    {"--full", false, " bios "},        {"--partial", false, " bios "},
    {"--decide", false, " bios "},      {"--flash-size", true, " bios plan save "},
    {"--component", true, " cpld "},    {"--device", true, " controller "},
    {"--offset", true, " controller "}, {"--length", true, " controller "},
};

bool knows(const OptionForm &form, const std::string &command)
{
    return form.commands == nullptr ||
           std::string(form.commands).find(' ' + command + ' ') != std::string::npos;
}

bool split(const std::vector<std::string> &arguments, Words &words)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string &word = arguments[i];
        if (word.compare(0, 2, "--") != 0) {
            words.names.push_back(word);
            continue;
        }
        const OptionForm *form = nullptr;
        for (const OptionForm &one : option_forms) {
            form = word == one.name ? &one : form;
        }
        if (form == nullptr || words.has(word) || (form->takes_value && ++i == arguments.size())) {
            return false;
        }
        words.options[word] = form->takes_value ? arguments[i] : "";
    }
    if (words.names.empty()) {
        return false;
    }
    for (const OptionForm &form : option_forms) {
        if (words.has(form.name) && !knows(form, words.names[0])) {
            return false;
        }
    }
    return true;
}

// Leaves the number as it is if there is no such option.
bool number(const Words &words, const char *option, uint32_t least, uint32_t most, uint32_t &to)
{
    if (!words.has(option)) {
        return true;
    }
    const std::string text = words.options.at(option);
    if (text.empty() || isdigit(static_cast<unsigned char>(text[0])) == 0) {
        return false;
    }
    const bool hexadecimal = text.compare(0, 2, "0x") == 0;
    char *end = nullptr;
    const unsigned long long value = strtoull(text.c_str(), &end, hexadecimal ? 16 : 10);
    to = static_cast<uint32_t>(value);
    return *end == '\0' && value >= least && value <= most;
}

bool parse_bios_job(const Words &words, BiosJob &job)
{
    using Extent = BiosJob::Extent;
    const struct {
        const char *option;
        Extent extent;
    } extents[] = {
        {"--full", Extent::full}, {"--partial", Extent::partial}, {"--decide", Extent::decide}};
    unsigned given = 0;
    for (const auto &one : extents) {
        if (words.has(one.option)) {
            ++given;
            job.extent = one.extent;
        }
    }
    job.image = words.names[1];
    job.save = words.value("--save", job.image + ".old");
    // The library reads a flash by the kilobyte, and OEM data by 4 KiB.
    return given <= 1 && number(words, "--flash-size", 4096, bios_flash_size, job.size) &&
           job.size % 4096 == 0;
}

bool parse_save(const Words &words, BiosJob &job)
{
    const bool good = parse_bios_job(words, job);
    job.save = words.names[1];
    return good;
}

bool parse_controller_job(const Words &words, ControllerJob &job)
{
    constexpr uint32_t most = std::numeric_limits<uint32_t>::max();
    job.image = words.names[1];
    job.device = words.value("--device", "");
    return !job.device.empty() && number(words, "--offset", 0, most, job.offset) &&
           number(words, "--length", 1, most, job.length);
}

bool parse_cpld_job(const Words &words, CpldJob &job)
{
    job.program = words.names[1];
    return number(words, "--component", 0, 255, job.component);
}

// A command: how many operands it has, and what becomes of them.
using Parse = bool (*)(const Words &words, std::function<End(Service &)> &command);

struct CommandForm {
    const char *name;
    size_t operands;
    Parse parse;
};

template <typename Job, bool (*parse_job)(const Words &, Job &), End (Service::*run)(const Job &)>
bool with_job(const Words &words, std::function<End(Service &)> &command)
{
    Job job;
    const bool good = parse_job(words, job);
    command = [job](Service &service) { return (service.*run)(job); };
    return good;
}

template <End (Service::*run)()>
bool without_job(const Words &, std::function<End(Service &)> &command)
{
    command = [](Service &service) { return (service.*run)(); };
    return true;
}

bool parse_protect(const Words &words, std::function<End(Service &)> &command)
{
    const bool on = words.names[1] == "on";
    command = [on](Service &service) { return service.protect(on); };
    return on || words.names[1] == "off";
}

constexpr CommandForm command_forms[] = {
    {"versions", 0, without_job<&Service::versions>},
    {"state", 0, without_job<&Service::state>},
    {"plan", 1, with_job<BiosJob, parse_bios_job, &Service::plan>},
    {"bios", 1, with_job<BiosJob, parse_bios_job, &Service::bios>},
    {"save", 1, with_job<BiosJob, parse_save, &Service::save>},
    {"cpld", 1, with_job<CpldJob, parse_cpld_job, &Service::cpld>},
    {"controller", 1, with_job<ControllerJob, parse_controller_job, &Service::controller>},
    {"release", 0, without_job<&Service::release>},
    {"protect", 1, parse_protect},
};

} // namespace

bool parse(const std::vector<std::string> &arguments, Options &options)
{
    Words words;
    if (!split(arguments, words) || (words.has("--json") && words.has("--text"))) {
        return false;
    }
    if (words.has("--json")) {
        options.format = Output::Format::json;
    } else if (words.has("--text")) {
        options.format = Output::Format::text;
    }
    options.library_log = words.value("--library-log", "");
    for (const CommandForm &form : command_forms) {
        if (words.names[0] == form.name) {
            return words.names.size() == form.operands + 1 && form.parse(words, options.command);
        }
    }
    return false;
}

} // namespace upgrade_service
