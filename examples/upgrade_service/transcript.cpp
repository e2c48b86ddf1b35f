#include "upgrade_service/transcript.h"

#include <stdio.h>

#include <algorithm>

namespace upgrade_service {

namespace {

struct PhaseLine {
    Phase phase;
    const char *begin;
    const char *format; // of the counts behind it
};

constexpr PhaseLine phase_lines[] = {
    {Phase::erase, "Erasing blocks: ", "%lu/%lu"},
    {Phase::write, "Writing data: ", "%luk/%luk"},
    {Phase::verify, "Verifying data: ", "%luk/%luk"},
};

// A step that fails ends its progress line, as a phase that is done does.
constexpr std::string_view step_failures[] = {"While erasing", "While writing", "While reading",
                                              "Short write", "Short read"};

constexpr std::string_view percent_end = "%)"; // of a phase's line
constexpr std::string_view saved_end = "%>";   // of a save's

bool begins(std::string_view text, std::string_view with)
{
    return text.substr(0, with.size()) == with;
}

// What follows the first `end`; all of it if there is none.
std::string_view behind(std::string_view text, std::string_view end)
{
    const size_t found = text.find(end);
    return found == std::string_view::npos ? text : text.substr(found + end.size());
}

class Reader {
public:
    Transcript read(std::string_view printed)
    {
        while (!printed.empty()) {
            const size_t length = std::min(printed.find_first_of("\r\n"), printed.size());
            const bool line_ends = length < printed.size() && printed[length] == '\n';
            take(printed.substr(0, length), line_ends);
            printed.remove_prefix(std::min(length + 1, printed.size()));
        }
        finish_copy();
        return transcript_;
    }

private:
    void take(std::string_view piece, bool line_ends)
    {
        for (const PhaseLine &line : phase_lines) {
            if (begins(piece, line.begin)) {
                progress(line, piece, line_ends);
                message(behind(piece, percent_end));
                return;
            }
        }
        message(begins(piece, "<") ? behind(piece, saved_end) : piece);
    }

    void progress(const PhaseLine &line, std::string_view piece, bool line_ends)
    {
        Copy copy;
        copy.phase = line.phase;
        const std::string counts(behind(piece, line.begin));
        if (sscanf(counts.c_str(), line.format, &copy.done, &copy.total) != 2) {
            return;
        }
        const bool another = copy.phase == Phase::erase && copy.done == 0 && !line_ends;
        if (another) {
            finish_copy();
        }
        copy.phase_done = line_ends && behind(piece, percent_end).empty();
        transcript_.broken = copy;
    }

    // A copy whose last phase is done is complete.
    void finish_copy()
    {
        const std::optional<Copy> &copy = transcript_.broken;
        if (copy && copy->phase == Phase::verify && copy->phase_done) {
            ++transcript_.verified;
            transcript_.verified_kib += copy->total;
            transcript_.broken.reset();
        }
    }

    void message(std::string_view words)
    {
        if (words.empty()) {
            return;
        }
        for (const std::string_view failure : step_failures) {
            if (begins(words, failure) && transcript_.broken) {
                transcript_.broken->phase_done = false;
            }
        }
        transcript_.messages.emplace_back(words);
    }

    Transcript transcript_;
};

} // namespace

bool Transcript::says(std::string_view text) const
{
    return std::any_of(messages.begin(), messages.end(), [text](const std::string &message) {
        return message.find(text) != std::string::npos;
    });
}

std::string Transcript::last_words() const
{
    return messages.empty() ? "" : messages.back();
}

bool Transcript::touched_flash() const
{
    return verified > 0 || (broken && (broken->phase != Phase::erase || broken->done > 0));
}

Transcript read_transcript(std::string_view printed)
{
    return Reader().read(printed);
}

} // namespace upgrade_service
