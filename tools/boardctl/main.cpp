// boardctl: reads and drives the board from the command line.

#include "boardctl/families/families.h"
#include "boardctl/framework/run.h"

int main(int argc, char **argv)
{
    return boardctl::run(boardctl::families(), argc, argv);
}
