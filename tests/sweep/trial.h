// One run of an operation, in a process of its own, with one call of it made to
// fail or with none.
#ifndef TESTS_SWEEP_TRIAL_H
#define TESTS_SWEEP_TRIAL_H

#include <stddef.h>
#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/operations/header_contract.h"
#include "tests/operations/operation.h"
#include "tests/support/library_seam.h"

namespace board_test {

struct Injection {
    bool after_success = false; // in the second run of the operation
    size_t number = 0;          // of the call, from 0
    std::string function;
    Failure failure = Failure::error;
};

struct Trial {
    const LibraryOperation *operation;
    const Setting *setting;
    const Contract *contract;
    std::optional<Injection> injection;
};

std::string name_of(const Trial &trial);

struct Outcome {
    std::vector<SeamCall> calls;       // of the first run
    std::vector<SeamCall> calls_again; // of the second
    std::vector<std::string> complaints;
    std::set<size_t> exceptions; // numbers of those that it needed
};

// Runs from construction on; the outcome waits for its end.
class RunningTrial {
public:
    explicit RunningTrial(const Trial &trial);
    ~RunningTrial();

    RunningTrial(const RunningTrial &) = delete;
    RunningTrial &operator=(const RunningTrial &) = delete;

    Outcome outcome();

private:
    Trial trial_;
    int reports_ = -1;
    pid_t child_ = -1;
};

} // namespace board_test

#endif
