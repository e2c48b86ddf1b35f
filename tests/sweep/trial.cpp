#include "tests/sweep/trial.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "tests/support/captured_output.h"
#include "tests/support/lock_watch.h"
#include "tests/sweep/exceptions.h"
#include "virtual_board/shim/shim.h"
#include "virtual_board/shim/window_watch.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace board_test {

namespace {

// A run takes milliseconds; with sanitizers on a busy machine, seconds.
constexpr unsigned hang_seconds = 60;

std::optional<size_t> exception_for(const Trial &trial, Deviation deviation)
{
    for (size_t i = 0; i < std::size(exceptions); ++i) {
        const Exception &row = exceptions[i];
        if (trial.injection && row.operation == trial.operation->name &&
            row.deviation == deviation &&
            (row.call == "*" || row.call == trial.injection->function)) {
            return i;
        }
    }
    return {};
}

// What the virtual board itself says about paths that it does not know.
std::string without_notes(const std::string &errors)
{
    std::istringstream stream(errors);
    std::string kept;
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with("virtual board: ")) {
            kept += line + "\n";
        }
    }
    return kept;
}

// What the library holds at a moment.
struct Held {
    SeamHoldings things;
    std::vector<std::string> locks;
};

std::vector<std::string> changed(std::vector<std::string> locks, const Change &change)
{
    for (const std::string &lock : change.gives) {
        std::erase(locks, lock);
    }
    locks.insert(locks.end(), change.takes.begin(), change.takes.end());
    std::sort(locks.begin(), locks.end());
    return locks;
}

// The child's side.
class Run {
public:
    Run(const Trial &trial, FILE *reports)
        : trial_(trial), reports_(reports), board_(trial.setting->board), locks_(board_)
    {
        virtual_board::shim::install(&board_);
        if (trial.setting->started) {
            ipmc_driver_init();
        }
    }

    void go()
    {
        if (!trial_.injection) {
            once({}, "");
            report_calls("call");
            check_reach();
            recover();
            once({}, "a second time: ");
            report_calls("again");
            return;
        }
        if (trial_.injection->after_success) {
            once({}, "beforehand: ");
            recover();
        }
        if (!once(trial_.injection, "")) {
            complain("the call to be failed was not made");
        }
        recover();
        once({}, "afterwards: ");
    }

private:
    bool once(const std::optional<Injection> &injection, const std::string &when)
    {
        const Setting &setting = *trial_.setting;
        if (setting.prepare) {
            setting.prepare(board_);
        }
        output_.take();
        errors_.take();
        const Held before = held();
        board_.trace.clear();
        injection ? seam::start(injection->number, injection->failure) : seam::start();
        const long long result = setting.call();
        seam::stop();
        succeeded_ = good(result);
        check_result(result, when, !injection);
        check_output(when);
        check_held(before, when);
        return seam::struck();
    }

    bool good(long long result) const
    {
        const long long expected = trial_.setting->good;
        return expected == a_descriptor ? result >= 0 : result == expected;
    }

    void recover()
    {
        if (succeeded_ && trial_.setting->undo) {
            trial_.setting->undo();
        }
    }

    Held held() const { return {seam::held(), locks_.held()}; }

    void check_result(long long result, const std::string &when, bool must_succeed)
    {
        const std::string shown = when + "result " + std::to_string(result);
        if (must_succeed && !succeeded_) {
            trial_.injection
                ? deviates(Deviation::fails_again, shown)
                : complain(shown + " instead of " + std::to_string(trial_.setting->good));
        } else if (!succeeded_ && !promises(*trial_.contract, result, seam::injected())) {
            complain(shown + " is not documented");
        } else if (!trial_.injection && !trial_.contract->nothing && !trial_.contract->value &&
                   !promises(*trial_.contract, result, result)) {
            complain(shown + " is not documented, although it is the good one");
        }
    }

    void check_output(const std::string &when)
    {
        const std::string output = output_.take();
        if (!promises_output(*trial_.contract, output)) {
            complain(when + "undocumented output: " + output);
        }
        const std::string errors = without_notes(errors_.take());
        if (!promises_errors(*trial_.contract, errors)) {
            complain(when + "undocumented output on standard error: " + errors);
        }
    }

    void check_held(const Held &before, const std::string &when)
    {
        const Change change = succeeded_ ? trial_.setting->change : Change{};
        const Held after = held();
        check_count("memory", before.things.memory, after.things.memory, 0, Deviation::keeps_memory,
                    when);
        check_count("descriptors", before.things.descriptors, after.things.descriptors,
                    change.descriptors, Deviation::keeps_descriptor, when);
        check_count("streams", before.things.streams, after.things.streams, 0,
                    Deviation::keeps_stream, when);
        check_count("mappings", before.things.mappings, after.things.mappings, change.mappings,
                    Deviation::keeps_mapping, when);
        if (seam::stray_closes() != 0) {
            deviates(Deviation::closes_stray, when + "closes what it does not hold");
        }
        if (after.locks != changed(before.locks, change)) {
            std::string names;
            for (const std::string &lock : after.locks) {
                names += " " + lock;
            }
            deviates(Deviation::keeps_lock, when + "held locks:" + names);
        }
    }

