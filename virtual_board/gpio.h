// The controller's GPIO lines as sysfs shows them.
#ifndef VIRTUAL_BOARD_GPIO_H
#define VIRTUAL_BOARD_GPIO_H

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/device.h"

namespace virtual_board {

class Gpio {
public:
    static constexpr std::string_view root = "/sys/class/gpio";

    struct Line {
        bool output = false;
        int level = 0; // what the program drives, or what the board puts on an input
        std::vector<std::string> written; // what programs wrote to the value file
    };

    Gpio();

    // Backend face.
    bool exported(int line) const { return lines_.count(line) != 0; }
    // The state of a line; it need not be exported.
    Line &line(int number) { return states_[number]; }
    // The lines that anybody has touched.
    const std::map<int, Line> &lines() const { return states_; }
    // Takes the whole sysfs tree away, as on a kernel without it.
    void remove() { present_ = false; }

    // Bus face: the node behind a path below root; null if there is none. A
    // line's files exist once it is exported.
    std::shared_ptr<Device> find(std::string_view path);

private:
    class ExportFile;
    class LineFile;

    long export_line(std::string_view text);

    bool present_ = true;
    std::shared_ptr<Device> export_file_;
    std::map<int, std::map<std::string, std::shared_ptr<Device>, std::less<>>> lines_;
    std::map<int, Line> states_;
};

} // namespace virtual_board

#endif
