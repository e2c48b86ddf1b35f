// The library's messages, caught at printf and puts.
#ifndef FUZZ_SUPPORT_PRINTED_H
#define FUZZ_SUPPORT_PRINTED_H

#include <string>

namespace fuzz {

// What was printed since the last call.
std::string printed();

} // namespace fuzz

#endif
