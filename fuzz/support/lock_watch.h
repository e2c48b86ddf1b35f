// The mutexes that the library holds.
#ifndef FUZZ_SUPPORT_LOCK_WATCH_H
#define FUZZ_SUPPORT_LOCK_WATCH_H

namespace fuzz {

// Watches the thread that calls it.
void watch_locks();
// Requires that the thread holds none. A lock that is let go twice is let pass:
// one of the operations does so.
void require_unlocked();

} // namespace fuzz

#endif
