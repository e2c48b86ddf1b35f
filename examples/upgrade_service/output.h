// What the service says: words and a bar on a terminal, else lines of JSON.
#ifndef UPGRADE_SERVICE_OUTPUT_H
#define UPGRADE_SERVICE_OUTPUT_H

#include <stdio.h>

#include <string>
#include <vector>

#include "upgrade_service/progress.h"
#include "upgrade_service/report.h"

namespace upgrade_service {

class Output {
public:
    enum class Format {
        terminal, // words, and a bar that is redrawn in place
        text,     // words, and each bar as it is at the end
        json,     // one object per line
    };

    Output(FILE *stream, Format format) : stream_(stream), format_(format) {}

    void note(const std::string &text);
    void facts(const std::vector<Fact> &facts);
    void end(const End &end);

    // A step whose progress is shown: one line of JSON per change of the
    // published status, a bar when its look changes.
    void begin(const std::string &step, const Meter &meter);
    void progress(const Meter &meter);
    void finish(const Meter &meter, bool succeeded);

private:
    void write(const std::string &text);
    std::string drawing(const Meter &meter) const;
    void draw(const Meter &meter);
    void leave_bar();
    void end_in_words(const End &end);
    void end_in_json(const End &end);

    FILE *stream_;
    Format format_;
    std::string step_;
    std::string drawn_; // the progress that was shown last
};

} // namespace upgrade_service

#endif
