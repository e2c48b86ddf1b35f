// What is open on the board, and what of it is mapped.
#ifndef VIRTUAL_BOARD_OPEN_FILE_H
#define VIRTUAL_BOARD_OPEN_FILE_H

#include <stdint.h>

#include <memory>
#include <optional>
#include <string>

namespace virtual_board {

class Device;

// One open of a node.
struct OpenFile {
    std::string path;
    int flags = 0;
    long long offset = 0;
    std::shared_ptr<Device> device = {}; // null on a board in another process
    // The real node behind the device, which the program's own calls go to.
    std::optional<std::string> real_node = {};
    // A descriptor that stands for the open file, if the bus has made one. Who
    // gives it to the program puts -1 here; what is left is closed with the file.
    int descriptor = -1;
    uint64_t id = 0; // its number on a board in another process
};

// Memory that a device maps into the program.
struct Mapping {
    int descriptor = -1;                          // shared memory object to map
    bool watched = false;                         // the device wants to see each load and store
    std::optional<uintptr_t> forced_address = {}; // a fault: answered instead of a mapping
    // Nothing is shared: the program gets memory of its own, which the bus fills
    // before each access.
    bool private_copy = false;
    bool close_when_mapped = false; // the descriptor was made for this mapping alone
};

} // namespace virtual_board

#endif
