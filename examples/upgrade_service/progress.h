// The progress of a step, from the status that the library publishes.
#ifndef UPGRADE_SERVICE_PROGRESS_H
#define UPGRADE_SERVICE_PROGRESS_H

#include <stdint.h>

#include <string>

namespace upgrade_service {

struct Status {
    uint32_t progress = 0;
    uint32_t state = 0; // 1 in progress, 3 failed

    bool operator==(const Status &other) const
    {
        return progress == other.progress && state == other.state;
    }
};

constexpr uint32_t in_progress = 1;
constexpr uint32_t failed = 3;

Status published_status();

// What is fit to be shown of the published percentages: they start at 0, never
// go back and reach 100 when the operation has succeeded, not before.
//
// The published ones do none of that. A BIOS copy computes its base in a byte
// and adds its share to it, so that they may begin above 0, pass 100 and fall
// back; products with 100 wrap at 32 bits, above 42 MB of a controller image in
// the middle of a phase.
class Meter {
public:
    // True if the status is another one than before.
    bool take(const Status &status);
    void finish(bool succeeded);

    unsigned percent() const { return percent_; }
    const Status &published() const { return published_; }

private:
    Status published_;
    unsigned percent_ = 0;
};

// "[########                ]  33%", without end of line.
std::string bar(unsigned percent);

} // namespace upgrade_service

#endif
