// The memory that an ioctl request's argument stands for.
//
// A board in another process does not see the program's memory. The argument's
// record, and what its pointers lead to, are taken in there, put together again
// on the other side, and what the device made of them goes back.
#ifndef VIRTUAL_BOARD_REMOTE_IOCTL_SPANS_H
#define VIRTUAL_BOARD_REMOTE_IOCTL_SPANS_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "virtual_board/remote/wire.h"

namespace virtual_board::remote {

// A pointer within a record.
struct PointerField {
    size_t at = 0;     // offset of the pointer
    size_t length = 0; // bytes that it leads to
    bool out = true;   // the device may change them
};

// How long the request's record is, as far as its first bytes tell: with all of
// them, their number. 0: the argument is a number.
size_t record_length(uint32_t request, std::span<const uint8_t> known);
// Whether the device may change the record.
bool record_goes_back(uint32_t request);
// The pointers, other than null, of the record (depth 0), or of what a pointer of
// it leads to (depth 1). No count in a record makes them reach further than any
// device reads.
std::vector<PointerField> pointers(uint32_t request, size_t depth, std::span<const uint8_t> bytes);

// One piece of the argument's memory.
struct Span {
    uint64_t address = 0; // in the program
    size_t depth = 0;
    size_t parent = 0; // the piece with the pointer; the argument's own is its own
    size_t at = 0;
    bool out = true;
    Bytes bytes;
};

// Gets so many bytes of the program's memory; false if they are not there.
using Fetch = std::function<bool(uint64_t address, size_t length, Bytes &bytes)>;

// Takes the argument's memory in, record first; none if some is not there, or if
// the argument is a null pointer. A number has no spans.
std::optional<std::vector<Span>> take_in(uint32_t request, uint64_t argument, const Fetch &fetch);

// Makes the spans' pointers lead to each other's bytes; the result is the
// argument for the device.
void *link(std::vector<Span> &spans);

// The bytes that go back, in order, and their way into the program's memory:
// pointers stay as the program set them.
Bytes give_back(const std::vector<Span> &spans);
bool put_back(const std::vector<Span> &spans, Reader &from);

} // namespace virtual_board::remote

#endif
