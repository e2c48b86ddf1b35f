// The part of the CPLD driver that runs byte-code programs over JTAG.
#ifndef VIRTUAL_BOARD_CPLD_PROGRAMMER_H
#define VIRTUAL_BOARD_CPLD_PROGRAMMER_H

#include <stdint.h>

#include <string>
#include <vector>

namespace virtual_board {

// It runs nothing: it checks each load record as the driver would and keeps it.
class CpldProgrammer {
public:
    static constexpr uint32_t run_load_record = 0x40046B01;
    static constexpr uint32_t run_command_record = 0x40046B02;

    struct Load {
        uint32_t request = 0;
        uint8_t kind = 0;
        uint8_t component = 0;
        std::vector<uint8_t> program;
        std::vector<uint8_t> trailer;
        std::string complaint; // what is wrong with the record; empty if nothing
    };

    // Backend face.
    const std::vector<Load> &loads() const { return loads_; }

    // Bus face; results are a driver's.
    static bool takes(uint32_t request)
    {
        return request == run_load_record || request == run_command_record;
    }
    long run(uint32_t request, const void *record);

private:
    std::vector<Load> loads_;
};

} // namespace virtual_board

#endif
