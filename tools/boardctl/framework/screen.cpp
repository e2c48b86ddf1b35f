#include "boardctl/framework/screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

// The other screen of the terminal, without a cursor; and back.
constexpr const char *enter_screen = "\x1b[?1049h\x1b[?25l";
constexpr const char *leave_screen = "\x1b[?25h\x1b[?1049l";
constexpr const char *home = "\x1b[H";
constexpr const char *clear_line = "\x1b[K";
constexpr const char *clear_rest = "\x1b[J";

// Keys come one by one and are not shown; Ctrl-C stays a signal.
std::optional<termios> take_keys()
{
    termios before;
    if (tcgetattr(STDIN_FILENO, &before) != 0) {
        return {};
    }
    termios keys = before;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
    return before;
}

winsize size_of(int descriptor)
{
    winsize size = {};
    // A terminal that does not tell its size has no end.
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) {
        return {UINT16_MAX, UINT16_MAX, 0, 0};
    }
    return size;
}

// What is seen of a line: colours take no room.
size_t width_of(const std::string &line)
{
    size_t width = 0;
    bool colour = false;
    for (const char c : line) {
        colour = colour || c == '\x1b';
        width += colour ? 0 : 1;
        colour = colour && c != 'm';
    }
    return width;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// The line between two blocks nearest to the middle.
size_t break_of(const std::vector<std::string> &lines)
{
    size_t best = lines.size();
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto off = [&lines](size_t at) {
            return at > lines.size() / 2 ? at - lines.size() / 2 : lines.size() / 2 - at;
        };
        if (lines[i].empty() && off(i) < off(best)) {
            best = i;
        }
    }
    return best;
}

std::vector<std::string> in_two_columns(const std::vector<std::string> &lines)
{
    constexpr size_t gap = 4;
    const size_t middle = break_of(lines);
    const std::vector<std::string> left(lines.begin(), lines.begin() + static_cast<long>(middle));
    const size_t right_begin = std::min(middle + 1, lines.size());
    const std::vector<std::string> right(lines.begin() + static_cast<long>(right_begin),
                                         lines.end());
    size_t width = 0;
    for (const std::string &line : left) {
        width = std::max(width, width_of(line));
    }
    std::vector<std::string> all;
    for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
        const std::string here = i < left.size() ? left[i] : "";
        const std::string blanks(width + gap - width_of(here), ' ');
        all.push_back(i < right.size() ? here + blanks + right[i] : here);
    }
    return all;
}

void write_to(int descriptor, const std::string &text)
{
    [[maybe_unused]] const ssize_t written = write(descriptor, text.data(), text.size());
}

} // namespace

void Screen::restore(int descriptor, const std::optional<termios> &before)
{
    write_to(descriptor, leave_screen);
    if (before) {
        tcsetattr(STDIN_FILENO, TCSANOW, &*before);
    }
}

Screen::Screen(Context &context)
    : context_(context), before_(take_keys()),
      tidy_([descriptor = context.output().descriptor(), before = before_] {
          restore(descriptor, before);
      })
{
    context_.draw(enter_screen);
}

Screen::~Screen() = default;

bool Screen::draw(const std::string &title, const std::string &text)
{
    const winsize size = size_of(context_.output().descriptor());
    std::vector<std::string> lines = lines_of(text);
    if (lines.size() + 2 > size.ws_row) {
        lines = in_two_columns(lines);
    }
    lines.insert(lines.begin(), {title, ""});
    // What does not fit would move the screen.
    lines.resize(std::min<size_t>(lines.size(), size.ws_row));
    std::string all = home;
    for (const std::string &line : lines) {
        all += (&line == lines.data() ? "" : "\n") + line + clear_line;
    }
    return context_.draw(all + clear_rest);
}

bool Screen::quit_within(std::chrono::milliseconds duration)
{
    if (!before_) {
        pause_for(duration);
        return false;
    }
    pollfd keyboard = {STDIN_FILENO, POLLIN, 0};
    const auto end = std::chrono::steady_clock::now() + duration;
    for (auto left = duration; left.count() > 0;
         left = std::chrono::duration_cast<std::chrono::milliseconds>(
             end - std::chrono::steady_clock::now())) {
        if (poll(&keyboard, 1, static_cast<int>(left.count())) <= 0) {
            continue;
        }
        char key = 0;
        if (read(STDIN_FILENO, &key, 1) <= 0 || key == 'q') {
            return true;
        }
    }
    return false;
}

} // namespace boardctl
