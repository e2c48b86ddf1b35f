// boardctl_trial: boardctl's framework with commands that do on purpose what
// real ones do seldom: fail, talk, work long, be interrupted.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/progress.h"
#include "boardctl/framework/run.h"
#include "boardctl/framework/wait.h"

namespace {

using namespace boardctl;

Result fail(Context &context)
{
    puts("about to fail\r");
    context.check("trial_operation", context.as<int>("CODE"));
    return {};
}

Result count(Context &context)
{
    const int moved = context.count("trial_operation", context.as<int>("CODE"));
    return Result().set("moved", number(moved));
}

Result trouble(Context &)
{
    throw Trouble("the file is too short");
}

// What libraries do to standard output.
Result speak(Context &)
{
    puts("a line\r");
    printf("\r10%%\r20%%\r30%%\n");
    printf("\x1b[32mgreen\x1b[0m\n");
    fflush(stdout);
    if (system("echo from a program") != 0) {
        throw Trouble("no program can be run");
    }
    for (int i = 0; i < 2000; ++i) {
        printf("line %d of a flood that fills every pipe\n", i);
    }
    return Result().set("moved", number(1));
}

Result work(Context &context)
{
    Progress progress(context);
    progress.stage("erase", "erased in part");
    int64_t erased = 0;
    const int result = Progress::follow(
        [] {
            usleep(250000);
            return 0;
        },
        [&] { progress.update(++erased, 10); });
    context.check("trial_operation", result);
    progress.done();
    progress.stage("write", "written in part");
    progress.update(60, 100);
    progress.update(30, 100); // a device that counts anew
    progress.update(200, 100);
    if (context.flag("--fail")) {
        context.check("trial_operation", 7);
    }
    progress.done();
    return Result().set("moved", number(100));
}

Result hold(Context &context)
{
    const interrupt::Tidy tidy([] { fputs("tidied up\n", stderr); });
    Progress progress(context);
    progress.stage("erase", "partition 3 is erased in part");
    fputs("holding\n", stderr);
    pause_for(std::chrono::seconds(60));
    return {};
}

Result stream(Context &context)
{
    for (int64_t i = 0;; ++i) {
        if (!context.emit(Result().set("moved", number(i)))) {
            break;
        }
    }
    fputs("the reader is gone\n", stderr);
    return {};
}

Result environment(Context &context)
{
    const char *value = getenv(context.text("NAME").c_str());
    return Result().set("value", value == nullptr ? none() : text(value));
}

const std::vector<Block> moved = {
    {"", "", Block::Layout::fields, {{"moved", "moved", Type::integer}}}};

std::vector<Family> trial_families()
{
    const Argument code = {"CODE", "result", Number{-20000, 255}};
    return {{
        .name = "trial",
        .summary = "Trials",
        .commands =
            {
                {.name = "fail",
                 .summary = "Fail",
                 .arguments = {code},
                 .run = fail,
                 .needs_board = false},
                {.name = "count",
                 .summary = "Count",
                 .arguments = {code},
                 .output = moved,
                 .run = count,
                 .needs_board = false},
                {.name = "trouble",
                 .summary = "Fail without an operation",
                 .run = trouble,
                 .needs_board = false},
                {.name = "speak",
                 .summary = "Talk",
                 .output = moved,
                 .run = speak,
                 .needs_board = false},
                {.name = "work",
                 .summary = "Work",
                 .arguments = {{"--fail", "fail at last", Flag{}, false}},
                 .output = moved,
                 .run = work,
                 .needs_board = false},
                {.name = "hold",
                 .summary = "Wait to be interrupted",
                 .run = hold,
                 .needs_board = false},
                {.name = "stream",
                 .summary = "Answer without end",
                 .output = moved,
                 .run = stream,
                 .needs_board = false,
                 .streams = true},
                {.name = "environment",
                 .summary = "Show a variable",
                 .arguments = {{"NAME", "of the variable", Text{}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"value", "value", Type::string, {}, true}}}},
                 .run = environment,
                 .needs_board = false},
            },
        .meanings = {{"trial_operation", 7, "the seventh seal is broken"}},
    }};
}

} // namespace

int main(int argc, char **argv)
{
    static const std::vector<Family> families = trial_families();
    return run(families, argc, argv);
}
