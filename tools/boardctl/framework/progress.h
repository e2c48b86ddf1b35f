// Progress of long work: a bar on a terminal, one line per stage otherwise,
// documents with --json. It also says what an interruption leaves behind.
#ifndef BOARDCTL_PROGRESS_H
#define BOARDCTL_PROGRESS_H

#include <stdint.h>

#include <functional>
#include <string>

#include "boardctl/framework/context.h"

namespace boardctl {

class Progress {
public:
    explicit Progress(Context &context);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // Begins a stage at 0. `state` tells what state the board is in if the stage
    // is interrupted: "partition 3 is erased in part; write it again".
    void stage(const std::string &name, const std::string &state);
    // How far the stage is; what is less than before is not shown.
    void update(int64_t current, int64_t total);
    // The stage succeeded. A stage that is left by an exception failed.
    void done();

    // Runs a blocking operation on a thread of its own and calls `poll` about
    // ten times a second until it is done, and once after. Answers its result.
    static int follow(const std::function<int()> &operation, const std::function<void()> &poll);

private:
    void show();
    void end_line();

    Context &context_;
    bool bar_;
    bool in_stage_ = false;
    std::string name_;
    int64_t current_ = 0;
    int64_t total_ = 0;
    int64_t shown_percent_ = -1;
};

} // namespace boardctl

#endif
