// What the tests of the shim's calls share.
#ifndef TESTS_VIRTUAL_BOARD_SHIM_SUPPORT_H
#define TESTS_VIRTUAL_BOARD_SHIM_SUPPORT_H

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "tests/support/board_test.h"

namespace board_test {

constexpr char fpga_node[] = "/dev/ipmc_fpga";
constexpr char cpld_node[] = "/dev/ipmc_cpld";
constexpr char missing_node[] = "/dev/mtd9";
constexpr int quiet_errno = 12345;

// What goes to standard error in its lifetime.
class CapturedError {
public:
    CapturedError() : memory_(memfd_create("stderr", MFD_CLOEXEC)), stderr_(dup(2))
    {
        dup2(memory_, 2);
    }
    ~CapturedError()
    {
        dup2(stderr_, 2);
        close(stderr_);
        close(memory_);
    }
    std::string text() const
    {
        char buffer[4096];
        const ssize_t got = pread(memory_, buffer, sizeof(buffer), 0);
        return {buffer, static_cast<size_t>(got)};
    }

private:
    int memory_;
    int stderr_;
};

// An ordinary file of the machine.
class OrdinaryFile {
public:
    OrdinaryFile() : descriptor(mkstemp(path)) {}
    ~OrdinaryFile()
    {
        close(descriptor);
        unlink(path);
    }
    char path[32] = "/tmp/shim_test.XXXXXX";
    int descriptor;
};

} // namespace board_test

#endif
