// The part of the CPLD driver that runs byte-code programs over JTAG.
#ifndef VIRTUAL_BOARD_CPLD_PROGRAMMER_H
#define VIRTUAL_BOARD_CPLD_PROGRAMMER_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace virtual_board {

// It runs nothing: it checks each load record as the driver would and keeps it.
class CpldProgrammer {
public:
    static constexpr uint32_t run_load_record = 0x40046B01;
    static constexpr uint32_t run_command_record = 0x40046B02;

    // A record is the length of the program, its kind, the program and a trailer:
    // zero, mark and the CPLD's number. One CPLD takes a value after it.
    static constexpr size_t header_size = 8;
    static constexpr size_t area_size = 524288; // program and trailer
    static constexpr size_t trailer_size = 3;
    static constexpr size_t long_trailer_size = 5;
    static constexpr uint8_t component_with_value = 6;
    static uint32_t program_length(const uint8_t *record);

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
