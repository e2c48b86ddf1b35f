// Operations of hardware that this board does not have.
#ifndef SUPPORT_NOT_FITTED_H
#define SUPPORT_NOT_FITTED_H

// Defines an exported operation that ignores its arguments, touches nothing and
// answers a constant. One line per operation, so that a list of them reads as
// the table it is: answer, name, argument types.
#define BOARD_HAL_NOT_FITTED(answer, name, ...)                                                    \
    int name(__VA_ARGS__)                                                                          \
    {                                                                                              \
        return answer;                                                                             \
    }

#endif