    void check_count(const char *what, size_t before, size_t after, int change, Deviation deviation,
                     const std::string &when)
    {
        const long long expected = static_cast<long long>(before) + change;
        if (static_cast<long long>(after) != expected) {
            deviates(deviation, when + what + ": " + std::to_string(after) + " instead of " +
                                    std::to_string(expected));
        }
    }

    void check_reach()
    {
        const auto &made = seam::calls();
        const bool can_fail = std::any_of(made.begin(), made.end(),
                                          [](const SeamCall &call) { return call.failures != 0; });
        const Reach reach = trial_.operation->reach;
        if (reach == Reach::nothing && !(made.empty() && board_.trace.events().empty())) {
            complain("reaches out, although it is listed as reaching nothing");
        } else if (reach == Reach::registers && can_fail) {
            complain("makes calls, although it is listed as reaching registers alone");
        } else if (reach == Reach::registers && virtual_board::shim::can_watch() &&
                   board_.trace.events().empty() && trial_.operation->settings.size() == 1) {
            complain("reaches nothing, although it is listed as reaching registers");
        } else if (reach == Reach::calls && !can_fail && trial_.operation->settings.size() == 1) {
            complain("makes no call, although it is listed as making some");
        }
    }

    void report_calls(const char *kind)
    {
        for (const SeamCall &call : seam::calls()) {
            fprintf(reports_, "%s %s %u\n", kind, call.function.c_str(), call.failures);
        }
    }

    void complain(std::string text)
    {
        std::replace(text.begin(), text.end(), '\n', '|');
        std::replace(text.begin(), text.end(), '\r', '<');
        fprintf(reports_, "complaint %s\n", text.c_str());
    }

    void deviates(Deviation deviation, const std::string &text)
    {
        if (const auto allowed = exception_for(trial_, deviation)) {
            fprintf(reports_, "exception %zu\n", *allowed);
        } else {
            complain(text);
        }
    }

    const Trial &trial_;
    FILE *reports_;
    CapturedOutput output_{stdout};
    CapturedOutput errors_{stderr};
    Board board_;
    LockWatch locks_;
    bool succeeded_ = false;
};

[[noreturn]] void run_child(const Trial &trial, int reports)
{
#if defined(__SANITIZE_ADDRESS__)
    // Standard error is the library's; a sanitizer's findings go around it.
    __sanitizer_set_report_fd(reinterpret_cast<void *>(static_cast<intptr_t>(dup(2))));
#endif
    alarm(hang_seconds);
    FILE *const stream = fdopen(reports, "w");
    // Not destroyed: the process ends here, with what the library holds.
    (new Run(trial, stream))->go();
    fflush(stream);
    _exit(0);
}

void read_line(const std::string &line, Outcome &outcome)
{
    std::istringstream words(line);
    std::string kind;
    words >> kind;
    if (kind == "call" || kind == "again") {
        SeamCall call;
        words >> call.function >> call.failures;
        (kind == "call" ? outcome.calls : outcome.calls_again).push_back(call);
    } else if (kind == "exception") {
        size_t number = 0;
        words >> number;
        outcome.exceptions.insert(number);
    } else {
        outcome.complaints.push_back(line.substr(std::min(line.size(), kind.size() + 1)));
    }
}

} // namespace

std::string name_of(const Trial &trial)
{
    std::string name = trial.operation->name;
    if (!trial.setting->name.empty()) {
        name += " (" + trial.setting->name + ")";
    }
    if (trial.injection) {
        name += trial.injection->after_success ? ", second run" : "";
        name += ", call " + std::to_string(trial.injection->number + 1) + " " +
                trial.injection->function + " " + to_string(trial.injection->failure);
    }
    return name;
}

RunningTrial::RunningTrial(const Trial &trial) : trial_(trial)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    fflush(stdout);
    child_ = fork();
    if (child_ == 0) {
        close(ends[0]);
        run_child(trial_, ends[1]);
    }
    close(ends[1]);
    reports_ = ends[0];
}

RunningTrial::~RunningTrial()
{
    if (reports_ >= 0) {
        close(reports_);
    }
}

Outcome RunningTrial::outcome()
{
    Outcome outcome;
    FILE *const stream = fdopen(reports_, "r");
    reports_ = -1;
    std::string text;
    for (int c = getc(stream); c != EOF; c = getc(stream)) {
        text += static_cast<char>(c);
    }
    fclose(stream);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        read_line(line, outcome);
    }
    int status = 0;
    waitpid(child_, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return outcome;
    }
    if (const auto allowed = exception_for(trial_, Deviation::ends_program)) {
        outcome.exceptions.insert(*allowed);
    } else {
        outcome.complaints.push_back(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM
                                         ? "hangs"
                                         : "ends the program, with wait status " +
                                               std::to_string(status));
    }
    return outcome;
}

} // namespace board_test
