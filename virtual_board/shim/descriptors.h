// Descriptors of the program that lead to the board.
#ifndef VIRTUAL_BOARD_SHIM_DESCRIPTORS_H
#define VIRTUAL_BOARD_SHIM_DESCRIPTORS_H

#include <map>
#include <memory>
#include <vector>

#include "virtual_board/open_file.h"
#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

// Each number is backed by a real placeholder descriptor, so that the kernel
// never hands it out a second time. Duplicates share one open file.
class Descriptors {
public:
    // The open file that had the number, if it has no other: the kernel took the
    // number back where nobody saw it, as for a thread that closes the number of
    // another one's file before that is in here.
    std::shared_ptr<OpenFile> add(int descriptor, std::shared_ptr<OpenFile> file);
    std::shared_ptr<OpenFile> find(int descriptor);
    // Drops a number; the open file if it was its last one.
    std::shared_ptr<OpenFile> remove(int descriptor);
    std::vector<int> all();

    void before_fork() { lock_.lock(); }
    void after_fork() { lock_.unlock(); }

private:
    bool has_number(const OpenFile &file) const;

    RealMutex lock_;
    std::map<int, std::shared_ptr<OpenFile>> files_;
};

} // namespace virtual_board::shim

#endif
