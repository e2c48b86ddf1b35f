#include "console_bridge/screen.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace console_bridge {

// In a file that nobody looks at meanwhile, the console stays as it is.
DescriptorScreen::DescriptorScreen(int descriptor, std::string prefix)
    : descriptor_(descriptor), prefix_(std::move(prefix)),
      separates_(!prefix_.empty() || isatty(descriptor) == 1)
{
}

void DescriptorScreen::console(std::string_view text)
{
    std::string shown;
    for (const char c : text) {
        if (!in_line_) {
            shown += prefix_;
        }
        shown += c;
        in_line_ = c != '\n';
    }
    put(shown);
}

void DescriptorScreen::note(const std::string &line)
{
    if (in_line_ && separates_) {
        put("\r\n");
        in_line_ = false;
    }
    printf("bmc   | %s\n", line.c_str());
    fflush(stdout);
}

void DescriptorScreen::put(std::string_view text)
{
    while (good_ && !text.empty()) {
        const ssize_t count = write(descriptor_, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR || (wish_ != nullptr && *wish_ != 0)) {
            good_ = errno == EINTR;
            return;
        }
    }
}

} // namespace console_bridge
