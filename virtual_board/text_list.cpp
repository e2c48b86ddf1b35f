#include "virtual_board/text_list.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>

namespace virtual_board {

long TextList::read(OpenFile &file, void *buffer, size_t count)
{
    const std::string text = text_();
    const auto at = std::min(static_cast<size_t>(file.offset), text.size());
    const size_t moved = std::min(count, text.size() - at);
    memcpy(buffer, text.data() + at, moved);
    file.offset += static_cast<long long>(moved);
    return static_cast<long>(moved);
}

// It has no end to seek from before it is read.
long long TextList::seek(OpenFile &file, long long offset, int whence)
{
    const long long to = (whence == SEEK_CUR ? file.offset : 0) + offset;
    if (whence == SEEK_END || to < 0) {
        return -EINVAL;
    }
    file.offset = to;
    return to;
}

} // namespace virtual_board
