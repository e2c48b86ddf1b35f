#include "boardctl/framework/meanings.h"

namespace boardctl {

namespace {

struct CommonMeaning {
    int code;
    const char *words;
};

constexpr CommonMeaning common_meanings[] = {
    {-1, "missing pointer or invalid argument"},
    {-2, "unsupported selector or value"},
    {-3, "the device cannot be opened"},
    {-4, "the device is already open"},
    {-5, "a device or FPGA step failed"},
    {-6, "no memory"},
    {-7, "a file or read failed"},
    {-9, "nothing to fetch, or the interface is not idle"},
    {-13, "the check of the FPGA bitstream or PECI bridge failed"},
};

// Beyond this, a driver's error number comes back negated.
constexpr int driver_errors_below = -9999;

} // namespace

std::string meaning_of(const Family &family, const std::string &operation, int code)
{
    for (const Meaning &meaning : family.meanings) {
        if (meaning.operation == operation && meaning.code == code) {
            return meaning.words;
        }
    }
    if (code < driver_errors_below) {
        return "the FPGA driver's error number " + std::to_string(-static_cast<int64_t>(code));
    }
    for (const CommonMeaning &meaning : common_meanings) {
        if (meaning.code == code) {
            return meaning.words;
        }
    }
    return "a result that is not documented";
}

} // namespace boardctl
