#include "boardctl/framework/output.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <regex>
#include <stdexcept>

namespace boardctl {

namespace {

bool wants_colours()
{
    const char *no_colour = getenv("NO_COLOR");
    const char *terminal = getenv("TERM");
    return (no_colour == nullptr || *no_colour == '\0') && terminal != nullptr &&
           std::string(terminal) != "dumb";
}

} // namespace

std::string plain_line(const std::string &line)
{
    static const std::regex colours("\x1b\\[[0-9;]*[A-Za-z]");
    std::string plain = std::regex_replace(line, colours, "");
    plain.erase(plain.find_last_not_of("\r\n ") + 1);
    return plain.substr(plain.rfind('\r') + 1); // npos + 1 is 0
}

Output::Output()
    : out_(dup(STDOUT_FILENO)), messages_(memfd_create("boardctl messages", MFD_CLOEXEC)),
      terminal_(isatty(STDOUT_FILENO) != 0), colours_(terminal_ && wants_colours())
{
    // Closed standard output (">&-") is a lost output, not an error here.
    if (messages_ < 0 || dup2(messages_, STDOUT_FILENO) < 0) {
        throw std::runtime_error("standard output cannot be moved aside");
    }
}

Output::~Output()
{
    fflush(stdout);
    if (out_ >= 0) {
        dup2(out_, STDOUT_FILENO);
        close(out_);
    }
    close(messages_);
}

void Output::write(const std::string &text)
{
    size_t done = 0;
    while (done < text.size() && !lost_) {
        const ssize_t count = ::write(out_, text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            lost_ = true;
        }
    }
}

std::vector<std::string> Output::take_messages()
{
    fflush(stdout);
    // pread leaves the position alone: it belongs to those who print.
    char buffer[4096];
    ssize_t count;
    while ((count = pread(messages_, buffer, sizeof(buffer), taken_)) > 0) {
        unread_.append(buffer, static_cast<size_t>(count));
        taken_ += count;
    }
    // What was taken needs no memory any more: a live view may run for months.
    fallocate(messages_, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, taken_);
    std::vector<std::string> lines;
    size_t end;
    while ((end = unread_.find('\n')) != std::string::npos) {
        const std::string line = plain_line(unread_.substr(0, end));
        unread_.erase(0, end + 1);
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace boardctl
