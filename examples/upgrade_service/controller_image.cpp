// Copies of controller images to flash partitions.

#include <board_hal.h>

#include "upgrade_service/explain.h"
#include "upgrade_service/service.h"

namespace upgrade_service {

namespace {

// Ends where the image cannot be what is meant. The rest is the library's check.
std::string complaint(const ControllerJob &job, long size)
{
    if (size < 0) {
        return "the image is not there, or cannot be read";
    }
    // The library takes an empty file for a copy that succeeded.
    if (size == 0) {
        return "the image is empty";
    }
    if (job.offset >= static_cast<unsigned long>(size)) {
        return "the offset lies behind the end of the image";
    }
    return "";
}

std::string command(const ControllerJob &job)
{
    std::string line = "upgrade_service controller " + job.image + " --device " + job.device;
    line += job.offset == 0 ? "" : " --offset " + std::to_string(job.offset);
    return line + (job.length == 0 ? "" : " --length " + std::to_string(job.length));
}

End broken(const std::string &what, const ControllerJob &job, const Transcript &said)
{
    End end;
    end.code = ExitCode::not_right;
    end.what = what;
    end.library = said.last_words();
    end.contents = contents(said);
    end.next = {"Do not restart the controller: it may not start from this partition.",
                "Run the copy again: " + command(job),
                "If it fails again, restart from the other controller image and have the flash "
                "replaced."};
    return end;
}

} // namespace

End Service::controller(const ControllerJob &job)
{
    const std::string what = "the copy of " + job.image + " to " + job.device;
    const long size = get_file_length(job.image.c_str());
    const std::string wrong = complaint(job, size);
    if (!wrong.empty()) {
        return refused(what, wrong, {"Name the right image and run it again."});
    }
    const bool stretch = job.offset != 0 || job.length != 0;
    const uint32_t length = job.length != 0 ? job.length : static_cast<uint32_t>(size) - job.offset;
    const auto copy = [&] {
        return stretch
                   ? mtd_flash_copy_ex(job.device.c_str(), job.image.c_str(), job.offset, length)
                   : mtd_flash_copy(job.device.c_str(), job.image.c_str());
    };
    const Answer answer = run("copying the image", true, copy, [&](const Transcript &said) {
        End end = broken(what, job, said);
        end.why = "it was left in the middle, at somebody's wish";
        return end;
    });
    End end;
    if (answer.result == 0) {
        end.what = what;
        end.contents = contents(answer.said);
        return end;
    }
    const std::string why = reason(answer.said, "the library did not say why");
    if (answer.said.touched_flash()) {
        end = broken(what, job, answer.said);
        end.why = why;
        return end;
    }
    end = refused(what, why, {"Put right what is named above and run it again."});
    end.library = answer.said.last_words();
    return end;
}

} // namespace upgrade_service
