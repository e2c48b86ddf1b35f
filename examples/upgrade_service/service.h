// What the service does: one function per command.
#ifndef UPGRADE_SERVICE_SERVICE_H
#define UPGRADE_SERVICE_SERVICE_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "upgrade_service/library_output.h"
#include "upgrade_service/output.h"
#include "upgrade_service/progress.h"
#include "upgrade_service/report.h"
#include "upgrade_service/transcript.h"

namespace upgrade_service {

// The device that the BIOS flash has while its driver is loaded.
constexpr const char *bios_device = "/dev/mtd6";
constexpr uint32_t bios_flash_size = 0x800000;

struct BiosJob {
    // Which of the library's updates is run.
    enum class Extent {
        decide,  // whichever the upgrade flags of flash and image ask for
        full,    // the whole image
        partial, // what the library finds necessary
    };

    std::string image;
    std::string save; // where the old BIOS goes; must not be there yet
    Extent extent = Extent::decide;
    uint32_t size = bios_flash_size;
};

struct ControllerJob {
    std::string image;
    std::string device;
    uint32_t offset = 0; // in the image, never on the flash
    uint32_t length = 0; // 0: all that follows
};

struct CpldJob {
    std::string program;
    uint32_t component = 5;
};

// The board is open. The commands say how far they are, but for the end, which
// is the caller's to show.
class Service {
public:
    using Leave = std::function<void(ExitCode)>;

    // `leave` ends the program at once, whatever its other thread is doing.
    Service(LibraryOutput &library, Output &output, Leave leave)
        : library_(library), output_(output), leave_(std::move(leave))
    {
    }

    End versions();
    End state();
    End plan(const BiosJob &job);
    End save(const BiosJob &job);
    End bios(const BiosJob &job);
    End controller(const ControllerJob &job);
    End cpld(const CpldJob &job);
    // Gives the BIOS flash back to the host after a run that could not.
    End release();
    End protect(bool on);

private:
    struct Answer {
        int result;
        Transcript said;
    };

    struct Decision {
        End refusal; // succeeded: there is none
        bool full = false;
        std::vector<std::string> words;
    };

    // A call into the library, and what it said.
    Answer call(const std::function<int()> &work);
    // One that takes long, in a thread of its own. The End is what to say if
    // somebody insists on leaving in the middle.
    using Abandoned = std::function<End(const Transcript &said)>;
    Answer run(const std::string &step, bool publishes, const std::function<int()> &work,
               const Abandoned &abandoned);
    void heed_interrupts(const std::string &step, const Abandoned &abandoned);

    End check_switch(const std::string &what);
    Decision decide(const BiosJob &job);
    void tell(const Decision &decision);
    End save_flash(const BiosJob &job, const std::string &what);
    End update_flash(const BiosJob &job, bool full);

    LibraryOutput &library_;
    Output &output_;
    Leave leave_;
    unsigned heeded_ = 0; // interrupts
};

// An End before anything was changed.
End refused(const std::string &what, const std::string &why, std::vector<std::string> next);

// As the board is now.
BiosFlash look_at_bios_flash();
// Offers the flash to the host and unloads its driver, as far as either is not so.
BiosFlash give_bios_flash_back();

} // namespace upgrade_service

#endif
