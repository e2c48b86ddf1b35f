// Events of a trace in words: names of registers and bits, fields of records,
// ioctls, errors.
#ifndef VIRTUAL_BOARD_BACKEND_EVENT_TEXT_H
#define VIRTUAL_BOARD_BACKEND_EVENT_TEXT_H

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "virtual_board/trace.h"

namespace virtual_board {

// {"time_us", "operation", "device", "address", "count", "result", "text"} and,
// as the event has them, "bytes", "answer" (hexadecimal), "name" (of the register,
// the command, the request), "fields" and "answer_fields" (of the record),
// "before", "after" and "bits" (of a store), "error".
nlohmann::json event_json(const Event &event);

} // namespace virtual_board

#endif
