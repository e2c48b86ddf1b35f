// Updates of the host's BIOS.

#include <board_hal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "upgrade_service/explain.h"
#include "upgrade_service/service.h"
#include "upgrade_service/work.h"

namespace upgrade_service {

namespace {

constexpr const char *run_again = "Put right what is named above and run it again.";
constexpr const char *give_back = "Give the flash back: upgrade_service release. The server "
                                  "cannot start before.";

std::string update_name(const BiosJob &job)
{
    return "the update of the BIOS with " + job.image;
}

// A flash that is not with the host, or whose driver is still there, outweighs
// what it holds.
void judge_owner(End &end)
{
    const BiosFlash &flash = *end.bios_flash;
    if (!flash.controller_owns && !flash.driver_loaded) {
        return;
    }
    end.code = ExitCode::not_given_back;
    end.next.insert(end.next.begin(), give_back);
    if (end.why.empty()) {
        end.why = flash.controller_owns ? "the board does not give the BIOS flash back to the host"
                                        : "the driver of the BIOS flash cannot be unloaded";
    }
}

// After the first erase nothing is rolled back.
End broken(const BiosJob &job, const Transcript &said)
{
    End end;
    end.code = ExitCode::not_right;
    end.what = update_name(job);
    end.library = said.last_words();
    end.contents = contents(said);
    end.next = {
        "Do not power on or restart the server: it may not start from this flash.",
        "Run the update again, with another file to save to: upgrade_service bios " + job.image +
            (job.extent == BiosJob::Extent::full ? " --full" : "") + " --save FILE",
        "If it fails again, put the old BIOS back: upgrade_service bios " + job.save +
            " --full --save FILE",
    };
    return end;
}

End abandoned_update(const BiosJob &job, const Transcript &said)
{
    End end = broken(job, said);
    end.why = "it was left in the middle, at somebody's wish";
    end.bios_flash = look_at_bios_flash();
    judge_owner(end);
    end.code = ExitCode::interrupted;
    return end;
}

std::string written(const Transcript &said)
{
    return said.verified == 0 ? "as before: the image lists no region" : contents(said);
}

bool exists(const std::string &path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

// What an update will do, and why, one sentence each.
std::vector<std::string> extent_words(bool full, const Transcript &said)
{
    std::vector<std::string> words;
    if (full) {
        words = {"full update: the whole image is written.",
                 "Why: the upgrade flags of image and flash differ in their top byte."};
    } else {
        words = {"partial update: the regions that the image lists are written, the rest stays.",
                 "Why: the upgrade flags of image and flash agree in their top byte.",
                 "Should they differ in another byte, the upper half is written instead."};
    }
    if (said.says("read upgrade flag fail from flash")) {
        words.emplace_back("The flash has no flag that can be read, which counts as 0.");
    }
    return words;
}

End check_image(const BiosJob &job, const std::string &what)
{
    const long size = get_file_length(job.image.c_str());
    if (size < 0) {
        return refused(what, "the image is not there, or cannot be read", {run_again});
    }
    // Places in an image are places on the flash: one of another size would put
    // the code that the server starts with at the wrong place.
    if (size != static_cast<long>(job.size)) {
        return refused(what,
                       "the image has " + std::to_string(size) + " bytes, the flash " +
                           std::to_string(job.size),
                       {"Name the right image, or with --flash-size the right size."});
    }
    uint8_t write_protected = 0;
    get_bios_wp(0, &write_protected);
    if (write_protected != 0) {
        return refused(what, "the BIOS flash is write-protected",
                       {"Lift the protection: upgrade_service protect off"});
    }
    return {};
}

// It failed, and the flash is as it was.
End untouched(const std::string &what, const Transcript &said)
{
    End end = refused(what, "", {run_again});
    end.library = said.last_words();
    return end;
}

End undecided(const BiosJob &job, const Transcript &said, bool not_given_back)
{
    End end = untouched(update_name(job), said);
    end.why =
        reason(said, not_given_back ? "the board does not give the BIOS flash back to the host"
                                    : "the board does not give the BIOS flash to the controller");
    end.bios_flash = give_bios_flash_back();
    judge_owner(end);
    return end;
}

End abandoned_save(const BiosJob &job, const std::string &what, const Transcript &said)
{
    End end = untouched(what, said);
    end.why = "it was left in the middle, at somebody's wish";
    end.next = {"Remove the incomplete " + job.save + " and run it again."};
    end.bios_flash = look_at_bios_flash();
    judge_owner(end);
    end.code = ExitCode::interrupted;
    return end;
}

End updated(const BiosJob &job, const Transcript &said)
{
    End end;
    end.what = update_name(job);
    end.contents = written(said);
    end.bios_flash = give_bios_flash_back();
    judge_owner(end);
    return end;
}

// Why an update failed of which the library itself says nothing.
std::string silent_reason(const Transcript &said, bool not_given_back)
{
    return not_given_back  ? "the board does not give the BIOS flash back to the host"
           : said.broken   ? "the flash or the image cannot be positioned"
           : said.verified ? "the image lists a region that cannot be"
                           : "the board does not give the BIOS flash to the controller, or the "
                             "image lists a region that cannot be";
}

End not_updated(const BiosJob &job, const Transcript &said)
{
    const bool not_given_back = look_at_bios_flash().controller_owns;
    End end;
    if (said.verified > 0 && !said.broken && not_given_back) {
        end.what = update_name(job);
        end.contents = contents(said);
    } else if (said.touched_flash()) {
        end = broken(job, said);
    } else {
        end = untouched(update_name(job), said);
    }
    end.why = reason(said, silent_reason(said, not_given_back));
    end.bios_flash = give_bios_flash_back();
    judge_owner(end);
    return end;
}

} // namespace

// ---- before anything is changed ----

// A switch that does not move leaves the flash where it is, and every read of it
// finds 0xFF without an error.
End Service::check_switch(const std::string &what)
{
    set_bios_owner(1);
    const bool taken = look_at_bios_flash().controller_owns;
    const BiosFlash flash = give_bios_flash_back();
    library_.take();
    End end = refused(what, "the board does not give the BIOS flash to the controller",
                      {"The board needs repair."});
    end.bios_flash = flash;
    if (taken && !flash.controller_owns) {
        return {};
    }
    if (taken) {
        end.why = "the board does not give the BIOS flash back to the host";
    }
    judge_owner(end);
    return end;
}

// Also if a partial update is asked for: the image must be fit for one.
Service::Decision Service::decide(const BiosJob &job)
{
    Decision decision;
    decision.full = true;
    decision.words = {"full update, as asked for."};
    if (job.extent == BiosJob::Extent::full) {
        return decision;
    }
    // The answer for "partial" is also that of a failure. A failure that leaves
    // the flash with the host publishes state 3.
    set_upgrade_status(0, 0);
    const Answer answer =
        call([&] { return isFullUpgrade(bios_device, job.image.c_str(), 0, job.size); });
    const bool not_given_back = look_at_bios_flash().controller_owns;
    if (published_status().state == failed || not_given_back) {
        decision.refusal = undecided(job, answer.said, not_given_back);
    } else if (job.extent == BiosJob::Extent::decide) {
        decision.full = answer.result == 0;
        decision.words = extent_words(decision.full, answer.said);
    } else {
        decision.full = false;
        decision.words = {"partial update, as asked for."};
    }
    return decision;
}

End Service::save_flash(const BiosJob &job, const std::string &what)
{
    // It may be the last good BIOS, saved by a run that then failed.
    if (exists(job.save)) {
        return refused(what, job.save + " exists, and may be a BIOS that is still needed",
                       {"Name another file with --save."});
    }
    const Answer answer = run(
        "saving the old BIOS to " + job.save, false,
        [&] { return get_bios(job.save.c_str(), job.size); },
        [&](const Transcript &said) { return abandoned_save(job, what, said); });
    const bool complete = get_file_length(job.save.c_str()) == static_cast<long>(job.size);
    if (answer.result == 0 && complete) {
        End end;
        end.what = what;
        end.contents = "as before";
        end.bios_flash = give_bios_flash_back();
        judge_owner(end);
        return end;
    }
    End end = untouched(what, answer.said);
    end.why = "the old BIOS could not be saved: " +
              reason(answer.said, "the board does not give the flash to the controller");
    // A failed read leaves the flash with the controller, whole as it is.
    end.bios_flash = give_bios_flash_back();
    judge_owner(end);
    if (!complete) {
        unlink(job.save.c_str());
    }
    return end;
}

// ---- commands ----

void Service::tell(const Decision &decision)
{
    for (const std::string &sentence : decision.words) {
        output_.note(sentence);
    }
}

End Service::plan(const BiosJob &job)
{
    End end = check_image(job, "the plan for " + job.image);
    if (!end.succeeded()) {
        return end;
    }
    const Decision decision = decide(job);
    if (!decision.refusal.succeeded()) {
        return decision.refusal;
    }
    tell(decision);
    end.what = "the plan for " + job.image;
    end.contents = "as before";
    end.bios_flash = look_at_bios_flash();
    return end;
}

End Service::save(const BiosJob &job)
{
    const std::string what = "the copy of the BIOS flash in " + job.save;
    const End end = check_switch(what);
    return end.succeeded() ? save_flash(job, what) : end;
}

End Service::bios(const BiosJob &job)
{
    const std::string what = update_name(job);
    End end = check_image(job, what);
    if (end.succeeded()) {
        end = check_switch(what);
    }
    if (!end.succeeded()) {
        return end;
    }
    const Decision decision = decide(job);
    if (!decision.refusal.succeeded()) {
        return decision.refusal;
    }
    tell(decision);
    end = save_flash(job, what);
    if (!end.succeeded()) {
        return end;
    }
    if (interrupts > 0) {
        End stopped = refused(what, "it was interrupted before the flash was changed", {});
        stopped.code = ExitCode::interrupted;
        stopped.bios_flash = look_at_bios_flash();
        return stopped;
    }
    return update_flash(job, decision.full);
}

End Service::update_flash(const BiosJob &job, bool full)
{
    // The image is not in stages: 0 keeps the library's percentages within 100.
    const auto update = [&] {
        return full ? load_bios_bin(bios_device, job.image.c_str(), 0,
                                    static_cast<int32_t>(job.size), 0)
                    : load_bios(bios_device, job.image.c_str(), 0, job.size, 0);
    };
    const Answer answer = run("updating the BIOS", true, update,
                              [&](const Transcript &said) { return abandoned_update(job, said); });
    return answer.result == 0 ? updated(job, answer.said) : not_updated(job, answer.said);
}

} // namespace upgrade_service
