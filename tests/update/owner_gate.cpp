#include "tests/update/owner_gate.h"

#include <dlfcn.h>

#include "board_hal.h"

namespace board_test {

namespace {

int refused = -1;
unsigned passing;

} // namespace

void refuse_owner(uint8_t owner, unsigned skip)
{
    refused = owner;
    passing = skip;
}

} // namespace board_test

extern "C" int set_bios_owner(uint8_t owner)
{
    using namespace board_test;
    if (owner == refused) {
        if (passing == 0) {
            return -2;
        }
        --passing;
    }
    using Function = int (*)(uint8_t);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "set_bios_owner"));
    return real(owner);
}
