// The functions that a loaded library calls through its own tables, and the
// places where their addresses stand.
#ifndef TESTS_SUPPORT_IMPORT_TABLE_H
#define TESTS_SUPPORT_IMPORT_TABLE_H

#include <functional>

namespace board_test {

struct Import {
    const char *name;
    void **place;
    bool own; // the library defines a function of this name itself
};

// Calls the action with each import of the library whose file name contains the
// text. The places can be written. False if there is no such library.
bool for_each_import(const char *library, const std::function<void(const Import &)> &action);

} // namespace board_test

#endif
