// The switch that gives the BIOS flash to the host or to the controller.
#ifndef VIRTUAL_BOARD_BIOS_SWITCH_H
#define VIRTUAL_BOARD_BIOS_SWITCH_H

#include <functional>

#include "virtual_board/cpld.h"

namespace virtual_board {

class BiosSwitch {
public:
    enum class Owner { host, controller };
    using Observer = std::function<void(Owner)>;

    explicit BiosSwitch(Cpld &cpld);

    Owner owner() const;
    bool write_protected() const;
    // Called when a program has moved the switch.
    void on_change(Observer observer) { observer_ = std::move(observer); }

private:
    Cpld &cpld_;
    Observer observer_;
};

} // namespace virtual_board

#endif
