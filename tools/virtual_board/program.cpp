#include "tools/virtual_board/program.h"

#include <errno.h>
#include <limits.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <stdexcept>

namespace virtual_board {

namespace {

constexpr char library_name[] = "libvirtual_board_preload.so";

// What describes boards of a program's own.
constexpr const char *own_board_settings[] = {"VIRTUAL_BOARD_PERSONALITY",
                                              "VIRTUAL_BOARD_HOST_SCRIPT", "VIRTUAL_BOARD_FAULTS"};

std::string own_directory()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
    const std::string program(path, static_cast<size_t>(length < 0 ? 0 : length));
    return program.substr(0, program.rfind('/'));
}

std::string preload_library()
{
    if (const char *chosen = getenv("VIRTUAL_BOARD_PRELOAD")) {
        return chosen;
    }
    // Installed, and in the build folder.
    for (const char *folder : {"/" INSTALLED_LIBRARIES "/", "/../lib/"}) {
        char found[PATH_MAX];
        const std::string path = own_directory() + folder + library_name;
        if (realpath(path.c_str(), found) != nullptr) {
            return found;
        }
    }
    throw std::runtime_error(std::string(library_name) +
                             " is not beside this program; VIRTUAL_BOARD_PRELOAD says where it is");
}

bool is_own_board_setting(const std::string &entry)
{
    for (const char *setting : own_board_settings) {
        if (entry.starts_with(std::string(setting) + "=")) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> environment_on(const std::string &board)
{
    std::vector<std::string> entries;
    std::string preload = "LD_PRELOAD=" + preload_library();
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.starts_with("LD_PRELOAD=")) {
            preload += ":" + text.substr(text.find('=') + 1);
        } else if (!text.starts_with("VIRTUAL_BOARD=") && !is_own_board_setting(text)) {
            entries.push_back(text);
        }
    }
    entries.push_back(preload);
    entries.push_back("VIRTUAL_BOARD=" + board);
    return entries;
}

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

HeldSignals::HeldSignals()
{
    sigemptyset(&held_);
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaddset(&held_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held_, &before_);
}

HeldSignals::~HeldSignals()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

siginfo_t HeldSignals::next() const
{
    siginfo_t info = {};
    while (sigwaitinfo(&held_, &info) < 0 && errno == EINTR) {
    }
    return info;
}

Program::Program(const std::vector<std::string> &command, const std::string &board,
                 const HeldSignals &signals)
{
    std::vector<std::string> words = command;
    std::vector<std::string> entries = environment_on(board);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &signals.before());
    pid_t process = -1;
    start_error_ = posix_spawnp(&process, words[0].c_str(), nullptr, &attributes,
                                pointers_to(words).data(), pointers_to(entries).data());
    posix_spawnattr_destroy(&attributes);
    if (start_error_ == 0) {
        process_ = process;
    } else {
        fprintf(stderr, "virtual-board: %s: %s\n", words[0].c_str(), strerror(start_error_));
    }
}

void Program::terminate() const
{
    const pid_t process = process_;
    if (process > 0) {
        kill(process, SIGTERM);
    }
}

int Program::wait(const HeldSignals &signals)
{
    if (!started()) {
        return start_error_ == ENOENT ? exit_not_found : exit_not_executable;
    }
    int status = 0;
    for (;;) {
        const siginfo_t signal = signals.next();
        if (signal.si_signo != SIGCHLD) {
            if (signal.si_code <= 0) { // from a process
                kill(process_, signal.si_signo);
            }
        } else if (waitpid(process_, &status, WNOHANG) == process_) {
            process_ = -1;
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        }
    }
}

void leave_board(char *const argv[])
{
    const char *preloaded = getenv("LD_PRELOAD");
    if (preloaded == nullptr) {
        return;
    }
    std::istringstream list(preloaded);
    std::string others;
    bool on_board = false;
    for (std::string library; getline(list, library, ':');) {
        if (library.ends_with(library_name)) {
            on_board = true;
        } else {
            others += (others.empty() ? "" : ":") + library;
        }
    }
    if (on_board) {
        setenv("LD_PRELOAD", others.c_str(), 1);
        execv("/proc/self/exe", argv);
    }
}

} // namespace virtual_board
