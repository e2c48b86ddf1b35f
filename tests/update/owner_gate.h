// A BIOS flash that does not change hands.
#ifndef TESTS_UPDATE_OWNER_GATE_H
#define TESTS_UPDATE_OWNER_GATE_H

#include <stdint.h>

#include <functional>

namespace board_test {

// The library hands the flash over by a public function of its own, which this
// program interposes. Makes the hand-over to this owner fail from now on, after
// `skip` of them that pass.
void refuse_owner(uint8_t owner, unsigned skip = 0);

// Looks on each time the host is about to get the flash back.
void when_given_back(std::function<void()> look);

} // namespace board_test

#endif
