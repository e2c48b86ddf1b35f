// Faults as text, for settings and command lines.
#ifndef VIRTUAL_BOARD_FAULT_TEXT_H
#define VIRTUAL_BOARD_FAULT_TEXT_H

#include <stdexcept>
#include <string_view>
#include <vector>

#include "virtual_board/fault.h"

namespace virtual_board {

// A list of faults is FAULTs with ";" between them. Blanks around a FAULT do not
// count, and an empty one is none. A FAULT is
//
//   DEVICE:OPERATION:KIND[=VALUE][,FIELD=VALUE]...
//
//   DEVICE     cpld, fpga, rtc, adc, spi, ttyS0, i2c-0, mtd0 to mtd6,
//              environment (/dev/mtdblock2), gpio-export, gpio95-value and the
//              like, eth0, wall-clock; for run the command line of the program:
//              /sbin/insmod /ko/m25p80.ko
//   OPERATION  open, close, read, write, ioctl, seek, map, unmap, load, store,
//              sleep, lock, unlock, control, run, set_time or status
//   KIND       what the call does instead of its work:
//     error=ERRNO        fails, with EIO if there is none; a number or a name
//     result=N           answers N; the device sees nothing
//     late_result=N      the device does its work, the answer is N
//     short_count=BYTES  moves so many bytes only
//     lie                reports success; the device sees nothing
//     bit_flip=BIT       then inverts bit BIT of what was read or stored
//     delay=US           takes so many microseconds longer
//     vanish             the device is gone, from this call on
//   FIELD      where and when, each at most once:
//     address=N          command code of the FPGA, request of an ioctl (MEMERASE,
//                        MEMERASE64, MEMGETINFO, I2C_RDWR and I2C_SMBUS are known
//                        by name) or offset; any if absent
//     place=N            where an erase starts; any if absent
//     skip=N             calls that pass unharmed first; none if absent
//     times=N            calls that are hit then; one if absent, 0 for all
//     per_mille=N        the chance of a hit, 0 to 1000, from the plan's seed;
//                        1000 if absent
//     name=TEXT          for messages; the text of the fault if absent
//
// Numbers are decimal, or hexadecimal with 0x; those of result and late_result
// may be negative.
struct FaultError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws a FaultError for what is not understood.
Fault parse_fault(std::string_view text);
std::vector<Fault> parse_faults(std::string_view text);

} // namespace virtual_board

#endif
