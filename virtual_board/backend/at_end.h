// Something that is undone at the end of a scope, however it is left.
#ifndef VIRTUAL_BOARD_BACKEND_AT_END_H
#define VIRTUAL_BOARD_BACKEND_AT_END_H

#include <utility>

namespace virtual_board {

template <typename Action> class AtEnd {
public:
    explicit AtEnd(Action action) : action_(std::move(action)) {}
    ~AtEnd() { action_(); }
    AtEnd(const AtEnd &) = delete;
    AtEnd &operator=(const AtEnd &) = delete;

private:
    Action action_;
};

} // namespace virtual_board

#endif
