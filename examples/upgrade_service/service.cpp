#include "upgrade_service/service.h"

#include <board_hal.h>
#include <stdlib.h>
#include <unistd.h>

#include "upgrade_service/work.h"

namespace upgrade_service {

End refused(const std::string &what, const std::string &why, std::vector<std::string> next)
{
    End end;
    end.code = ExitCode::nothing_changed;
    end.what = what;
    end.why = why;
    end.contents = "as before";
    end.next = std::move(next);
    return end;
}

BiosFlash look_at_bios_flash()
{
    uint8_t owner = 0;
    get_bios_owner(&owner);
    return {owner == 1, access(bios_device, F_OK) == 0};
}

BiosFlash give_bios_flash_back()
{
    const BiosFlash flash = look_at_bios_flash();
    if (flash.controller_owns) {
        set_bios_owner(0);
    }
    if (flash.driver_loaded && system("/sbin/rmmod /ko/m25p80.ko") != 0) {
        fputs("rmmod failed\n", stdout);
    }
    return look_at_bios_flash();
}

Service::Answer Service::call(const std::function<int()> &work)
{
    library_.take();
    const int result = work();
    return {result, read_transcript(library_.take())};
}

void Service::heed_interrupts(const std::string &step, const Abandoned &abandoned)
{
    const unsigned now = interrupts;
    if (now == heeded_) {
        return;
    }
    const bool first = heeded_ == 0 && now == 1;
    heeded_ = now;
    if (first) {
        output_.note("interrupted: " + step +
                     " is not left half done and goes on. Interrupt once more to leave it all "
                     "the same.");
        return;
    }
    output_.end(abandoned(read_transcript(library_.take())));
    leave_(ExitCode::interrupted);
}

Service::Answer Service::run(const std::string &step, bool publishes,
                             const std::function<int()> &work, const Abandoned &abandoned)
{
    library_.take();
    // What an earlier operation published is not this one's.
    set_upgrade_status(0, publishes ? in_progress : 0);
    Meter meter;
    meter.take(published_status());
    if (publishes) {
        output_.begin(step, meter);
    } else {
        output_.note(step + " ...");
    }
    const int result = run_beside(work, [&] {
        if (publishes && meter.take(published_status())) {
            output_.progress(meter);
        }
        heed_interrupts(step, abandoned);
    });
    if (publishes) {
        // A failed copy leaves state 1 behind, and a region's rounding 99: other
        // services look at the status alone.
        const bool succeeded = result == 0;
        set_upgrade_status(succeeded ? 100 : meter.percent(), succeeded ? in_progress : failed);
        meter.take(published_status());
        meter.finish(succeeded);
        output_.finish(meter, succeeded);
    }
    return {result, read_transcript(library_.take())};
}

End Service::release()
{
    End end;
    end.what = "the BIOS flash is given back to the host";
    end.bios_flash = give_bios_flash_back();
    library_.take();
    if (end.bios_flash->controller_owns || end.bios_flash->driver_loaded) {
        end.code = ExitCode::not_given_back;
        end.why = end.bios_flash->controller_owns ? "the board's switch does not move"
                                                  : "the driver cannot be unloaded";
        end.next = {"Cut the board's standby power for a minute, then run it again. If that does "
                    "not help, the board needs repair."};
    }
    return end;
}

End Service::protect(bool on)
{
    End end;
    end.what = on ? "the BIOS flash is write-protected" : "the BIOS flash may be written";
    uint8_t now = 0;
    set_bios_wp(0, on ? 1 : 0);
    get_bios_wp(0, &now);
    if ((now != 0) != on) {
        end.code = ExitCode::nothing_changed;
        end.why = "the board's protection does not change";
        end.next = {"The board needs repair."};
    }
    return end;
}

} // namespace upgrade_service
