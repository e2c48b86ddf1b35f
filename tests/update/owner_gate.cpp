#include "tests/update/owner_gate.h"

#include <dlfcn.h>

#include <utility>

#include "board_hal.h"

namespace board_test {

namespace {

int refused = -1;
unsigned passing;
std::function<void()> look_on;

} // namespace

void refuse_owner(uint8_t owner, unsigned skip)
{
    refused = owner;
    passing = skip;
}

void when_given_back(std::function<void()> look)
{
    look_on = std::move(look);
}

} // namespace board_test

extern "C" int set_bios_owner(uint8_t owner)
{
    using namespace board_test;
    if (owner == 0 && look_on) {
        look_on();
    }
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
