// What every fuzz program needs: promises that are checked, and a reader of the
// fuzzer's bytes.
#ifndef FUZZ_SUPPORT_INPUT_H
#define FUZZ_SUPPORT_INPUT_H

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

inline void require(bool condition, const char *what)
{
    if (!condition) {
        fprintf(stderr, "broken: %s\n", what);
        abort();
    }
}

// The C library's own function behind one that the program defines itself.
template <typename Function> Function next_of(Function, const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Behind the end every byte is 0.
class Input {
public:
    Input(const uint8_t *data, std::size_t size) : at_(data), end_(data + size) {}

    bool empty() const { return at_ == end_; }
    uint8_t byte() { return empty() ? uint8_t{0} : *at_++; }
    std::size_t word()
    {
        const std::size_t low = byte();
        return low | static_cast<std::size_t>(byte()) << 8;
    }
    uint32_t number()
    {
        const auto low = static_cast<uint32_t>(word());
        return low | static_cast<uint32_t>(word()) << 16;
    }
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }
    // A text of at most the given length; it ends early at a NUL.
    std::string text(std::size_t longest)
    {
        const std::string bytes(reinterpret_cast<const char *>(at_), std::min(longest, left()));
        at_ += bytes.size();
        return bytes.c_str();
    }
    const uint8_t *rest() const { return at_; }
    // The rest, as much of it as lies in the bytes, from a place on.
    void put_rest(std::vector<uint8_t> &bytes, std::size_t place) const
    {
        if (place < bytes.size()) {
            std::copy_n(at_, std::min(left(), bytes.size() - place),
                        bytes.begin() + static_cast<std::ptrdiff_t>(place));
        }
    }

private:
    const uint8_t *at_;
    const uint8_t *end_;
};

} // namespace fuzz

#endif
