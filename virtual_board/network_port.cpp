#include "virtual_board/network_port.h"

#include <errno.h>
#include <linux/ethtool.h>

namespace virtual_board {

long NetworkPort::ethtool(void *record) const
{
    auto *const value = static_cast<ethtool_value *>(record);
    if (value == nullptr) {
        return -EFAULT;
    }
    if (value->cmd != ETHTOOL_GLINK || !answers_) {
        return -EOPNOTSUPP;
    }
    value->data = link_;
    return 0;
}

} // namespace virtual_board
