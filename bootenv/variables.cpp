// The boot loader's variables by name.

#include <stdint.h>

#include "board_hal.h"

#define GETTER(suffix, variable)                                                                   \
    int get_uboot_##suffix(char *buf, uint32_t buflen)                                             \
    {                                                                                              \
        return get_uboot_env(variable, buf, buflen);                                               \
    }

#define SETTER(suffix, variable)                                                                   \
    int set_uboot_##suffix(const char *value)                                                      \
    {                                                                                              \
        return set_uboot_env(variable, value);                                                     \
    }

// Every index but 0 means the second image, deliberately; -1 and 2 do too.
#define GETTER_PER_IMAGE(suffix, first, second)                                                    \
    int get_uboot_##suffix(int32_t index, char *buf, uint32_t buflen)                              \
    {                                                                                              \
        return get_uboot_env(index == 0 ? (first) : (second), buf, buflen);                        \
    }

#define SETTER_PER_IMAGE(suffix, first, second)                                                    \
    int set_uboot_##suffix(int32_t index, const char *value)                                       \
    {                                                                                              \
        return set_uboot_env(index == 0 ? (first) : (second), value);                              \
    }

#define READ_ONLY(suffix, variable) GETTER(suffix, variable)
#define READ_WRITE(suffix, variable) GETTER(suffix, variable) SETTER(suffix, variable)
#define READ_WRITE_PER_IMAGE(suffix, first, second)                                                \
    GETTER_PER_IMAGE(suffix, first, second) SETTER_PER_IMAGE(suffix, first, second)

extern "C" {

// clang-format off
//         get_uboot_…, set_uboot_…    variable
READ_WRITE(baudrate,                   "baudrate")
READ_WRITE(bootdelay,                  "bootdelay")
READ_WRITE(bootorder,                  "bootorder")
READ_WRITE(bootretrynum,               "bootretrynum")
READ_WRITE(ethaddr,                    "ethaddr")
READ_WRITE(ipaddr,                     "ipaddr")
READ_WRITE(serverip,                   "serverip")
READ_WRITE(gatewayip,                  "gatewayip")
READ_WRITE(netmask,                    "netmask")
READ_WRITE(neverboot,                  "neverboot")
READ_WRITE(fac_resume,                 "fac_resume")
READ_ONLY (version,                    "ver")
READ_WRITE_PER_IMAGE(bootvalidflag,    "bootvalidflag0", "bootvalidflag1")
READ_WRITE_PER_IMAGE(imageversion,     "image0ver",      "image1ver")
// clang-format on

} // extern "C"
