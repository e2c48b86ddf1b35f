// A file with a list that the kernel writes anew for every reader, as in /proc.
#ifndef VIRTUAL_BOARD_TEXT_LIST_H
#define VIRTUAL_BOARD_TEXT_LIST_H

#include <functional>
#include <string>
#include <utility>

#include "virtual_board/device.h"

namespace virtual_board {

class TextList : public Device {
public:
    TextList(std::string name, std::function<std::string()> text)
        : Device(std::move(name)), text_(std::move(text))
    {
    }

    long read(OpenFile &file, void *buffer, size_t count) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    void describe(struct stat &status) const override { status.st_mode = S_IFREG | 0444; }

private:
    std::function<std::string()> text_;
};

} // namespace virtual_board

#endif
