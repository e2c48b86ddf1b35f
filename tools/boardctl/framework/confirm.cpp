#include "boardctl/framework/confirm.h"

#include <stdio.h>
#include <unistd.h>

#include <iostream>

#include "boardctl/framework/failure.h"

namespace boardctl {

void confirm(const std::string &question)
{
    if (isatty(STDIN_FILENO) == 0) {
        throw Declined(question + " Standard input is no terminal: say --yes.");
    }
    fprintf(stderr, "%s [y/N] ", question.c_str());
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw Declined("not confirmed.");
    }
}

} // namespace boardctl
