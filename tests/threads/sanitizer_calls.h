// The thread sanitizer's own calls.
#ifndef TESTS_THREADS_SANITIZER_CALLS_H
#define TESTS_THREADS_SANITIZER_CALLS_H

namespace board_test {

// Leads them past the virtual board, to the C library. While it names the
// functions of a report the sanitizer holds its locks; a thread that has the
// board's lock may wait for them.
void free_sanitizer_of_board();

} // namespace board_test

#endif
