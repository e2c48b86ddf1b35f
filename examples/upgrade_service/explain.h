// Plain words for what the library reports.
#ifndef UPGRADE_SERVICE_EXPLAIN_H
#define UPGRADE_SERVICE_EXPLAIN_H

#include <string>

#include "upgrade_service/transcript.h"

namespace upgrade_service {

// Why an operation failed; `otherwise` if the library said nothing that tells.
std::string reason(const Transcript &said, const std::string &otherwise);

// What a flash holds after the copies of one operation.
std::string contents(const Transcript &said);

} // namespace upgrade_service

#endif
