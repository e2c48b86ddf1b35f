// The host's power button, held for as long as this lives; released also when
// the tool is interrupted.
#ifndef BOARDCTL_BUTTON_PRESS_H
#define BOARDCTL_BUTTON_PRESS_H

#include <board_hal.h>

#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"

namespace boardctl {

class ButtonPress {
public:
    explicit ButtonPress(const Context &context) : release_([] { set_pwr_button(0); })
    {
        interrupt::set_state("the power button was pressed and is released");
        context.check("set_pwr_button", set_pwr_button(1));
    }

private:
    interrupt::Tidy release_;
};

} // namespace boardctl

#endif
