// A heap buffer that lives within one call.
#ifndef SUPPORT_HEAP_BUFFER_H
#define SUPPORT_HEAP_BUFFER_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

namespace board_hal {

// Owns malloc'ed bytes; tests false when the allocation failed, or once they are
// given back.
class HeapBuffer {
public:
    explicit HeapBuffer(size_t size) : data_(static_cast<uint8_t *>(malloc(size))) {}
    ~HeapBuffer() { free(data_); }

    HeapBuffer(const HeapBuffer &) = delete;
    HeapBuffer &operator=(const HeapBuffer &) = delete;

    explicit operator bool() const { return data_ != nullptr; }
    uint8_t *data() { return data_; }
    void release()
    {
        free(data_);
        data_ = nullptr;
    }
    uint8_t &operator[](size_t index) { return data_[index]; }

private:
    uint8_t *data_;
};

} // namespace board_hal

#endif
