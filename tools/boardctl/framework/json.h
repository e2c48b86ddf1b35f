// The JSON that the tool writes: one document per line.
#ifndef BOARDCTL_JSON_H
#define BOARDCTL_JSON_H

#include <string>
#include <vector>

#include "boardctl/framework/describe.h"
#include "boardctl/framework/failure.h"

namespace boardctl {

using Messages = std::vector<std::string>;

// {"command": …, "result": …, "messages": […]}
std::string result_document(const std::string &command, const Command &described,
                            const Result &result, const Messages &messages);

// {"command": …, "error": {…}, "messages": […]}; operation and code are left
// out where no operation of the library answered.
struct ErrorReport {
    int exit;
    std::string meaning;
    std::string operation = {};
    int code = 0;
};
std::string error_document(const std::string &command, const ErrorReport &error,
                           const Messages &messages);

// {"command": …, "progress": {"stage": …, "current": …, "total": …}}
std::string progress_document(const std::string &command, const std::string &stage, int64_t current,
                              int64_t total);

// {"command": …, "interrupted": {"signal": …, "state": …}}
std::string interrupted_document(const std::string &command, const std::string &signal,
                                 const std::string &state);

// The JSON schema of all that the family's commands write.
std::string schema_of(const Family &family);

} // namespace boardctl

#endif
