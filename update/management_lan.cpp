// Link of the management network port.

#include <errno.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "board_hal.h"
#include "platform/vos.h"

static_assert(SIOCETHTOOL == 0x8946);
static_assert(ETHTOOL_GLINK == 10);
static_assert(sizeof(ethtool_value) == 8);
static_assert(IFNAMSIZ == 16);
// Its union holds pointers: 32 bytes on the controller.
static_assert(sizeof(ifreq) == 32 || sizeof(void *) > 4);

namespace {

constexpr uint32_t management_port = 0;
constexpr char management_interface[] = "eth0";

// The link value, or -1 after a message.
int32_t query_link(int control, ifreq &request)
{
    ethtool_value value = {};
    value.cmd = ETHTOOL_GLINK;
    request.ifr_data = reinterpret_cast<char *>(&value);
    if (ioctl(control, SIOCETHTOOL, &request) >= 0) {
        return static_cast<int32_t>(value.data);
    }
    if (errno == EOPNOTSUPP) {
        printf("No data available\n");
    } else {
        perror("Cannot get link status");
    }
    return -1;
}

} // namespace

extern "C" {

int get_mgnt_lan_status(uint32_t port, uint8_t *link)
{
    if (port != management_port) {
        puts("invalid port number");
        return -1;
    }
    ifreq request = {};
    vos_strncpy(request.ifr_name, sizeof(request.ifr_name), management_interface,
                sizeof(management_interface) - 1);
    const int control = socket(AF_INET, SOCK_DGRAM, 0);
    if (control < 0) {
        perror("Cannot get control socket");
        return -1;
    }
    const int32_t value = query_link(control, request);
    if (value >= 0) {
        *link = static_cast<uint8_t>(value);
    }
    close(control);
    return value >= 0 ? 0 : -1;
}

} // extern "C"
