// What the library's own lines tell of an operation that has ended.
#ifndef UPGRADE_SERVICE_TRANSCRIPT_H
#define UPGRADE_SERVICE_TRANSCRIPT_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace upgrade_service {

enum class Phase { erase, write, verify };

// One erase, write and verify: how far it came.
struct Copy {
    Phase phase = Phase::erase;
    bool phase_done = false;
    unsigned long done = 0; // blocks or KiB, the step that was begun last included
    unsigned long total = 0;
};

// The results of the library's operations do not say why they failed, and a
// failed BIOS update leaves (0, 3) as its status, however far it came. Its lines
// tell both.
struct Transcript {
    std::vector<std::string> messages; // all that is no progress
    unsigned verified = 0;             // copies that were completed
    unsigned long verified_kib = 0;
    std::optional<Copy> broken; // the copy that was not

    // Whether a message contains the text.
    bool says(std::string_view text) const;
    // The last message; empty if there is none.
    std::string last_words() const;
    // Whether an erase was begun at all.
    bool touched_flash() const;
};

Transcript read_transcript(std::string_view printed);

} // namespace upgrade_service

#endif
