// Where the tool's own output goes, and where the library's messages go. The
// library prints to descriptor 1, so that is moved aside for as long as the
// tool runs: what arrives there are messages, also those of programs that the
// library starts.
#ifndef BOARDCTL_OUTPUT_H
#define BOARDCTL_OUTPUT_H

#include <sys/types.h>

#include <atomic>
#include <string>
#include <vector>

namespace boardctl {

class Output {
public:
    Output();
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // To the real standard output, at once.
    void write(const std::string &text);
    // A write failed: the disk is full, or the reader is gone.
    bool lost() const { return lost_; }

    bool terminal() const { return terminal_; }
    bool colours() const { return colours_; }
    int descriptor() const { return out_; }

    // Whole lines that the library printed since the last call, without colours
    // and without what was overwritten in place.
    std::vector<std::string> take_messages();

private:
    int out_;
    int messages_;
    std::atomic<bool> lost_ = false; // an interruption writes from its own thread
    bool terminal_;
    bool colours_;
    off_t taken_ = 0;
    std::string unread_;
};

// A line as it stands at last on a terminal, without colours.
std::string plain_line(const std::string &line);

} // namespace boardctl

#endif
