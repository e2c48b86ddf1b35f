#include "upgrade_service/explain.h"

#include <string_view>

namespace upgrade_service {

namespace {

struct Meaning {
    std::string_view message; // or a part of it
    const char *words;
};

// In this order: the first that was said is the cause. Some of the library's
// texts name another thing than the one that went wrong.
constexpr Meaning meanings[] = {
    {"Malloc src mem fail!", "there is no memory for the copy"},
    {"Malloc dest mem fail!", "there is no memory for the copy"},
    {"get_bios:no memory", "there is no memory for a copy of the whole flash"},
    {"for read/write access", "the flash device cannot be opened: its driver is not loaded, or "
                              "did not find the flash"},
    {"While trying to open", "the image cannot be opened"},
    {"While trying to get the file status", "the image cannot be opened"},
    {"This doesn't seem to be a valid MTD flash device!", "the device is no flash"},
    {"won't fit into", "the image is larger than the flash partition"},
    {"offset illeagal!", "the stretch ends behind the end of the image"},
    {"too small!", "the image ends before a region that it lists"},
    {"won't fit erase", "a region of the image does not begin at an erase block of the flash"},
    {"While erasing blocks", "the flash did not take an erase"},
    {"Short write count returned", "the flash took a part of the data only"},
    {"While writing data", "the flash did not take the data"},
    {"File does not seem to match", "the flash took all the data, and holds something else: it "
                                    "is worn, or data was lost on the way"},
    {"While seeking to start of", "the flash or the image cannot be positioned"},
    {"Short read count returned", "the flash or the image gave less than was asked for"},
    {"While reading data", "the flash or the image cannot be read"},
    {"read upgrade flag fail from file",
     "the image cannot be read, or holds no OEM data and hence no upgrade flag"},
    {"set bios owner fails.", "the board does not give the flash back to the host"},
    {"get_bios:open file", "the file for the old BIOS cannot be created"},
    {"get_bios:read fail", "the flash cannot be read, or its driver is not loaded"},
    {"get_bios:get fail", "the file for the old BIOS cannot be written: is its disk full?"},
    {"cpld_init: open fail", "the CPLD's driver cannot be opened"},
    {"allocate space for", "there is no memory for the program"},
    {"is invalid", "the program is empty, or is not there"},
    {"open file ", "the program cannot be opened for reading and writing"},
    {"read file ", "the program cannot be read"},
    {"get_pcb_ver or get_board_id", "the program is larger than the driver can take"},
};

std::string count(unsigned long number, const char *unit, const char *units)
{
    return std::to_string(number) + ' ' + (number == 1 ? unit : units);
}

// Of the copy that was not completed. The step that was begun last is in doubt.
std::string broken_contents(const Copy &copy, bool differs)
{
    const std::string until = std::to_string(copy.done) + " of " + count(copy.total, "KiB", "KiB");
    switch (copy.phase) {
    case Phase::erase:
        if (copy.phase_done) {
            return "erased and empty";
        }
        if (copy.done == 0) {
            return "as before";
        }
        return "partly erased: " + count(copy.done - 1, "block is", "blocks are") +
               " empty, the next one is in doubt, and the rest of " +
               count(copy.total, "block", "blocks") + " is as it was";
    case Phase::write:
        return copy.phase_done ? "all written, but not checked"
                               : "erased and partly written: at most " + until;
    case Phase::verify:
        return (differs ? "all written, but not as the image is: the check ended at "
                        : "all written, but not checked to its end: the check ended at ") +
               until;
    }
    return "";
}

} // namespace

std::string reason(const Transcript &said, const std::string &otherwise)
{
    for (const Meaning &meaning : meanings) {
        if (said.says(meaning.message)) {
            return meaning.words;
        }
    }
    return otherwise;
}

std::string contents(const Transcript &said)
{
    if (!said.touched_flash()) {
        return "as before";
    }
    const std::string whole = count(said.verified, "stretch", "stretches") + " (" +
                              count(said.verified_kib, "KiB", "KiB") + ") written and verified";
    if (!said.broken) {
        return whole;
    }
    const std::string broken =
        broken_contents(*said.broken, said.says("File does not seem to match"));
    return said.verified == 0 ? broken : whole + ", the next one " + broken;
}

} // namespace upgrade_service
