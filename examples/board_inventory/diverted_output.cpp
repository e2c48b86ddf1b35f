#include "board_inventory/diverted_output.h"

#include <stdio.h>
#include <unistd.h>

namespace board_inventory {

DivertedOutput::DivertedOutput()
{
    fflush(stdout);
    stdout_ = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

DivertedOutput::~DivertedOutput()
{
    fflush(stdout);
    dup2(stdout_, STDOUT_FILENO);
    close(stdout_);
}

} // namespace board_inventory
