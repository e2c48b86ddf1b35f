// States that the update operations publish with set_upgrade_status.
#ifndef UPDATE_UPGRADE_STATE_H
#define UPDATE_UPGRADE_STATE_H

#include <stdint.h>

namespace board_hal {

constexpr uint32_t upgrade_in_progress = 1;
constexpr uint32_t upgrade_failed = 3;

} // namespace board_hal

#endif
