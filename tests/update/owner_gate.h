// A BIOS flash that does not change hands.
#ifndef TESTS_UPDATE_OWNER_GATE_H
#define TESTS_UPDATE_OWNER_GATE_H

#include <stdint.h>

namespace board_test {

// The library hands the flash over by a public function of its own, which this
// program interposes. Makes the hand-over to this owner fail from now on, after
// `skip` of them that pass.
void refuse_owner(uint8_t owner, unsigned skip = 0);

} // namespace board_test

#endif
