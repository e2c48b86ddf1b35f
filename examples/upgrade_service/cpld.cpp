// Programs of the board's CPLDs.

#include <board_hal.h>

#include "upgrade_service/explain.h"
#include "upgrade_service/service.h"

namespace upgrade_service {

namespace {

std::string cpld_version()
{
    uint8_t version = 0;
    return get_unit_logic_version(0, 0, &version) == 0 ? std::to_string(version) : "unknown";
}

End in_doubt(const std::string &what, const std::string &why, const CpldJob &job)
{
    End end;
    end.code = ExitCode::not_right;
    end.what = what;
    end.why = why;
    end.contents = "as the driver left it: the old program, the new one, or a part of it";
    end.next = {"Do not cut the board's power: the CPLD switches it, and reads its program when "
                "power comes.",
                "Run it again: upgrade_service cpld " + job.program + " --component " +
                    std::to_string(job.component),
                "If it fails again, keep the power on and have the board repaired."};
    return end;
}

} // namespace

End Service::cpld(const CpldJob &job)
{
    const std::string what =
        "programming CPLD " + std::to_string(job.component) + " with " + job.program;
    const std::string before = cpld_version();
    // One request to the driver, which publishes nothing while it works.
    const Answer answer = run(
        "programming the CPLD", false,
        [&] { return load_cpld(job.program.c_str(), job.component, 0, 0); },
        [&](const Transcript &) {
            return in_doubt(what, "it was left in the middle, at somebody's wish", job);
        });
    if (answer.result == 0) {
        End end;
        end.what = what;
        end.contents = "the new program; version " + before + " before, " + cpld_version() +
                       " now. A new program may begin to work at the next power-up only";
        return end;
    }
    // The library says what keeps it from asking the driver. A driver that fails
    // has nothing said.
    if (answer.said.messages.empty()) {
        return in_doubt(what,
                        "the driver refused the program or could not run it to its end (" +
                            std::to_string(answer.result) + ')',
                        job);
    }
    End end = refused(what, reason(answer.said, "the library did not say why"),
                      {"Put right what is named above and run it again."});
    end.library = answer.said.last_words();
    return end;
}

} // namespace upgrade_service
