// What the machine that runs the tests can do; an emulator of another processor
// cannot do everything.
#ifndef TESTS_SUPPORT_MACHINE_H
#define TESTS_SUPPORT_MACHINE_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace board_test {

// How often a debounce is polled against its model. Under an emulator a hundred
// thousand polls of everything take minutes.
#ifdef BOARD_HAL_TESTS_EMULATED
constexpr unsigned long_run_polls = 10000;
#else
constexpr unsigned long_run_polls = 100000;
#endif

// Whether posix_spawn() fails for a program that is not there. An emulator may
// copy the process where it should share its memory.
inline bool tells_failed_starts()
{
    pid_t child = -1;
    char name[] = "program";
    char *const arguments[] = {name, nullptr};
    if (posix_spawn(&child, "/no/such/program", nullptr, nullptr, arguments, environ) != 0) {
        return true;
    }
    waitpid(child, nullptr, 0);
    return false;
}

// Whether "/" is the directory that paths start from. An emulator may show the
// other processor's libraries there.
inline bool sees_its_root()
{
    const int root = open("/", O_RDONLY | O_DIRECTORY);
    struct stat below = {};
    struct stat by_path = {};
    const bool same = fstatat(root, "tmp", &below, 0) == 0 && stat("/tmp", &by_path) == 0 &&
                      below.st_ino == by_path.st_ino;
    close(root);
    return same;
}

} // namespace board_test

#endif
