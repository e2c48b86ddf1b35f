// The library's diagnostics are lines on standard output. Where that carries a
// report, they belong elsewhere.
#ifndef BOARD_INVENTORY_DIVERTED_OUTPUT_H
#define BOARD_INVENTORY_DIVERTED_OUTPUT_H

namespace board_inventory {

// While there is one, what is written to standard output goes to standard error.
class DivertedOutput {
public:
    DivertedOutput();
    ~DivertedOutput();
    DivertedOutput(const DivertedOutput &) = delete;
    DivertedOutput &operator=(const DivertedOutput &) = delete;

private:
    int stdout_;
};

} // namespace board_inventory

#endif
