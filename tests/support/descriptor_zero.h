// Descriptor 0, as the library sees it: a number like any other.
#ifndef TESTS_SUPPORT_DESCRIPTOR_ZERO_H
#define TESTS_SUPPORT_DESCRIPTOR_ZERO_H

#include <fcntl.h>
#include <unistd.h>

namespace board_test {

// Makes 0 the next descriptor that the system hands out, and puts standard
// input back at the end, whatever became of 0 meanwhile.
class DescriptorZero {
public:
    DescriptorZero() : standard_input_(fcntl(0, F_DUPFD_CLOEXEC, 3)) { close(0); }
    ~DescriptorZero()
    {
        dup2(standard_input_, 0);
        close(standard_input_);
    }

    DescriptorZero(const DescriptorZero &) = delete;
    DescriptorZero &operator=(const DescriptorZero &) = delete;

private:
    int standard_input_;
};

inline bool descriptor_is_open(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

} // namespace board_test

#endif
